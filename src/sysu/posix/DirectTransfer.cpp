// Reads and writes past the system's cache.
//
// Where the file system tells an offset unit, a position or size that does not divide by it is refused with
// 87 before the system is asked, so that it is noticed on every disk alike. Memory that does not fit goes
// through the file's own aligned buffer, a piece at a time.
#include "sysu/posix/FileObject.h"

#include "frame/PlatformTypes.h"
#include "sysu/LastError.h"
#include "sysu/posix/FileSizeSignal.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace vxcio::sysu {

namespace {

constexpr uint32 kBufferBytes = 1u << 20;
constexpr std::size_t kBufferAlignment = 4096;
// What a piece is held against where the file system tells no unit: no disk has a smaller one.
constexpr uint32 kLeastUnit = 512;

uint32 BufferBytes(const FileObject& file) {
    return std::max(kBufferBytes, file.offsetUnit);
}

// The file's transfer buffer for one call. A second thread on the same handle gets one of its own, so
// neither waits for the other's disk access.
class BufferLoan {
public:
    explicit BufferLoan(FileObject& file) noexcept
        : m_file(file), m_buffer(file.transferBuffer.exchange(nullptr, std::memory_order_acquire)) {
        if (m_buffer == nullptr) {
            m_buffer = static_cast<uint8*>(std::aligned_alloc(kBufferAlignment, BufferBytes(file)));
        }
    }
    ~BufferLoan() { std::free(m_file.transferBuffer.exchange(m_buffer, std::memory_order_acq_rel)); }
    BufferLoan(const BufferLoan&) = delete;
    BufferLoan& operator=(const BufferLoan&) = delete;

    uint8* Get() const noexcept { return m_buffer; }

private:
    FileObject& m_file;
    uint8* m_buffer;
};

bool IsUnfitMemory(const FileObject& file, const void* memory) {
    return reinterpret_cast<std::uintptr_t>(memory) % file.memoryUnit != 0;
}

enum class Place { Fits, EndOfFile, Refused };

// Whether a transfer may start at the file's position. At and behind the end of the file, where a short
// read may have left it, any position will do for a read.
Place LookAtPlace(const FileObject& file, uint32 bytes) {
    if (file.offsetUnit == 0) {
        return Place::Fits;
    }
    const off_t position = ::lseek(file.descriptor, 0, SEEK_CUR);
    struct stat facts {};
    if (position < 0 || ::fstat(file.descriptor, &facts) != 0) {
        SetLastSystemError(errno);
        return Place::Refused;
    }
    const bool isPositionFit = position % static_cast<off_t>(file.offsetUnit) == 0;
    if (bytes % file.offsetUnit == 0 && (isPositionFit || position >= facts.st_size)) {
        return isPositionFit ? Place::Fits : Place::EndOfFile;
    }
    SetLastError(VXC_ERROR_INVALID_PARAMETER);
    return Place::Refused;
}

uint32 LongestPiece(const FileObject& file, bool isBuffered) {
    const uint32 longest = isBuffered ? BufferBytes(file) : kLongestTransfer;
    return longest - longest % std::max(file.offsetUnit, kLeastUnit);
}

// Moves `bytes` in pieces. `move` is given the bytes done and the size of the next piece and tells like
// read(2) what was moved. 1, also at the end of the file; 0 with the last error.
template <class Move>
int MoveInPieces(uint32 bytes, uint32 longest, uint32 unit, unsigned long* done, Move move) {
    uint32 moved = 0;
    int result = 1;
    while (moved < bytes) {
        const ssize_t part = move(moved, std::min(bytes - moved, longest));
        if (part < 0) {
            if (errno == EINTR) {
                continue;
            }
            SetLastSystemError(errno);
            result = 0;
            break;
        }
        moved += static_cast<uint32>(part);
        // A piece that ends between two units ends at the end of the file.
        if (part == 0 || static_cast<std::size_t>(part) % unit != 0) {
            break;
        }
    }
    *done = moved;
    return result;
}

} // namespace

int ReadDirect(FileObject& file, void* buffer, uint32 bytes, unsigned long* done) noexcept {
    const Place place = LookAtPlace(file, bytes);
    if (place != Place::Fits) {
        return place == Place::EndOfFile ? 1 : 0;
    }
    auto* target = static_cast<uint8*>(buffer);
    const uint32 unit = std::max(file.offsetUnit, kLeastUnit);
    if (!IsUnfitMemory(file, buffer)) {
        return MoveInPieces(bytes, LongestPiece(file, false), unit, done, [&](uint32 at, uint32 piece) {
            return ::read(file.descriptor, target + at, piece);
        });
    }
    const BufferLoan loan(file);
    if (loan.Get() == nullptr) {
        SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    return MoveInPieces(bytes, LongestPiece(file, true), unit, done, [&](uint32 at, uint32 piece) {
        const ssize_t part = ::read(file.descriptor, loan.Get(), piece);
        if (part > 0) {
            std::memcpy(target + at, loan.Get(), static_cast<std::size_t>(part));
        }
        return part;
    });
}

int WriteDirect(FileObject& file, const void* buffer, uint32 bytes, unsigned long* done) noexcept {
    // Unlike a read, a write at an odd position behind the end has something to do.
    const Place place = LookAtPlace(file, bytes);
    if (place != Place::Fits) {
        if (place == Place::EndOfFile) {
            SetLastError(VXC_ERROR_INVALID_PARAMETER);
        }
        return 0;
    }
    const auto* source = static_cast<const uint8*>(buffer);
    const FileSizeSignalGuard guard;
    if (!IsUnfitMemory(file, buffer)) {
        return MoveInPieces(bytes, LongestPiece(file, false), 1, done, [&](uint32 at, uint32 piece) {
            return ::write(file.descriptor, source + at, piece);
        });
    }
    const BufferLoan loan(file);
    if (loan.Get() == nullptr) {
        SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    return MoveInPieces(bytes, LongestPiece(file, true), 1, done, [&](uint32 at, uint32 piece) {
        std::memcpy(loan.Get(), source + at, piece);
        return ::write(file.descriptor, loan.Get(), piece);
    });
}

} // namespace vxcio::sysu
