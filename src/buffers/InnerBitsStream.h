// InnerBitsStream.h - what a bit stream for plug-ins has inside.
//
// The current byte is known twice: byteIndex is what a caller is told, m_nCurrent is the place in memory that
// is read and written. They go together, except at the end of the buffer, where only byteIndex goes on, and
// after AlignCurBytes. Every access to memory holds m_nCurrent against the size, whatever byteIndex says.
//
// The next bit is always the one that m_nPassed bits of the byte precede.
//
// What a field of ordinary length passes through is inline, so that it is one call for a caller.
#pragma once

#include "buffers/Crc32Mpeg.h"
#include "frame/Counted.h"
#include "frame/Types.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace vxcio {

// The bytes of a word the other way round; written out, which compilers turn into one instruction.
constexpr uint64 SwapBytes(uint64 word) noexcept {
    return word >> 56 | (word >> 40 & 0xFF00u) | (word >> 24 & 0xFF0000u) | (word >> 8 & 0xFF000000u) |
           (word & 0xFF000000u) << 8 | (word & 0xFF0000u) << 24 | (word & 0xFF00u) << 40 | word << 56;
}

// A word as it lies in memory, its most significant byte first.
constexpr uint64 BigEndian(uint64 word) noexcept {
    return std::endian::native == std::endian::big ? word : SwapBytes(word);
}

inline uint64 ReadBigEndian(const uint8* from) noexcept {
    uint64 word = 0;
    std::memcpy(&word, from, sizeof word);
    return BigEndian(word);
}

// Writes the first `bytes` bytes of the word, 0 to 4, and not one more: what follows may be another's by now.
// What is not wanted goes to `spare`, 4 bytes, since with fields of mixed lengths no branch here is foreseen.
inline void WriteBigEndian(uint8* to, uint64 word, uint32 bytes, uint8* spare) noexcept {
    const uint64 image = BigEndian(word);
    const uint32 pair = bytes & 2;
    const auto last = static_cast<uint8>(word >> (56 - 8 * pair));
    std::memcpy(bytes == 4 ? to : spare, &image, 4);
    std::memcpy(pair != 0 ? to : spare, &image, 2);
    std::memcpy((bytes & 1) != 0 ? to + pair : spare, &last, 1);
}

} // namespace vxcio

class CInnerBitsStream final : public vxcio::Counted<CInnerBitsStream> {
public:
    CInnerBitsStream() = default;

    // The operations of CBitsStream.
    void InitBuffer(uint8* buffer, uint32 size) noexcept;
    void Flush() noexcept { Store(); }
    int GetBit(int* bit) noexcept;
    int GetBits(uint32* value, int count) noexcept;
    int PutBit(bool bit) noexcept;
    int PutBits(uint32 value, int count) noexcept;
    int PutByte(uint8 value) noexcept;
    uint8* GetCurBytePtr() const noexcept { return AddressOf(static_cast<int64>(m_nCurrent)); }
    uint8* GetBytePtr(int index) const noexcept {
        return index < int64{m_nSize} ? AddressOf(index) : nullptr;
    }
    uint32 GetCurBytesPos() const noexcept { return m_nByteIndex; }
    int64 GetCurBitsPos() const noexcept { return m_nBitPos; }
    uint32 GetBufferSize() const noexcept { return m_nSize; }
    int SeekBytePtr(int delta) noexcept;
    int SetBytePtrPos(int index) noexcept;
    int SeekBitsPtr(int delta) noexcept;
    int SetBitsPtr(uint32 position) noexcept;
    void AlignCurBytes() noexcept;
    int IsAligned() const noexcept { return m_nPassed == 0 ? 1 : 0; }
    void StartCRC() noexcept;
    void StopCRC() noexcept { m_bCRCActive = false; }
    uint32 GetCRCResult() const noexcept { return m_bCRCStarted ? m_crc.Value() : 0; }

private:
    friend class vxcio::Counted<CInnerBitsStream>;
    ~CInnerBitsStream() = default;

    // A field of 32 bits that starts within a byte touches five, and goes on to the one after them at most.
    static constexpr uint32 kWordBytes = 8;
    static constexpr uint32 kLongestField = 32;

    // No pointer arithmetic: the address may lie outside the buffer, where it is only told.
    uint8* AddressOf(int64 index) const noexcept {
        return m_pBase == nullptr ? nullptr
                                  : reinterpret_cast<uint8*>(reinterpret_cast<std::uintptr_t>(m_pBase) +
                                                             static_cast<std::uintptr_t>(index));
    }

    // Whether there is a bit to take or to set; goes on to the next byte where this one is through.
    bool HasBit() noexcept { return m_nReach > 0 && (m_nPassed < 8 || NextByte()); }
    // Whether a whole word can be taken at the cursor, however a field of that length lies in it.
    bool HasWord(int count) const noexcept {
        return m_nPassed < 8 && static_cast<uint32>(count) - 1 < kLongestField &&
               m_nByteIndex == m_nCurrent && m_nCurrent + kWordBytes <= uint64{m_nReach};
    }

    void Store() noexcept;
    void Load() noexcept;
    void LoadAgain() noexcept;
    void TakeIn() noexcept;
    bool NextByte() noexcept;
    void GoOn(uint32 bits, uint64 word) noexcept;
    uint64 WordWithCopy(uint64 word) const noexcept;
    int GetBitsBytewise(uint32* value, int count) noexcept;
    int PutBitsBytewise(uint32 value, int count) noexcept;
    void FeedCRC(uint32 value, uint32 count) noexcept;
    int64 Index() const noexcept;
    void GoToByte(int64 index) noexcept;
    void GoToBit(int64 position, bool mayBeBehind) noexcept;
    bool IsBehind(int64 index) const noexcept { return m_nReach > 0 && index == int64{m_nReach}; }

    uint8* m_pBase = nullptr;
    uint32 m_nSize = 0;
    uint32 m_nReach = 0;     // bytes that may be touched: the size, or 0 without a buffer
    uint64 m_nCurrent = 0;   // the byte that is worked on, counted from the base
    uint32 m_nByteIndex = 0; // wraps
    uint32 m_nPassed = 0;    // bits of the copy, up to 8
    int64 m_nBitPos = 0;
    uint8 m_cCopy = 0;
    bool m_bBehind = false;   // the caller went to the byte behind the buffer, which may then be read
    bool m_bToTakeIn = false; // the copy lacks that byte, which is read when a bit of it is
    bool m_bCRCActive = false;
    bool m_bCRCStarted = false;
    uint8 m_spare[4] = {}; // takes bytes that are not to be stored
    vxcio::Crc32Mpeg m_crc;
};

// ---- What every field passes through ---------------------------------------------------------------

// Writes only what changes something, so that memory which is only read may be write-protected.
inline void CInnerBitsStream::Store() noexcept {
    if (m_nCurrent < m_nReach && m_pBase[m_nCurrent] != m_cCopy) {
        m_pBase[m_nCurrent] = m_cCopy;
    }
}

inline void CInnerBitsStream::Load() noexcept {
    m_cCopy = m_nCurrent < m_nReach ? m_pBase[m_nCurrent] : 0;
    m_bToTakeIn = m_bBehind;
}

// After a read of bits of the copy: a byte behind the buffer may be touched by then.
inline void CInnerBitsStream::LoadAgain() noexcept {
    m_cCopy = m_nCurrent < m_nReach || m_bBehind ? m_pBase[m_nCurrent] : 0;
}

// Bits that were written to the copy meanwhile stay.
inline void CInnerBitsStream::TakeIn() noexcept {
    if (m_bToTakeIn) {
        m_cCopy |= m_pBase[m_nCurrent];
        m_bToTakeIn = false;
    }
}

// Called when all bits of the byte have passed. Where there is no next byte it stays so.
inline bool CInnerBitsStream::NextByte() noexcept {
    Store();
    const uint64 next = uint64{m_nByteIndex} + 1;
    if (next < m_nSize) {
        ++m_nCurrent;
        ++m_nByteIndex;
        m_nPassed = 0;
        m_bBehind = false;
        Load();
        return true;
    }
    if (next == m_nSize) {
        ++m_nByteIndex;
    }
    return false;
}

// The word at the cursor as it is worked on.
inline uint64 CInnerBitsStream::WordWithCopy(uint64 word) const noexcept {
    constexpr uint64 kBehindFirst = ~uint64{0} >> 8;
    return (word & kBehindFirst) | uint64{m_cCopy} << 56;
}

// Moves the cursor by `bits` within `word`, which becomes what is known of the new current byte.
inline void CInnerBitsStream::GoOn(uint32 bits, uint64 word) noexcept {
    const uint32 passed = m_nPassed + bits;
    const uint32 bytes = passed / 8;
    m_nPassed = passed % 8;
    m_nCurrent += bytes;
    m_nByteIndex += bytes;
    m_cCopy = static_cast<uint8>(word >> (56 - 8 * bytes));
    m_nBitPos += bits;
}

inline int CInnerBitsStream::GetBit(int* bit) noexcept {
    if (!HasBit()) {
        return 0;
    }
    ++m_nPassed;
    ++m_nBitPos;
    if (bit != nullptr) {
        TakeIn();
        *bit = m_cCopy >> (8 - m_nPassed) & 1;
        if (m_bCRCActive) {
            m_crc.Feed(static_cast<uint32>(*bit), 1);
        }
    }
    return 1;
}

inline int CInnerBitsStream::GetBits(uint32* value, int count) noexcept {
    if (value == nullptr || !HasWord(count)) {
        return GetBitsBytewise(value, count);
    }
    const auto bits = static_cast<uint32>(count);
    // The field begins in the copy; after it the copy is what memory says, in the same byte too.
    const uint64 word = vxcio::ReadBigEndian(m_pBase + m_nCurrent);
    const auto field = static_cast<uint32>(WordWithCopy(word) << m_nPassed >> (64 - bits));
    GoOn(bits, word);
    *value = field;
    if (m_bCRCActive) {
        m_crc.Feed(field, bits);
    }
    return 1;
}

inline int CInnerBitsStream::PutBit(bool bit) noexcept {
    if (!HasBit()) {
        return 0;
    }
    ++m_nPassed;
    ++m_nBitPos;
    m_cCopy = static_cast<uint8>(m_cCopy | (bit ? 1u << (8 - m_nPassed) : 0u));
    if (m_bCRCActive) {
        m_crc.Feed(bit ? 1 : 0, 1);
    }
    return 1;
}

// The CRC comes last where the write cannot fail: nobody sees the order, and nothing has to be kept while a
// whole word of it is worked in.
inline int CInnerBitsStream::PutBits(uint32 value, int count) noexcept {
    if (!HasWord(count)) {
        return PutBitsBytewise(value, count);
    }
    const auto bits = static_cast<uint32>(count);
    const uint32 passed = m_nPassed + bits;
    uint8* const first = m_pBase + m_nCurrent;
    // Bits above the field land on what precedes it in its first byte, and go no further.
    const uint64 word = WordWithCopy(vxcio::ReadBigEndian(first)) | uint64{value} << (64 - passed);
    vxcio::WriteBigEndian(first, word, passed / 8, m_spare);
    GoOn(bits, word);
    if (m_bCRCActive) {
        m_crc.Feed(value, bits);
    }
    return 1;
}

// As PutBits of 8 bits. Most bytes lie on bytes, with another behind them.
inline int CInnerBitsStream::PutByte(uint8 value) noexcept {
    if (m_nPassed != 0 || m_nByteIndex != m_nCurrent || m_nCurrent + 1 >= m_nReach) {
        return PutBits(value, 8);
    }
    uint8* const current = m_pBase + m_nCurrent;
    const uint8 next = current[1];
    current[0] = m_cCopy | value;
    m_cCopy = next;
    ++m_nCurrent;
    ++m_nByteIndex;
    m_nBitPos += 8;
    if (m_bCRCActive) {
        m_crc.Feed(value, 8);
    }
    return 1;
}
