// MixedBytes.h - content without a pattern, the same in each run.
#pragma once

#include "frame/Types.h"

#include <cstddef>
#include <vector>

namespace bench {

inline std::vector<uint8> MixedBytes(std::size_t size) {
    std::vector<uint8> bytes(size);
    uint32 value = 1;
    for (uint8& byte : bytes) {
        value = value * 1664525u + 1013904223u;
        byte = static_cast<uint8>(value >> 24);
    }
    return bytes;
}

} // namespace bench
