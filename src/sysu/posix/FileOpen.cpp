// How files are opened and closed.
#include "frame/SystemLayer.h"
#include "sysu/LastError.h"
#include "sysu/LayerName.h"
#include "sysu/posix/Descriptor.h"
#include "sysu/posix/DirectNeeds.h"
#include "sysu/posix/FileObject.h"
#include "sysu/posix/NativeName.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using namespace vxcio;
using namespace vxcio::sysu;

namespace {

constexpr uint32 kGenericAll = 0x10000000u;

struct OpenRequest {
    std::string path;
    bool read;
    bool write;
    uint32 share;
    uint32 disposition;
    uint32 flags;
};

void NoteRefusedDirectTransfer(const wchar_t* name) {
    static constinit std::atomic<bool> isNoted{false};
    if (!isNoted.exchange(true, std::memory_order_relaxed)) {
        VXC_OutputW(kLayerName, INFOTYPE_TRACE,
                    L"VXC_CreateFileW() of %s, the file system refuses direct transfer, opened without",
                    name);
    }
}

int SystemFlags(const OpenRequest& request) {
    // To cut a file, the system wants it open for writing, whatever the caller is allowed.
    const bool write = request.write || request.disposition == VXC_CREATE_ALWAYS;
    int flags = O_CLOEXEC | O_NOCTTY;
    flags |= write ? (request.read ? O_RDWR : O_WRONLY) : O_RDONLY;
    if ((request.flags & VXC_FILE_FLAG_WRITE_THROUGH) != 0) {
        flags |= O_DSYNC;
    }
    return flags;
}

// Opens one name and notes in `direct` whether transfers pass the cache. The descriptor, or -1 with errno.
int OpenOnce(const OpenRequest& request, int create, bool& direct) {
    const mode_t mode = (request.flags & VXC_FILE_ATTRIBUTE_READONLY) != 0 ? 0444 : 0666;
    int flags = SystemFlags(request) | create;
    direct = (request.flags & VXC_FILE_FLAG_NO_BUFFERING) != 0;
    if (direct) {
        flags |= O_DIRECT;
    }
    for (;;) {
        const int descriptor = ::open(request.path.c_str(), flags, mode);
        if (descriptor >= 0) {
            return descriptor;
        }
        if (errno == EINVAL && direct) {
            // Some file systems refuse only after they made the file, so it may be there by now.
            direct = false;
            flags &= ~(O_DIRECT | O_EXCL);
        } else if (errno != EINTR) {
            return -1;
        }
    }
}

// Opens or makes the file, and tells which of the two it was.
int OpenOrCreate(const OpenRequest& request, bool& direct, bool& existed) {
    for (int attempt = 0; attempt < 4; ++attempt) {
        existed = true;
        int descriptor = OpenOnce(request, 0, direct);
        if (descriptor >= 0 || errno != ENOENT) {
            return descriptor;
        }
        existed = false;
        descriptor = OpenOnce(request, O_CREAT | O_EXCL, direct);
        if (descriptor >= 0 || errno != EEXIST) {
            return descriptor;
        }
    }
    // Neither there nor makeable: a link that leads to a missing file.
    return OpenOnce(request, O_CREAT, direct);
}

int OpenByDisposition(const OpenRequest& request, bool& direct, bool& existed) {
    existed = true;
    switch (request.disposition) {
    case VXC_CREATE_NEW:
        existed = false;
        return OpenOnce(request, O_CREAT | O_EXCL, direct);
    case VXC_CREATE_ALWAYS:
    case VXC_OPEN_ALWAYS:
        return OpenOrCreate(request, direct, existed);
    default:
        return OpenOnce(request, 0, direct);
    }
}

// Whether nobody else holds the file against this use of it.
bool LockForShare(int descriptor, const OpenRequest& request) {
    const bool excludesWriters = (request.share & VXC_FILE_SHARE_WRITE) == 0;
    if (!excludesWriters || (!request.read && !request.write)) {
        return true;
    }
    const int operation = request.write ? LOCK_EX : LOCK_SH;
    int result = ::flock(descriptor, operation | LOCK_NB);
    while (result != 0 && errno == EINTR) {
        result = ::flock(descriptor, operation | LOCK_NB);
    }
    // A file system without locks shares everything.
    return result == 0 || errno != EWOULDBLOCK;
}

// An empty file is left alone: after a cut some file systems take the file for one that replaces another, and
// bring all of it to the disk when it is closed.
bool CutToNothing(int descriptor) {
    struct stat facts {};
    if (::fstat(descriptor, &facts) == 0 && facts.st_size == 0) {
        return true;
    }
    int result = ::ftruncate(descriptor, 0);
    while (result != 0 && errno == EINTR) {
        result = ::ftruncate(descriptor, 0);
    }
    return result == 0;
}

void AdviseAccess(int descriptor, uint32 flags) {
    if ((flags & VXC_FILE_FLAG_SEQUENTIAL_SCAN) != 0) {
        ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    } else if ((flags & VXC_FILE_FLAG_RANDOM_ACCESS) != 0) {
        ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_RANDOM);
    }
}

// Checks and cuts the file that was opened. False with the last error set.
bool Prepare(const OpenRequest& request, int descriptor, bool existed) {
    struct stat facts {};
    if (::fstat(descriptor, &facts) != 0) {
        SetLastSystemError(errno);
        return false;
    }
    if (S_ISDIR(facts.st_mode)) {
        SetLastError(VXC_ERROR_ACCESS_DENIED);
        return false;
    }
    if (!LockForShare(descriptor, request)) {
        SetLastError(VXC_ERROR_SHARING_VIOLATION);
        return false;
    }
    // Only now, so that a file in use keeps its content.
    const bool isCut =
        request.disposition == VXC_TRUNCATE_EXISTING || (request.disposition == VXC_CREATE_ALWAYS && existed);
    if (isCut && S_ISREG(facts.st_mode) && !CutToNothing(descriptor)) {
        SetLastSystemError(errno);
        return false;
    }
    return true;
}

void* Open(const wchar_t* name, OpenRequest& request) {
    if (request.disposition < VXC_CREATE_NEW || request.disposition > VXC_TRUNCATE_EXISTING ||
        (request.disposition == VXC_TRUNCATE_EXISTING && !request.write)) {
        SetLastError(VXC_ERROR_INVALID_PARAMETER);
        return VXC_INVALID_HANDLE;
    }
    NativeName native = ToNativeName(name);
    if (native.error != 0) {
        SetLastError(native.error);
        return VXC_INVALID_HANDLE;
    }
    request.path = std::move(native.path);
    auto file = std::make_unique<FileObject>();
    bool existed = false;
    Descriptor descriptor(OpenByDisposition(request, file->direct, existed));
    if (descriptor.Get() < 0) {
        if (errno == EEXIST) {
            SetLastError(VXC_ERROR_FILE_EXISTS);
        } else {
            SetNameError(errno, request.path);
        }
        return VXC_INVALID_HANDLE;
    }
    if (!Prepare(request, descriptor.Get(), existed)) {
        return VXC_INVALID_HANDLE;
    }
    if (file->direct) {
        const DirectNeeds needs = DirectNeedsOf(descriptor.Get());
        file->memoryUnit = needs.memory;
        file->offsetUnit = needs.offset;
    } else if ((request.flags & VXC_FILE_FLAG_NO_BUFFERING) != 0) {
        NoteRefusedDirectTransfer(name);
    }
    AdviseAccess(descriptor.Get(), request.flags);
    file->readable = request.read;
    file->writable = request.write;
    file->deleteOnClose = (request.flags & VXC_FILE_FLAG_DELETE_ON_CLOSE) != 0;
    file->descriptor = descriptor.Take();
    const bool isMadeOverExisting =
        existed && (request.disposition == VXC_CREATE_ALWAYS || request.disposition == VXC_OPEN_ALWAYS);
    SetLastError(isMadeOverExisting ? VXC_ERROR_ALREADY_EXISTS : VXC_ERROR_SUCCESS);
    return file.release();
}

// Removes the open file under the name it has now, which need not be the one it was opened by. False with
// errno.
bool Unlink(int descriptor) {
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    char path[PATH_MAX] = {};
    if (::readlink(link.c_str(), path, sizeof path - 1) < 0) {
        return false;
    }
    struct stat open {};
    struct stat named {};
    if (::fstat(descriptor, &open) != 0 || ::lstat(path, &named) != 0 || open.st_dev != named.st_dev ||
        open.st_ino != named.st_ino) {
        return true; // it has gone already
    }
    return ::unlink(path) == 0;
}

} // namespace

void* VXC_CreateFileW(const wchar_t* name, uint32 access, uint32 share, VXC_SECURITY_ATTRIBUTES*,
                      uint32 disposition, uint32 flags, void*) noexcept {
    try {
        OpenRequest request{{},
                            (access & (VXC_GENERIC_READ | kGenericAll)) != 0,
                            (access & (VXC_GENERIC_WRITE | kGenericAll)) != 0,
                            share,
                            disposition,
                            flags};
        return Open(name, request);
    } catch (...) {
        SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
        return VXC_INVALID_HANDLE;
    }
}

int VXC_CloseFile(void* file) noexcept {
    const std::unique_ptr<FileObject> object(FileOfHandle(file));
    if (object == nullptr) {
        return 0;
    }
    object->magic.store(0, std::memory_order_relaxed);
    int error = 0;
    try {
        if (object->deleteOnClose && !Unlink(object->descriptor)) {
            error = errno;
        }
    } catch (...) {
        error = ENOMEM;
    }
    // An interrupted close has closed the descriptor all the same.
    if (::close(object->descriptor) != 0 && errno != EINTR) {
        error = errno;
    }
    if (error != 0) {
        SetLastSystemError(error);
        return 0;
    }
    return 1;
}
