// RequestInput.h - any requests to the server.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vxcio::fuzz {

// The first byte: bit 0 sends the requests to a plug-in's channel and not to the system channel, bits 1 to 7
// make the reply space small. Then requests one behind the other, each of two bytes with its length, the
// lower one first, and its bytes; the length's highest bit keeps what the request has in its head for its
// size and sets it right otherwise. The last request may be cut short. Where the reply space has room for a
// leader, each request must be answered by a whole one, with nothing of the former reply behind it.
void FuzzRequest(const std::uint8_t* data, std::size_t size);

} // namespace vxcio::fuzz
