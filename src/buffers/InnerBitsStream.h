// InnerBitsStream.h - what a bit stream for plug-ins has inside.
//
// The current byte is known twice: byteIndex is what a caller is told, m_nCurrent is the place in memory that
// is read and written. They go together, except at the end of the buffer, where only byteIndex goes on, and
// after AlignCurBytes. Every access to memory holds m_nCurrent against the size, whatever byteIndex says.
//
// The next bit is always the one with m_nBitsLeft - 1 bits of the byte behind it.
#pragma once

#include "buffers/Crc32Mpeg.h"
#include "frame/Counted.h"
#include "frame/Types.h"

#include <algorithm>
#include <cstdint>

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
    int IsAligned() const noexcept { return m_nBitsLeft == 8 ? 1 : 0; }
    void StartCRC() noexcept;
    void StopCRC() noexcept { m_bCRCActive = false; }
    uint32 GetCRCResult() const noexcept { return m_bCRCStarted ? m_crc.Value() : 0; }

private:
    friend class vxcio::Counted<CInnerBitsStream>;
    ~CInnerBitsStream() = default;

    // A field of 32 bits that starts within a byte touches five, and goes on to the one after them at most.
    static constexpr uint32 kWordBytes = 8;
    static constexpr int kLongestField = 32;

    // No pointer arithmetic: the address may lie outside the buffer, where it is only told.
    uint8* AddressOf(int64 index) const noexcept {
        return m_pBase == nullptr ? nullptr
                                  : reinterpret_cast<uint8*>(reinterpret_cast<std::uintptr_t>(m_pBase) +
                                                             static_cast<std::uintptr_t>(index));
    }

    // Whether there is a bit to take or to set; goes on to the next byte where this one is through.
    bool HasBit() noexcept { return m_nReach > 0 && (m_nBitsLeft > 0 || NextByte()); }
    // Whether a word can be taken at the cursor, however the field in it lies.
    bool HasWord(int count) const noexcept {
        return count <= kLongestField && m_nByteIndex == m_nCurrent &&
               m_nCurrent + kWordBytes <= uint64{m_nReach};
    }

    void Store() noexcept;
    void Load() noexcept;
    void TakeIn() noexcept;
    bool NextByte() noexcept;
    void GoOn(uint32 bits, uint64 word) noexcept;
    uint64 WordWithCopy(uint64 word) const noexcept;
    int GetBitsBytewise(uint32* value, int count) noexcept;
    int PutBitsBytewise(uint32 value, int count) noexcept;
    void FeedCRC(uint32 value, int count) noexcept;
    int64 Index() const noexcept;
    void GoToByte(int64 index) noexcept;
    void GoToBit(int64 position) noexcept;
    bool IsBehind(int64 index) const noexcept { return m_nReach > 0 && index == int64{m_nReach}; }

    uint8* m_pBase = nullptr;
    uint32 m_nSize = 0;
    uint32 m_nReach = 0;     // bytes that may be touched: the size, or 0 without a buffer
    uint64 m_nCurrent = 0;   // the byte that is worked on, counted from the base
    uint32 m_nByteIndex = 0; // wraps
    int m_nBitsLeft = 8;     // of the copy, not yet passed
    int64 m_nBitPos = 0;
    uint8 m_cCopy = 0;
    bool m_bBehind = false;   // the caller went to the byte behind the buffer, which may then be read
    bool m_bToTakeIn = false; // the copy lacks that byte, which is read when a bit of it is
    bool m_bCRCActive = false;
    bool m_bCRCStarted = false;
    vxcio::Crc32Mpeg m_crc;
};
