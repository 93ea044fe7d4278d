// NetPathsInput.h - any bytes as the shares of a machine and the names that are converted with them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vxcio::fuzz {

// Lines of UTF-8. The first letter of each says what the rest is: "s" a share's record as raw bytes, "d"
// where the next drive leads to, "w" the work group, "h" a host that has an address; any other line is a
// name. Each must be converted both ways, matched with each root and taken as an address as step by step.
void FuzzNetPaths(const std::uint8_t* data, std::size_t size);

} // namespace vxcio::fuzz
