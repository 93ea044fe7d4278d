// BitsStream.h - fields of any bit length in a caller's byte buffer, and the CRC of the bits that pass.
//
// The first bit of a byte is its value 0x80, and a field has its most significant bit first, on every
// machine. One cursor serves reading and writing. The current byte is worked on in a copy:
//
//   buffer  [ done ][ done ][ current ][ to come ] ...      GetCurBytesPos is the index of the current byte
//                       copy: [ 1 0 1 | 1 0 0 1 0 ]         5 of its bits are still to come
//
// A write sets bits of the copy and never clears one, so a buffer to be written starts zeroed. The copy is
// stored when the cursor goes to another byte, and by Flush; memory shows the bits from then on. A read of
// more than one bit takes the copy anew from memory: between writing and reading in one byte, call Flush.
//
// The CRC is the one of ISO/IEC 13818-1, CRC-32/MPEG-2: polynomial 0x04C11DB7, register of all ones at the
// start, most significant bit first, nothing reflected or inverted.
#pragma once

#include "frame/Export.h"

class CInnerBitsStream;

// The plug-in makes and frees it, and keeps the buffer, which the stream neither owns nor grows; the buffer
// outlives its use here. It is writable: also a reader may store. Copies share one cursor and may be
// destroyed in any order. One thread at a time. Nothing here throws.
//
// int results are 1 for success and 0 for failure. Who reads or writes on through the end gets 0; what came
// before the end has passed then, and the cursor stays behind it. The field that ends with the last bit of
// the buffer succeeds, and the next one fails.
//
// Before InitBuffer, and with a buffer that is null or empty, reading and writing fail.
class VXCSOFTCODECIO_API CBitsStream {
public:
    CBitsStream() noexcept;
    CBitsStream(const CBitsStream& other) noexcept;
    CBitsStream& operator=(const CBitsStream& other) noexcept;
    virtual ~CBitsStream();

    // Takes on a buffer of `size` bytes, with the cursor at its first bit. 1, always. A CRC goes on as it
    // was. Bits that were written to the former buffer and not stored yet are lost, as they are when the
    // stream is destroyed: call Flush first.
    int InitBuffer(unsigned char* buffer, unsigned int size) noexcept;
    // Does nothing. 1, always.
    int ReFill() noexcept;
    // Stores the bits written to the current byte.
    void Flush() noexcept;

    // Reads one bit: 0 or 1. Null skips it, past the CRC as well. On failure *bit is left alone.
    int GetBit(int* bit) noexcept;
    // Reads `count` bits, up to 32, into the low bits of *value. Null skips them, past the CRC as well. 0 for
    // a count below 1. When the buffer ends within, *value holds the bits there were, at their place in the
    // field, and the CRC has been fed none of them; when it had ended before, *value is left alone.
    // Of a count above 32 only the last 32 bits are in *value.
    int GetBits(unsigned int* value, int count) noexcept;
    // Read 8 and 16 bits. Null skips them, but the CRC is fed. On failure *value is left alone.
    int GetBYTE(unsigned char* value) noexcept;
    int GetWORD(unsigned short* value) noexcept;
    // Reads 32 bits as GetBits does.
    int GetDWORD(unsigned int* value) noexcept;

    // Writes one bit; every value but 0 is a 1. A 0 leaves the bit as it is.
    int PutBit(int bit) noexcept;
    // Writes the low `count` bits of value, up to 32. Bits of value above `count` are to be 0: they may land
    // on bits before the field. A count below 1 writes nothing and gives 1. The CRC is fed with the whole
    // field even where the buffer then ends. Of a count above 32 the bits before the last 32 are 0.
    int PutBits(unsigned int value, int count) noexcept;
    // Write 8, 16 and 32 bits.
    int PutBYTE(unsigned char value) noexcept;
    int PutWORD(unsigned short value) noexcept;
    int PutDWORD(unsigned int value) noexcept;

    // Address of the current byte. At the end of the buffer it may still be the last byte.
    unsigned char* GetCurBytePtr() noexcept;
    // Address of a byte; null from the size on and without a buffer. A negative index gives an address ahead
    // of the buffer.
    unsigned char* GetBytePtr(int index) noexcept;
    // Index of the current byte; the size, once a read or write has gone through the last bit.
    unsigned int GetCurBytesPos() noexcept;
    // Bits passed.
    long long GetCurBitsPos() noexcept;
    // Bytes of the buffer.
    unsigned int GetBufferSize() noexcept;

    // Moves by whole bytes, to index 0 up to the size. The offset within the byte stays. Whoever goes to the
    // size and takes a bit there reads the byte behind the buffer, which must be readable then; who puts bits
    // there gets 1, and they go nowhere. After the end was met, no bit of the byte gone to is left, and the
    // next read or write is in the byte after it.
    int SeekBytePtr(int delta) noexcept;
    // Moves to a byte, index 0 up to the size less 1. Otherwise as SeekBytePtr.
    int SetBytePtrPos(int index) noexcept;
    // Moves by bits, to bit 0 up to the size times 8; there as SeekBytePtr.
    int SeekBitsPtr(int delta) noexcept;
    // Moves back to a bit, of the first 4294967296; fails for one at the cursor or ahead of it. Where
    // AlignCurBytes has brought the cursor beyond the buffer, a bit there can be gone to; it reads as 0.
    int SetBitsPtr(unsigned int position) noexcept;
    // Starts the current byte anew at its first bit, and adds the bytes passed to the byte index: after a
    // call at byte p, GetCurBytesPos and GetCurBitsPos stand at about twice p, while the current byte is the
    // same. Does nothing at bit 0. To go on at the next whole byte use SeekBitsPtr.
    void AlignCurBytes() noexcept;
    // 1 if no bit of the current byte has passed. 0 after a last bit that was taken by GetBit or PutBit,
    // which go on to the next byte only when they are called again.
    int IsAligned() noexcept;

    // Starts a CRC, of all bits that are read or written from here on.
    void StartCRC() noexcept;
    // No bit is fed any more; the result stays.
    void StopCRC() noexcept;
    // The CRC so far; 0 before the first StartCRC.
    unsigned int GetCRCResult() noexcept;

private:
    CInnerBitsStream* m_pInner; // shared by copies; null where memory lacked: then there is no bit
};
