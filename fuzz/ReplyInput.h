// ReplyInput.h - any reply to a host.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vxcio::fuzz {

// Bit 0 of the first byte chooses who reads: a proxy's call with values of all kinds behind it, or a call as
// the library makes those to its server. The rest is the reply space, to its end. What is read must be what
// stands there, and nothing outside be touched.
void FuzzReply(const std::uint8_t* data, std::size_t size);

} // namespace vxcio::fuzz
