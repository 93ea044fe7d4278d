// ReplyText.h - what the texts of FTP replies say (RFC 959). Any text that a server sends is safe input, and
// a null text is an empty one. Nothing throws, any thread may call, nothing is kept.
#pragma once

#include "frame/Types.h"
#include "frame/VXCString.h"

#include <string_view>

namespace vxcio {

// The number at the head of a text: blanks and control characters 9 to 13, one sign, digits; what follows is
// not looked at. 0 where there is none. A number beyond the range becomes the end of the range.
int32 NumberAt(const wchar_t* text) noexcept;
int64 LongNumberAt(const wchar_t* text) noexcept;
int64 LongNumberIn(std::string_view bytes) noexcept;

// The address that a reply to PASV gives between its first "(" and its first ")".
//
// Host and port are left alone where a bracket or one of the last two commas is missing, or where the ")"
// comes first. Else the host is what stands before these two commas, with full stops for commas, whatever
// that is. The port is 256 times the number between them plus the number behind, in 32 bits without a check.
void ParsePassiveReply(const wchar_t* reply, CVXCString& host, int& port) noexcept;

// The size that a preliminary reply to RETR tells in brackets, as "150 Opening x (12345 bytes)": the number
// behind position `bracket`, up to a blank or the end, of at most 30 characters. 0 for a position outside the
// text. A number below 0 gives what its bits are without a sign.
uint64 SizeBehindBracket(const wchar_t* reply, int bracket) noexcept;
// The same behind the last "(" of the reply; 0 where there is none, where it is the first character, or where
// the reply begins with "bytes".
uint64 SizeInReply(const wchar_t* reply) noexcept;

// Position of the first such character, or -1. The zero at the end is not part of the text.
int FindCharacter(const wchar_t* text, wchar_t character) noexcept;
// In exact case. Every text begins with an empty head.
bool BeginsWith(const wchar_t* text, const wchar_t* head) noexcept;

} // namespace vxcio
