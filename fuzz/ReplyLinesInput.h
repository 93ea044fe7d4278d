// ReplyLinesInput.h - what the fuzz program does with its bytes: they are what an FTP server says, in
// packets.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vxcio::fuzz {

// The first byte tells how the others are cut into packets. The replies that a session reads are held against
// a second reading of the same bytes, and a logon with them ends.
void FuzzFtpLines(const std::uint8_t* data, std::size_t size);

} // namespace vxcio::fuzz
