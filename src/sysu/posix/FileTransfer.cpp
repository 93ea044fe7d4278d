// Reads, writes and positions of open files.
#include "frame/SystemLayer.h"
#include "sysu/LastError.h"
#include "sysu/posix/FileObject.h"
#include "sysu/posix/FileSizeSignal.h"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::sysu;

namespace {

// The last error of a move that the system found invalid: 131 before the start of the file, else 87.
void SetMoveError(const FileObject& file, int64 distance, uint32 method) {
    int64 base = 0;
    struct stat facts {};
    if (method == VXC_FILE_CURRENT) {
        base = ::lseek(file.descriptor, 0, SEEK_CUR);
    } else if (method == VXC_FILE_END && ::fstat(file.descriptor, &facts) == 0) {
        base = facts.st_size;
    }
    int64 target = 0;
    const bool isBeforeStart = !__builtin_add_overflow(base, distance, &target) && target < 0;
    SetLastError(isBeforeStart ? VXC_ERROR_NEGATIVE_SEEK : VXC_ERROR_INVALID_PARAMETER);
}

// The object of a handle that may be used so; null with the last error. Inline, as each read starts with it.
inline FileObject* ForTransfer(void* file, bool FileObject::*right, const _VXC_OVERLAPPED* overlapped) {
    FileObject* const object = FileOfHandle(file);
    if (object != nullptr && (!(object->*right) || overlapped != nullptr)) {
        SetLastError(overlapped != nullptr ? VXC_ERROR_INVALID_PARAMETER : VXC_ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return object;
}

uint32 LowHalf(int64 value) {
    return static_cast<uint32>(static_cast<uint64>(value) & 0xFFFFFFFFu);
}

} // namespace

int VXC_ReadFile(void* file, void* buffer, uint32 bytes, unsigned long* done,
                 _VXC_OVERLAPPED* overlapped) noexcept {
    unsigned long unused = 0;
    done = done == nullptr ? &unused : done;
    *done = 0;
    FileObject* const object = ForTransfer(file, &FileObject::readable, overlapped);
    if (object == nullptr) {
        return 0;
    }
    if (object->direct) {
        return ReadDirect(*object, buffer, bytes, done);
    }
    auto* const target = static_cast<uint8*>(buffer);
    uint32 moved = 0;
    int result = 1;
    while (moved < bytes) {
        const ssize_t part =
            ::read(object->descriptor, target + moved, std::min(bytes - moved, kLongestTransfer));
        if (part > 0) {
            moved += static_cast<uint32>(part);
        } else if (part == 0) {
            break;
        } else if (errno != EINTR) {
            SetLastSystemError(errno);
            result = 0;
            break;
        }
    }
    *done = moved;
    return result;
}

int VXC_WriteFile(void* file, const void* buffer, uint32 bytes, unsigned long* done,
                  _VXC_OVERLAPPED* overlapped) noexcept {
    unsigned long unused = 0;
    done = done == nullptr ? &unused : done;
    *done = 0;
    FileObject* const object = ForTransfer(file, &FileObject::writable, overlapped);
    if (object == nullptr) {
        return 0;
    }
    if (object->direct) {
        return WriteDirect(*object, buffer, bytes, done);
    }
    const FileSizeSignalGuard guard;
    const auto* const source = static_cast<const uint8*>(buffer);
    uint32 moved = 0;
    int result = 1;
    while (moved < bytes) {
        const ssize_t part =
            ::write(object->descriptor, source + moved, std::min(bytes - moved, kLongestTransfer));
        if (part > 0) {
            moved += static_cast<uint32>(part);
        } else if (part == 0 || errno != EINTR) {
            // A device that takes nothing without an error would be asked for ever.
            SetLastSystemError(part == 0 ? EIO : errno);
            result = 0;
            break;
        }
    }
    *done = moved;
    return result;
}

uint32 VXC_SetFilePointer(void* file, int32 low, int32* high, uint32 method) noexcept {
    FileObject* const object = FileOfHandle(file);
    if (object == nullptr) {
        return VXC_INVALID_SET_FILE_POINTER;
    }
    if (method > VXC_FILE_END) {
        SetLastError(VXC_ERROR_INVALID_PARAMETER);
        return VXC_INVALID_SET_FILE_POINTER;
    }
    int64 distance = low;
    off_t former = 0;
    if (high != nullptr) {
        distance = static_cast<int64>(static_cast<uint64>(static_cast<uint32>(*high)) << 32 |
                                      static_cast<uint32>(low));
    } else {
        former = ::lseek(object->descriptor, 0, SEEK_CUR);
    }
    constexpr int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    const off_t position = ::lseek(object->descriptor, distance, kWhence[method]);
    if (position < 0) {
        if (errno == EINVAL) {
            SetMoveError(*object, distance, method);
        } else {
            SetLastSystemError(errno);
        }
        return VXC_INVALID_SET_FILE_POINTER;
    }
    if (high != nullptr) {
        *high = static_cast<int32>(position >> 32);
    } else if (position > 0xFFFFFFFF) {
        // The caller has no room for this position, so it must not be taken for a smaller one.
        ::lseek(object->descriptor, former, SEEK_SET);
        SetLastError(VXC_ERROR_INVALID_PARAMETER);
        return VXC_INVALID_SET_FILE_POINTER;
    }
    SetLastError(VXC_ERROR_SUCCESS);
    return LowHalf(position);
}

uint32 VXC_GetFileSize(void* file, uint32* high) noexcept {
    const FileObject* const object = FileOfHandle(file);
    if (object == nullptr) {
        return 0xFFFFFFFFu;
    }
    struct stat facts {};
    if (::fstat(object->descriptor, &facts) != 0) {
        SetLastSystemError(errno);
        return 0xFFFFFFFFu;
    }
    if (high != nullptr) {
        *high = static_cast<uint32>(static_cast<uint64>(facts.st_size) >> 32);
    }
    SetLastError(VXC_ERROR_SUCCESS);
    return LowHalf(facts.st_size);
}

int VXC_SetEndOfFile(void* file) noexcept {
    const FileObject* const object = FileOfHandle(file);
    if (object == nullptr) {
        return 0;
    }
    if (!object->writable) {
        SetLastError(VXC_ERROR_ACCESS_DENIED);
        return 0;
    }
    const FileSizeSignalGuard guard;
    const off_t position = ::lseek(object->descriptor, 0, SEEK_CUR);
    int result = position < 0 ? -1 : ::ftruncate(object->descriptor, position);
    while (result != 0 && errno == EINTR) {
        result = ::ftruncate(object->descriptor, position);
    }
    if (result != 0) {
        SetLastSystemError(errno);
        return 0;
    }
    return 1;
}
