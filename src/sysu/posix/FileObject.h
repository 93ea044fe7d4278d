// FileObject.h - what stands behind a file handle.
//
// Made by VXC_CreateFileW, ended by VXC_CloseFile. The position is the descriptor's own. Nothing here
// changes while the handle lives but the transfer buffer, so calls on one handle from several threads are
// as safe as the system's own calls.
#pragma once

#include "frame/PlatformTypes.h"
#include "frame/Types.h"

#include <atomic>
#include <string>

namespace vxcio::sysu {

inline constexpr uint32 kFileMagic = 0x454C4946u;

// The most that one system call moves.
inline constexpr uint32 kLongestTransfer = 0x7FFFF000u;

struct FileObject {
    // First, so that a handle of another kind is recognised; cleared at the end of the handle.
    std::atomic<uint32> magic{kFileMagic};
    int descriptor = -1;
    bool readable = false;
    bool writable = false;
    bool deleteOnClose = false;
    // Whether transfers go past the system's cache, and what they must divide by then: addresses of memory,
    // and positions and sizes (0: nothing is asked for).
    bool direct = false;
    uint32 memoryUnit = 1;
    uint32 offsetUnit = 0;
    // Aligned memory for direct transfers of memory that is not; null before the first such transfer and
    // while a thread uses it.
    std::atomic<uint8*> transferBuffer{nullptr};

    FileObject() = default;
    FileObject(const FileObject&) = delete;
    FileObject& operator=(const FileObject&) = delete;
    // Frees the transfer buffer; the descriptor is closed by VXC_CloseFile.
    ~FileObject();
};

// Sets last error 6; null.
FileObject* RefuseHandle() noexcept;

// The object of a handle. For null, VXC_INVALID_HANDLE and what is no file handle: null, last error 6. In the
// header, as each read starts with it and each call less counts there.
inline FileObject* FileOfHandle(void* handle) noexcept {
    // VXC_INVALID_HANDLE is odd.
    if (handle != nullptr && reinterpret_cast<std::uintptr_t>(handle) % alignof(FileObject) == 0) {
        auto* const file = static_cast<FileObject*>(handle);
        if (file->magic.load(std::memory_order_relaxed) == kFileMagic) {
            return file;
        }
    }
    return RefuseHandle();
}

// Sets the last error of a name that a system call refused: 2 where only the last part is missing, 3 where
// a folder on the way is.
void SetNameError(int systemError, const std::string& path) noexcept;

// Transfers of a file whose `direct` is set; the arguments are checked already. 1 or 0 with the last error;
// *done is what was moved, on failure too.
int ReadDirect(FileObject& file, void* buffer, uint32 bytes, unsigned long* done) noexcept;
int WriteDirect(FileObject& file, const void* buffer, uint32 bytes, unsigned long* done) noexcept;

} // namespace vxcio::sysu
