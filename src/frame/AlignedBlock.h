// AlignedBlock.h - memory for unbuffered transfer, and its owner.
//
// The distance back to the start of the allocation stands as a 16-bit value in the two bytes in front of
// the block.
//
//   allocation            block
//   |...................|dd|size bytes, zeroed ........|
//   <----- distance ----->
#pragma once

#include "frame/Types.h"

#include <cstddef>
#include <memory>
#include <utility>

namespace vxcio {

// A zeroed block at a multiple of alignment, a power of two up to 32768, or 0 for none. Null when the
// allocation fails or the alignment is anything else. The caller frees it with AlignedFree.
uint8* AlignedAlloc(std::size_t size, std::size_t alignment) noexcept;

// Null is ignored.
void AlignedFree(uint8* block) noexcept;

struct AlignedBufferInspector; // a door for tests

// Owns an aligned block, or a part of one, and knows its size. Moved with the request that fills it, so that
// memory which a stuck thread may still write to belongs to that thread alone.
class AlignedBuffer {
public:
    AlignedBuffer() noexcept = default;
    // Empty when memory lacks. From kLargeMemory on it lies in large pages, where there are some.
    AlignedBuffer(std::size_t size, std::size_t alignment) noexcept;
    AlignedBuffer(AlignedBuffer&& other) noexcept
        : m_block(std::exchange(other.m_block, nullptr)), m_size(std::exchange(other.m_size, 0)),
          m_isLarge(other.m_isLarge), m_whole(std::move(other.m_whole)) {}
    AlignedBuffer& operator=(AlignedBuffer&& other) noexcept {
        AlignedBuffer taken(std::move(other));
        std::swap(m_block, taken.m_block);
        std::swap(m_size, taken.m_size);
        std::swap(m_isLarge, taken.m_isLarge);
        std::swap(m_whole, taken.m_whole);
        return *this;
    }
    ~AlignedBuffer() { Free(); }

    // Makes each of `count` buffers an aligned part of one such buffer, which goes with the last of them. The
    // alignment is not 0. False when memory lacks; the buffers stay as they are then.
    static bool MakeParts(AlignedBuffer* parts, std::size_t count, std::size_t size,
                          std::size_t alignment) noexcept;

    explicit operator bool() const noexcept { return m_block != nullptr; }
    uint8* Data() const noexcept { return m_block; }
    std::size_t Size() const noexcept { return m_size; }
    void Reset() noexcept { *this = AlignedBuffer(); }

private:
    friend struct AlignedBufferInspector;

    void Free() noexcept;

    uint8* m_block = nullptr;
    std::size_t m_size = 0;
    bool m_isLarge = false;
    std::shared_ptr<AlignedBuffer> m_whole; // of a part
};

} // namespace vxcio
