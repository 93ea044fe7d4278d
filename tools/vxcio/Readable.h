// Readable.h - bytes that can be read from any position on.
#pragma once

#include "frame/Types.h"

#include <string>

namespace vxcio::tool {

class Readable {
public:
    virtual ~Readable() = default;

    virtual uint64 Size() = 0;
    // From the start.
    virtual void Seek(uint64 position) = 0;
    // Bytes; 0 at the end or a failure.
    virtual int Read(uint8* buffer, uint32 bytes) = 0;
    // Why the last read gave 0, where that was not the end and this knows it; else empty.
    virtual std::string Failure() { return {}; }
};

} // namespace vxcio::tool
