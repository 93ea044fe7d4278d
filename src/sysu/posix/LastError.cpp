#include "sysu/LastError.h"

#include "frame/SystemLayer.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vxcio::sysu {

namespace {

struct ErrorPair {
    int system;
    uint32 number;
};

// One way for reading an error of the system; the first pair of a number also gives its text.
constexpr ErrorPair kErrors[] = {
    {ENOENT, VXC_ERROR_FILE_NOT_FOUND},
    {ENOTDIR, VXC_ERROR_PATH_NOT_FOUND},
    {ELOOP, VXC_ERROR_PATH_NOT_FOUND},
    {EMFILE, VXC_ERROR_TOO_MANY_OPEN_FILES},
    {ENFILE, VXC_ERROR_TOO_MANY_OPEN_FILES},
    {EACCES, VXC_ERROR_ACCESS_DENIED},
    {EPERM, VXC_ERROR_ACCESS_DENIED},
    {EISDIR, VXC_ERROR_ACCESS_DENIED},
    {EBADF, VXC_ERROR_INVALID_HANDLE},
    {ENOMEM, VXC_ERROR_NOT_ENOUGH_MEMORY},
    {EAGAIN, VXC_ERROR_NOT_ENOUGH_MEMORY},
    {EXDEV, VXC_ERROR_NOT_SAME_DEVICE},
    {EROFS, VXC_ERROR_WRITE_PROTECT},
    {ETXTBSY, VXC_ERROR_SHARING_VIOLATION},
    {EBUSY, VXC_ERROR_SHARING_VIOLATION},
    {EHOSTDOWN, VXC_ERROR_BAD_NETPATH},
    {ESTALE, VXC_ERROR_BAD_NETPATH},
    {EHOSTUNREACH, VXC_ERROR_BAD_NETPATH},
    {EINVAL, VXC_ERROR_INVALID_PARAMETER},
    {ENOSPC, VXC_ERROR_DISK_FULL},
    {EDQUOT, VXC_ERROR_DISK_FULL},
    {ETIMEDOUT, VXC_ERROR_SEM_TIMEOUT},
    {ENOTEMPTY, VXC_ERROR_DIR_NOT_EMPTY},
    {EEXIST, VXC_ERROR_ALREADY_EXISTS},
    {ENOEXEC, VXC_ERROR_BAD_EXE_FORMAT},
    {ENAMETOOLONG, VXC_ERROR_FILENAME_EXCED_RANGE},
    {EFBIG, VXC_ERROR_FILE_TOO_LARGE},
    {EOVERFLOW, VXC_ERROR_FILE_TOO_LARGE},
    {EFAULT, VXC_ERROR_NOACCESS},
    {EIO, VXC_ERROR_IO_DEVICE},
    {ENXIO, VXC_ERROR_IO_DEVICE},
    {ENODEV, VXC_ERROR_IO_DEVICE},
};

// Numbers whose meaning no error of the system has.
struct NumberText {
    uint32 number;
    const wchar_t* text;
};
constexpr NumberText kTexts[] = {
    {VXC_ERROR_SUCCESS, L"Success"},
    {VXC_ERROR_PATH_NOT_FOUND, L"The path or drive is not there"},
    {VXC_ERROR_GEN_FAILURE, L"General failure"},
    {VXC_ERROR_SHARING_VIOLATION, L"The file is in use"},
    {VXC_ERROR_BAD_NETPATH, L"The network path is not mapped"},
    {VXC_ERROR_FILE_EXISTS, L"The file exists"},
    {VXC_ERROR_INVALID_PARAMETER, L"Invalid parameter"},
    {VXC_ERROR_MOD_NOT_FOUND, L"The module was not found"},
    {VXC_ERROR_PROC_NOT_FOUND, L"The function was not found"},
    {VXC_ERROR_NEGATIVE_SEEK, L"The position lies before the start of the file"},
    {VXC_ERROR_NOT_ALL_ASSIGNED, L"Not all privileges are held"},
};

struct LastError {
    uint32 number;
    int system; // 0 when the number did not come from the system
};

// No constructor and no destructor: a thread that ends late may still write here.
constinit thread_local LastError t_lastError{0, 0};

std::wstring LastErrorText() {
    if (t_lastError.system == 0) {
        for (const NumberText& entry : kTexts) {
            if (entry.number == t_lastError.number) {
                return entry.text;
            }
        }
    }
    int system = t_lastError.system;
    for (const ErrorPair& entry : kErrors) {
        if (system == 0 && entry.number == t_lastError.number) {
            system = entry.system;
        }
    }
    if (system == 0) {
        return L"Error " + std::to_wstring(t_lastError.number);
    }
    char buffer[256] = {};
    return FromUtf8(strerror_r(system, buffer, sizeof buffer));
}

} // namespace

uint32 TranslateSystemError(int systemError) noexcept {
    if (systemError == 0) {
        return VXC_ERROR_SUCCESS;
    }
    for (const ErrorPair& entry : kErrors) {
        if (entry.system == systemError) {
            return entry.number;
        }
    }
    return VXC_ERROR_GEN_FAILURE;
}

void SetLastError(uint32 number) noexcept {
    t_lastError = {number, 0};
}

void SetLastSystemError(int systemError) noexcept {
    t_lastError = {TranslateSystemError(systemError), systemError};
}

} // namespace vxcio::sysu

using namespace vxcio;

uint32 VXC_GetLastError() noexcept {
    return sysu::t_lastError.number;
}

int VXC_GetLastErrorStringW(wchar_t* text, int characters) noexcept {
    if (text == nullptr || characters <= 0) {
        return 0;
    }
    text[0] = 0;
    try {
        const std::wstring whole = sysu::LastErrorText();
        const auto room = static_cast<std::size_t>(characters) - 1;
        const std::size_t length = std::min(room, whole.size());
        std::copy_n(whole.data(), length, text);
        text[length] = 0;
        return static_cast<int>(length);
    } catch (...) {
        return 0;
    }
}
