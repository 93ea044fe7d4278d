// Files and folders by their names: removing, moving, making, looking.
#include "frame/SystemLayer.h"
#include "sysu/LastError.h"
#include "sysu/posix/FileMove.h"
#include "sysu/posix/FileObject.h"
#include "sysu/posix/NativeName.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::sysu;

namespace {

// Hands the system's name, which `map` finds, to `act`, which gives 0 or an error of the system. 1, or 0 with
// the last error.
template <class Act>
int WithName(const wchar_t* name, NativeName (*map)(const wchar_t*), Act act) noexcept {
    try {
        const NativeName native = map(name);
        if (native.error != 0) {
            SetLastError(native.error);
            return 0;
        }
        const int error = act(native.path);
        if (error != 0) {
            SetNameError(error, native.path);
        }
        return error == 0 ? 1 : 0;
    } catch (...) {
        SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
}

int ErrorOf(int result) {
    return result == 0 ? 0 : errno;
}

} // namespace

int VXC_DeleteFileW(const wchar_t* name) noexcept {
    return WithName(name, ToNativeName,
                    [](const std::string& path) { return ErrorOf(::unlink(path.c_str())); });
}

int VXC_CreateDirectoryW(const wchar_t* name, VXC_SECURITY_ATTRIBUTES*) noexcept {
    return WithName(name, ToJoinedName,
                    [](const std::string& path) { return ErrorOf(::mkdir(path.c_str(), 0777)); });
}

int VXC_DoesFileExistsW(const wchar_t* name) noexcept {
    // Also asked about programs of this library, whose names are joined.
    return WithName(name, ToJoinedName, [](const std::string& path) {
        struct stat facts {};
        return ErrorOf(::stat(path.c_str(), &facts));
    });
}

int VXC_RenameFileW(const wchar_t* oldName, const wchar_t* newName) noexcept {
    try {
        const NativeName source = ToNativeName(oldName);
        const NativeName target = ToNativeName(newName);
        if (source.error != 0 || target.error != 0) {
            SetLastError(source.error != 0 ? source.error : target.error);
            return 0;
        }
        const int error = MoveFile(source.path, target.path);
        if (error != 0) {
            struct stat facts {};
            const bool isSourceThere = ::lstat(source.path.c_str(), &facts) == 0;
            SetNameError(error, isSourceThere ? target.path : source.path);
        }
        return error == 0 ? 1 : 0;
    } catch (...) {
        SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
}
