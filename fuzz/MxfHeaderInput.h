// MxfHeaderInput.h - any bytes as the MXF header of a stretch.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vxcio::fuzz {

// The bytes are a header, and the first of them the block that tells its size. Both must be read as step by
// step, and nothing outside be touched.
void FuzzMxfHeader(const std::uint8_t* data, std::size_t size);

} // namespace vxcio::fuzz
