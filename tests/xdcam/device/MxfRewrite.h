// MxfRewrite.h - the header metadata of an MXF file (SMPTE 377M) as devices write it.
#pragma once

#include <cstdint>
#include <vector>

namespace xdcam {

// What a stretch says of itself.
struct StretchTimes {
    std::uint32_t origin;   // frames that lie before the first one
    std::uint32_t duration; // frames from there on
};

// Gives `file`, which a common muxer has written whole, in the form of devices: the length of every KLV of
// the header metadata has four bytes, the Origin of each Timeline Track of its file package and the Durations
// are those of `times`, and everything that tells of places in the file is right again. Throws
// std::runtime_error for what is no such file.
std::vector<std::uint8_t> RewriteHeader(const std::vector<std::uint8_t>& file, const StretchTimes& times);

} // namespace xdcam
