#include "sysu/posix/FileObject.h"

#include "frame/PlatformTypes.h"
#include "sysu/LastError.h"

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>

namespace vxcio::sysu {

FileObject::~FileObject() {
    std::free(transferBuffer.load(std::memory_order_relaxed));
}

FileObject* FileOfHandle(void* handle) noexcept {
    const bool isObject = handle != nullptr && handle != VXC_INVALID_HANDLE &&
                          reinterpret_cast<std::uintptr_t>(handle) % alignof(FileObject) == 0;
    if (isObject) {
        auto* file = static_cast<FileObject*>(handle);
        if (file->magic.load(std::memory_order_relaxed) == kFileMagic) {
            return file;
        }
    }
    SetLastError(VXC_ERROR_INVALID_HANDLE);
    return nullptr;
}

void SetNameError(int systemError, const std::string& path) noexcept {
    if (systemError == ENOENT) {
        const std::size_t last = path.find_last_not_of('/');
        const std::size_t slash = last == std::string::npos ? last : path.rfind('/', last);
        if (slash != std::string::npos && slash != 0) {
            try {
                struct stat facts {};
                if (::stat(path.substr(0, slash).c_str(), &facts) != 0) {
                    SetLastError(VXC_ERROR_PATH_NOT_FOUND);
                    return;
                }
            } catch (...) {
                systemError = ENOMEM;
            }
        }
    }
    SetLastSystemError(systemError);
}

} // namespace vxcio::sysu
