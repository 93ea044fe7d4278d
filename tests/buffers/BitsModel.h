// BitsModel.h - a bit stream that goes bit by bit, as slow and as plain as can be: what a CBitsStream must
// give, keep and store after every call.
#pragma once

#include "frame/Types.h"

#include <vector>

namespace vxcio::test {

// The operations are those of CBitsStream, by name and by meaning. One thread.
//
// The byte behind a buffer is read at once where a seek goes to it: the model is given memory that has one.
// Nothing else outside the buffer is touched.
class BitsModel {
public:
    int InitBuffer(uint8* buffer, uint32 size);
    int ReFill() { return 1; }
    void Flush() { StoreCache(); }

    int GetBit(int* bit);
    int GetBits(uint32* value, int count);
    int GetBYTE(uint8* value);
    int GetWORD(uint16* value);
    int GetDWORD(uint32* value) { return GetBits(value, 32); }

    int PutBit(int bit);
    int PutBits(uint32 value, int count);
    int PutBYTE(uint8 value) { return PutBits(value, 8); }
    int PutWORD(uint16 value) { return PutBits(value, 16); }
    int PutDWORD(uint32 value) { return PutBits(value, 32); }

    uint8* GetCurBytePtr() const { return AddressOf(m_current); }
    uint8* GetBytePtr(int index) const { return int64{index} < int64{m_size} ? AddressOf(index) : nullptr; }
    uint32 GetCurBytesPos() const { return static_cast<uint32>(m_byteIndex); }
    int64 GetCurBitsPos() const { return m_bitPos; }
    uint32 GetBufferSize() const { return m_size; }

    int SeekBytePtr(int delta);
    int SetBytePtrPos(int index);
    int SeekBitsPtr(int delta);
    int SetBitsPtr(uint32 position);
    void AlignCurBytes();
    int IsAligned() const { return m_bitsLeft == 8 ? 1 : 0; }

    void StartCRC();
    void StopCRC() { m_crcActive = false; }
    uint32 GetCRCResult() const;

    // A seek went to the byte behind the buffer: the next bit that is read is one of that byte.
    bool IsBehindBySeek() const { return m_isBehindBySeek; }

private:
    bool HasBuffer() const { return m_base != nullptr && m_size > 0; }
    bool IsInside() const { return HasBuffer() && m_current >= 0 && m_current < int64{m_size}; }
    uint8* AddressOf(int64 index) const;
    int64 IndexAsNumber() const;

    void StoreCache();
    void LoadCache();
    bool MoveToNextByte();
    bool HasBit();
    void MoveToByte(int64 index);
    void MoveToBit(int64 position, bool isSeekToEnd);
    void FeedBit(uint32 bit);
    void FeedBits(uint32 value, int count);

    uint8* m_base = nullptr;
    int64 m_current = 0; // counted from the base
    uint32 m_size = 0;
    int32 m_byteIndex = 0;
    int64 m_bitPos = 0;
    uint8 m_cache = 0;
    uint8 m_mask = 0x80;
    int m_bitsLeft = 8;
    bool m_isBehindBySeek = false;
    bool m_crcActive = false;
    std::vector<uint32> m_cells; // one bit each, the least significant first
};

} // namespace vxcio::test
