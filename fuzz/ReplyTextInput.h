// ReplyTextInput.h - any text as the reply of an FTP server.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vxcio::fuzz {

// The first byte is the place of a bracket, counted from -8. The rest is a reply in UTF-8, to its first zero
// byte. Numbers, address and sizes must be what the standard library makes of them, and nothing outside the
// text be touched.
void FuzzFtpReply(const std::uint8_t* data, std::size_t size);

} // namespace vxcio::fuzz
