#include "frame/AlignedBlock.h"

#include "frame/LargeMemory.h"

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace vxcio {

namespace {

using Distance = uint16;

// The largest alignment whose distances, up to alignment + 1, still fit the two bytes.
constexpr std::size_t kMaximumAlignment = 32768;

bool IsAlignment(std::size_t alignment) noexcept {
    return alignment == 0 || (std::has_single_bit(alignment) && alignment <= kMaximumAlignment);
}

} // namespace

uint8* AlignedAlloc(std::size_t size, std::size_t alignment) noexcept {
    if (!IsAlignment(alignment)) {
        return nullptr;
    }
    const std::size_t extra = alignment + sizeof(Distance);
    if (size > SIZE_MAX - extra) {
        return nullptr;
    }
    auto* const start = static_cast<uint8*>(std::calloc(1, size + extra));
    if (start == nullptr) {
        return nullptr;
    }
    std::size_t distance = sizeof(Distance);
    if (alignment != 0) {
        const std::uintptr_t earliest = reinterpret_cast<std::uintptr_t>(start) + sizeof(Distance);
        distance += (alignment - earliest % alignment) % alignment;
    }
    uint8* const block = start + distance;
    // By memcpy: without an alignment the two bytes may lie at an odd address.
    const auto stored = static_cast<Distance>(distance);
    std::memcpy(block - sizeof stored, &stored, sizeof stored);
    return block;
}

void AlignedFree(uint8* block) noexcept {
    if (block == nullptr) {
        return;
    }
    Distance stored = 0;
    std::memcpy(&stored, block - sizeof stored, sizeof stored);
    std::free(block - stored);
}

AlignedBuffer::AlignedBuffer(std::size_t size, std::size_t alignment) noexcept {
    if (size >= kLargeMemory && IsAlignment(alignment)) {
        m_block = LargeAlloc(size);
        m_isLarge = m_block != nullptr;
    }
    if (m_block == nullptr) {
        m_block = AlignedAlloc(size, alignment);
    }
    m_size = m_block == nullptr ? 0 : size;
}

void AlignedBuffer::Free() noexcept {
    if (m_whole) {
        return; // its memory goes with the whole
    }
    if (m_isLarge) {
        LargeFree(m_block, m_size);
    } else {
        AlignedFree(m_block);
    }
}

bool AlignedBuffer::MakeParts(AlignedBuffer* parts, std::size_t count, std::size_t size,
                              std::size_t alignment) noexcept {
    const std::size_t stride = (size + alignment - 1) / alignment * alignment;
    if (stride < size || (stride != 0 && count > SIZE_MAX / stride)) {
        return false;
    }
    std::shared_ptr<AlignedBuffer> whole;
    try {
        whole = std::make_shared<AlignedBuffer>(count * stride, alignment);
    } catch (...) {
        return false;
    }
    if (!*whole) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        AlignedBuffer part;
        part.m_block = whole->Data() + i * stride;
        part.m_size = size;
        part.m_whole = whole;
        parts[i] = std::move(part);
    }
    return true;
}

} // namespace vxcio
