// XdcamHead.h - the bytes that opening a stretch of a clip has taken off its stream.
#pragma once

#include "frame/Types.h"
#include "ftp/MxfHeader.h"

#include <cstdlib>
#include <memory>

namespace vxcio {

// The header of the stretch follows its first block. Of one that tells a larger header the memory is its own,
// and as it is zeroed and large the system gives it only as bytes come in.
struct XdcamHead {
    struct Free {
        void operator()(uint8* memory) const noexcept { std::free(memory); }
    };

    uint8 first[kPartitionHead] = {};
    uint32 firstBytes = 0;            // that came
    uint8 small[kPartitionHead] = {}; // the header of a stretch that tells no larger one
    std::unique_ptr<uint8, Free> large;
    uint32 headerBytes = 0; // that came

    const uint8* Header() const noexcept { return large ? large.get() : small; }
};

} // namespace vxcio
