// Sizes.h - byte counts as people write and read them. Units are those of 1024.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vxcio::tool {

// "4096", "64K", "1M", "2g", "0x10000"; nothing for anything else, and for what does not fit 64 bits.
std::optional<std::uint64_t> ParseSize(std::string_view text);

// "65,011,712".
std::string WithCommas(std::uint64_t number);

// "512 bytes", "62.0 MiB".
std::string ReadableSize(double bytes);

} // namespace vxcio::tool
