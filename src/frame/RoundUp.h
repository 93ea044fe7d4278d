// RoundUp.h - sizes in whole sectors, blocks and the like.
#pragma once

#include "frame/Types.h"

namespace vxcio {

// The next multiple of `unit`, which is not 0. The value is not within a unit of 2^64.
constexpr uint64 RoundUp(uint64 value, uint64 unit) noexcept {
    return (value + unit - 1) / unit * unit;
}

} // namespace vxcio
