// Serialize.h - values on a flat, tagged byte stream, and back; the form in which everything passes between
// processes of different widths. docs/formats/tagged.md tells the bytes.
//
// A serializer is a cursor over memory of the caller, used in one direction for one message:
//
//   CVXCSerialize stream;
//   stream.m_pBuffer = view;  stream.m_dwCapacity = bytes;  stream.m_nDirection = VXC_SERIALIZE_STORE;
//   stream << frameNumber << frameInfo;
//   if (stream.m_nError != 0) { ... it did not fit ... }
//
// Each value stands behind a tag of its width, so a reader that is out of step stops at the first wrong tag.
// The error is sticky: once set, no further value moves. Signed and unsigned values of a width are the same
// bytes. `long` has no operators, since it has another width in a 32-bit process; nor have `char`, `bool` and
// `wchar_t`: say which width you mean. Floating-point values are taken by reference, so that no register of
// the old floating-point unit turns one signalling bit pattern into another on the way.
#pragma once

#include "frame/Export.h"
#include "frame/VXCString.h"

// Directions.
inline constexpr int VXC_SERIALIZE_LOAD = 0;
inline constexpr int VXC_SERIALIZE_STORE = 1;

// Errors.
inline constexpr int VXC_SERIALIZE_OK = 0;
inline constexpr int VXC_SERIALIZE_NO_SPACE = 1;        // a write would pass the capacity, or a read the end
inline constexpr int VXC_SERIALIZE_WRONG_TAG = 2;       // another kind of value stands there
inline constexpr int VXC_SERIALIZE_WRONG_DIRECTION = 3; // a write while loading, or a read while storing

// Never owns its memory and does nothing to it at its end. One thread at a time. Nothing here throws, logs or
// allocates, but for the text of a string that is read and the copy of a plain text that is written. A stream
// that was not set up has no room, and every operation fails on it; so has one with a null buffer, whatever
// its capacity.
//
// The bytes of a loading stream may lie in memory that another process writes: what was read is not
// read again once something hangs on it, and none is believed further than the capacity. What ReadBlock
// points to is to be taken as hostile until it was copied.
class VXCSOFTCODECIO_API CVXCSerialize {
public:
    virtual ~CVXCSerialize();

    // The operators carry out the Write or Read of their type and drop its result: look at m_nError. They are
    // virtual, and in this order, so that a plug-in may put a stream of its own in this one's place.
    virtual CVXCSerialize& operator<<(const CVXCString& value) noexcept;
    virtual CVXCSerialize& operator<<(const double& value) noexcept;
    virtual CVXCSerialize& operator<<(const float& value) noexcept;
    virtual CVXCSerialize& operator<<(unsigned long long value) noexcept;
    virtual CVXCSerialize& operator<<(long long value) noexcept;
    virtual CVXCSerialize& operator<<(unsigned int value) noexcept;
    virtual CVXCSerialize& operator<<(int value) noexcept;
    virtual CVXCSerialize& operator<<(unsigned short value) noexcept;
    virtual CVXCSerialize& operator<<(short value) noexcept;
    virtual CVXCSerialize& operator<<(unsigned char value) noexcept;
    virtual CVXCSerialize& operator<<(signed char value) noexcept;
    virtual CVXCSerialize& operator>>(CVXCString& value) noexcept;
    virtual CVXCSerialize& operator>>(double& value) noexcept;
    virtual CVXCSerialize& operator>>(float& value) noexcept;
    virtual CVXCSerialize& operator>>(unsigned long long& value) noexcept;
    virtual CVXCSerialize& operator>>(long long& value) noexcept;
    virtual CVXCSerialize& operator>>(unsigned int& value) noexcept;
    virtual CVXCSerialize& operator>>(int& value) noexcept;
    virtual CVXCSerialize& operator>>(unsigned short& value) noexcept;
    virtual CVXCSerialize& operator>>(short& value) noexcept;
    virtual CVXCSerialize& operator>>(unsigned char& value) noexcept;
    virtual CVXCSerialize& operator>>(signed char& value) noexcept;

    // Null counts as the empty string. Where memory for a copy of the text lacks, the error is 1.
    CVXCSerialize& operator<<(const wchar_t* value) noexcept;
    CVXCSerialize& operator<<(unsigned long value) = delete;
    CVXCSerialize& operator<<(long value) = delete;
    CVXCSerialize& operator<<(wchar_t value) = delete;
    CVXCSerialize& operator<<(char value) = delete;
    CVXCSerialize& operator<<(bool value) = delete;

    // The primitives: 1 on success, 0 on failure. Nothing is written on failure, and a target keeps its
    // value; strings are the exception, see there.
    int Write(const double& value) noexcept;
    int Write(const float& value) noexcept;
    int Write(unsigned long long value) noexcept;
    int Write(unsigned int value) noexcept;
    int Write(unsigned short value) noexcept;
    int Write(unsigned char value) noexcept;
    // The string as UTF-16. One that has room for its count, though not for its text, leaves "s" and the
    // count on the stream with error 1, and gives 1.
    int Write(const CVXCString& value) noexcept;
    int Read(double& value) noexcept;
    int Read(float& value) noexcept;
    int Read(unsigned long long& value) noexcept;
    int Read(unsigned int& value) noexcept;
    int Read(unsigned short& value) noexcept;
    int Read(unsigned char& value) noexcept;
    // Up to the first zero character. A wrong tag, or a count that cannot be read, empties the target and
    // gives 1; the error tells. A text that is cut short by the end gives 0 and leaves the target; one that
    // only lacks its last byte is emptied with the error, and gives 1. Where memory lacks it is emptied with
    // error 1, and the result is 0.
    int Read(CVXCString& value) noexcept;

    // A block of `count` bytes. A null `data` leaves no trace and gives 1, in any state. The bytes may lie on
    // this stream's own buffer, behind the six of the block's head, which is written first.
    int WriteBlock(const unsigned char* data, unsigned int count) noexcept;
    // Reads a block. copy 0: `data` comes to point at the bytes within the buffer, and lives as long as they;
    // otherwise they are copied to where `data` points, which must have room for all the stream says: never
    // for bytes of a peer, take those with copy 0 and hold the count against your room. A block of count 0
    // gives 0 without an error. `count` is left alone on failure.
    int ReadBlock(unsigned char*& data, unsigned int& count, int copy) noexcept;
    // Puts a 32-bit value over the first five bytes of the stream, with the ordinary checks of a write; the
    // position stays. For the length in front of a message.
    int SetMessageSize(unsigned int size) noexcept;

    unsigned char* m_pBuffer = nullptr; // start of the stream, not owned
    unsigned int m_dwCapacity = 0;      // bytes that may be used from there
    unsigned int m_dwPosition = 0;      // next byte; while storing also the length so far
    int m_nDirection = VXC_SERIALIZE_LOAD;
    int m_nError = VXC_SERIALIZE_OK;

private:
    template <class Unsigned>
    int WriteFixed(unsigned char tag, Unsigned value) noexcept;
    template <class Unsigned>
    int ReadFixed(unsigned char tag, Unsigned& value) noexcept;
    bool TakeTag(unsigned char tag) noexcept;
    unsigned char* BeginBlock(unsigned int count) noexcept;
    unsigned int Room() const noexcept { return m_pBuffer == nullptr ? 0 : m_dwCapacity; }
};

// Memory of the records that are read (Records.h), in whichever module they are freed. Size 0 gives a pointer
// too. Throws std::bad_alloc as operator new does.
VXCSOFTCODECIO_API unsigned char* SerilizeMalloc(unsigned int size);
// Frees it; null is accepted.
VXCSOFTCODECIO_API void SerilizeFree(unsigned char* memory);
