// The reads of SourceSequence: inside one element, and over the boundaries between them.
#include "sources/SourceSequence.h"

#include "frame/TransferDefaults.h"

#include <cstring>
#include <limits>

namespace vxcio {

namespace {

constexpr uint32 kLongestRead = std::numeric_limits<int32>::max();

// What a source says it gave, as far as it can be true.
uint32 Delivered(int count, uint32 asked) noexcept {
    const auto bytes = static_cast<uint32>(count); // plain reads of 2 GiB and more come back below 0
    return bytes <= asked ? bytes : 0;
}

} // namespace

// Puts `bytes` bytes behind the `count` that are there; their sum.
uint32 SourceSequence::Join(uint32 count, const uint8* data, uint32 bytes) noexcept {
    if (bytes > 0) {
        std::memcpy(m_pJoinBuffer.get() + count, data, bytes);
    }
    return count + bytes;
}

// Makes the next element the current one and reads on in it.
uint32 SourceSequence::ReadPtrOfNext(uint8** data, uint32 bytes) {
    constexpr int kKeptReady = 2; // the element read now and the one before it; and the first of all
    ++m_nCurIndex;
    CSoftDataSource& source = SourceAt(m_nCurIndex);
    MakeReady(source);
    if (!m_manner.takesNextFromItsStart) {
        return Delivered(source.ReadPtr(data, static_cast<int>(bytes)), bytes);
    }
    if (m_nCurIndex > kKeptReady) {
        SourceAt(m_nCurIndex - kKeptReady).DisablePreRead();
    }
    source.Seek(0, kFromStart);
    return Delivered(source.ReadAt(0, data, static_cast<int>(bytes)), bytes);
}

int SourceSequence::ReadPtr(uint8** data, uint32 bytes) {
    if (data == nullptr || bytes > kLongestRead || !IsPreReadMode() || !IsAtElement()) {
        return 0;
    }
    CSoftDataSource& source = SourceAt(m_nCurIndex);
    MakeReady(source);
    uint32 count = Delivered(source.ReadPtr(data, static_cast<int>(bytes)), bytes);
    if (count == bytes || !GrowJoinBuffer(bytes)) {
        return static_cast<int>(count); // straight out of the element
    }
    Join(0, *data, count);
    while (m_nCurIndex + 1 < Count()) {
        uint8* piece = nullptr;
        const uint32 got = ReadPtrOfNext(&piece, bytes - count);
        count = Join(count, piece, got);
        if (got == 0 || (m_manner.endsWhenComplete && count == bytes)) {
            break;
        }
    }
    *data = m_pJoinBuffer.get();
    return static_cast<int>(count);
}

int SourceSequence::ReadAt(uint64 position, uint8** data, int bytes) {
    if (data == nullptr || bytes < 0 || !IsPreReadMode()) {
        return 0;
    }
    m_nCurIndex = Find(position);
    if (m_nCurIndex < 0) {
        return 0;
    }
    const auto wanted = static_cast<uint32>(bytes);
    MakeReady(SourceAt(m_nCurIndex));
    uint32 count = Delivered(SourceAt(m_nCurIndex).ReadAt(position, data, bytes), wanted);
    if (count == wanted || !GrowJoinBuffer(wanted)) {
        return static_cast<int>(count);
    }
    Join(0, *data, count);
    // Not ended by completeness: the index comes to rest at the element that gives nothing.
    for (++m_nCurIndex; m_nCurIndex < Count(); ++m_nCurIndex) {
        CSoftDataSource& source = SourceAt(m_nCurIndex);
        MakeReady(source);
        uint8* piece = nullptr;
        const uint32 missing = wanted - count;
        const uint32 got = Delivered(source.ReadAt(position, &piece, static_cast<int>(missing)), missing);
        if (got == 0) {
            break;
        }
        count = Join(count, piece, got);
    }
    *data = m_pJoinBuffer.get();
    return static_cast<int>(count);
}

int SourceSequence::Read(uint8* buffer, uint32 bytes) {
    if (IsPreReadMode()) {
        uint8* data = nullptr;
        const int got = ReadPtr(&data, bytes);
        if (got > 0) {
            std::memcpy(buffer, data, static_cast<std::size_t>(got));
        }
        m_nCurPos += static_cast<uint64>(got);
        return got;
    }
    if (!IsAtElement()) {
        return 0;
    }
    MakeReady(SourceAt(m_nCurIndex));
    uint32 count = Delivered(SourceAt(m_nCurIndex).Read(buffer, bytes), bytes);
    if (count == bytes) {
        return static_cast<int>(count); // the position stays
    }
    while (m_nCurIndex + 1 < Count()) {
        ++m_nCurIndex;
        CSoftDataSource& source = SourceAt(m_nCurIndex);
        source.DisablePreRead();
        source.Seek(0, kFromStart);
        const uint32 got = Delivered(source.Read(buffer + count, bytes - count), bytes - count);
        count += got;
        if (got == 0 || count == bytes) {
            break;
        }
    }
    m_nCurPos += count;
    return static_cast<int>(count);
}

} // namespace vxcio
