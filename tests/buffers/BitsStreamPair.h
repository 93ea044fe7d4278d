// BitsStreamPair.h - a CBitsStream and the model go through the same calls, each over memory of its own, and
// are held against each other after every one.
#pragma once

#include "buffers/BitsModel.h"
#include "buffers/BitsStream.h"

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace vxcio::test {

// One call, or a byte that the caller changes in between.
struct BitsCall {
    enum class Kind {
        InitBuffer, // number: offset in the memory; value: size
        ReFill,
        Flush,
        GetBit,
        GetBits, // number: count
        GetBYTE,
        GetWORD,
        GetDWORD,
        PutBit,  // number
        PutBits, // number: count; value
        PutBYTE, // value
        PutWORD,
        PutDWORD,
        GetBytePtr, // number
        SeekBytePtr,
        SetBytePtrPos,
        SeekBitsPtr,
        SetBitsPtr, // value
        AlignCurBytes,
        StartCRC,
        StopCRC,
        Change, // number: offset in the memory; value: the byte
    };
    Kind kind;
    bool isNull = false; // no value is asked for; no buffer is given
    int64 number = 0;
    uint32 value = 0;
};

// The memory is the caller's, who keeps it, and need not begin or end with the buffers in it.
class BitsStreamPair {
public:
    BitsStreamPair(uint8* memory, std::size_t bytes);

    // False where the two differ; the test has failed then, with the calls that led to it.
    bool Do(const BitsCall& call);

    // What the two agree on.
    const BitsModel& Model() const { return m_model; }
    CBitsStream& Stream() { return m_stream; }
    std::size_t Bytes() const { return m_bytes; }
    // Where the buffer lies in the memory.
    std::size_t BufferOffset() const { return m_bufferOffset; }
    uint8* Memory() { return m_memory; }

private:
    bool Fail(const std::string& difference) const;

    CBitsStream m_stream;
    BitsModel m_model;
    uint8* const m_memory;
    const std::size_t m_bytes;
    std::size_t m_bufferOffset = 0;
    std::vector<uint8> m_modelMemory; // one byte longer: the model reads behind a buffer
    std::deque<BitsCall> m_last;
};

} // namespace vxcio::test
