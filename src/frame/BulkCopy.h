// BulkCopy.h - copying media data of any length.
#pragma once

#include "frame/SystemLayer.h"

#include <algorithm>

namespace vxcio {

// The system layer's fast copy takes an int.
inline void CopyBulk(uint8* target, const uint8* source, uint32 bytes) noexcept {
    constexpr uint32 kLargestCopy = 0x40000000;
    while (bytes > 0) {
        const uint32 piece = std::min(bytes, kLargestCopy);
        VXCSoftMemCopy(target, const_cast<uint8*>(source), static_cast<int>(piece)); // which it only reads
        target += piece;
        source += piece;
        bytes -= piece;
    }
}

} // namespace vxcio
