// StreamModelPair.h - a serializer and its model side by side: each call is done to both, and all that can be
// seen of the two is compared.
#pragma once

#include "bridge/Serialize.h"
#include "bridge/StreamModel.h"

#include <memory>
#include <string>
#include <vector>

namespace vxcio::test {

enum class StreamCallKind {
    Read8,
    Read16,
    Read32,
    Read64,
    ReadFloat,
    ReadDouble,
    ReadString,
    ReadBlockPlace,
    ReadBlockCopy,
    Write8,
    Write16,
    Write32,
    Write64,
    WriteFloat,
    WriteDouble,
    WriteString,
    WriteBlock,
    WriteNoBlock,
    WriteOwnBlock,
    SetMessageSize,
    Count,
};

struct StreamCall {
    StreamCallKind kind = StreamCallKind::Read8;
    enum class Form { Primitive, Unsigned, Signed } form = Form::Primitive; // the latter two are operators
    uint64 bits = 0;          // the value, or what a target holds ahead of the call
    std::wstring text;        // the same of a string
    std::vector<uint8> block; // bytes of WriteBlock
    uint32 from = 0;          // WriteOwnBlock: where in the buffer, and how many; within it
    uint32 count = 0;
};

class StreamModelPair {
public:
    // The serializer works on memory of its own that has exactly the size of `bytes`, so that a step over it
    // is seen by what watches memory.
    StreamModelPair(const std::vector<uint8>& bytes, int direction);

    // False when the two differ; Difference() says in what.
    bool Do(const StreamCall& call);
    const std::string& Difference() const { return m_difference; }

    // What a caller may store into the fields. A capacity is at most the size of the buffer, unless that is
    // taken away.
    void SetDirection(int direction);
    void SetError(int error);
    void SetPosition(uint32 position);
    void SetCapacity(uint32 capacity);
    void SetBuffer(bool isThere);
    // A byte that somebody else writes.
    void SetByte(std::size_t index, uint8 value);

    const StreamModel& Model() const { return m_model; }

private:
    bool Differs(const char* what, uint64 real, uint64 model);
    bool Same(int real, int model, bool hasResult);
    template <class Unsigned, class Signed>
    bool DoWhole(const StreamCall& call, char tag, bool isWrite);
    template <class Float, class Bits>
    bool DoFloat(const StreamCall& call, char tag, bool isWrite);
    bool DoString(const StreamCall& call, bool isWrite);
    bool DoReadBlock(const StreamCall& call, int copy);
    bool DoWriteBlock(const StreamCall& call);

    std::unique_ptr<uint8[]> m_memory;
    CVXCSerialize m_real;
    StreamModel m_model;
    std::string m_difference;
};

} // namespace vxcio::test
