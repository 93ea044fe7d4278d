// StreamModel.h - the tagged stream by its rules alone, step by step over a vector: what the serializer is
// held against.
#pragma once

#include "frame/Types.h"

#include <string>
#include <vector>

namespace vxcio::test {

// Values are bit patterns in the low bits of a uint64. Results are those of the serializer's primitives.
class StreamModel {
public:
    std::vector<uint8> bytes; // all of the buffer
    bool hasBuffer = true;    // without one there is no room, whatever the capacity
    uint64 capacity = 0;
    uint64 position = 0;
    int direction = 0;
    int error = 0;

    int Write(char tag, unsigned width, uint64 bits);
    int Read(char tag, unsigned width, uint64& bits);
    // A null pointer for data.
    int WriteNoBlock() const { return 1; }
    int WriteBlock(const std::vector<uint8>& data);
    // A block whose bytes lie on the stream's own buffer.
    int WriteOwnBlock(uint64 from, uint64 count);
    // `from`: where the bytes stand in the buffer.
    int ReadBlock(uint64& from, uint64& count);
    int WriteString(const std::wstring& text);
    int ReadString(std::wstring& text);
    int SetMessageSize(uint32 size);

private:
    uint64 Room() const { return hasBuffer ? capacity : 0; }
    void Put(uint64 byte);
    uint64 Take();
    // The head of a block with all its checks.
    int BeginBlock(uint64 count);
};

// The units of a text on the wire, and the text of units, up to the first zero.
std::vector<uint16> ModelUnits(const std::wstring& text);
std::wstring ModelText(const std::vector<uint16>& units);

} // namespace vxcio::test
