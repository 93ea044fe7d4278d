// SerializeInput.h - any calls on any stream.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vxcio::fuzz {

// The first byte: bit 0 is the direction, the rest the number of calls. Then two bytes a call: what to do,
// and a number that it is done with. What is left is the buffer. Everything that can be seen after a call
// must be what the model has.
void FuzzSerialize(const std::uint8_t* data, std::size_t size);

} // namespace vxcio::fuzz
