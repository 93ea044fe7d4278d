// Text.h - the bytes of the command line as wide names and back, and names as one line of a list.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vxcio::tool {

// UTF-8 to wide text. A byte that is no UTF-8 becomes U+DC00 + byte, from which the system layer makes the
// same byte again, so that any file can be named.
std::wstring Widen(std::string_view bytes);

// Wide text to UTF-8; Narrow(Widen(x)) == x for all x.
std::string Narrow(std::wstring_view text);

// A name as lists of digests write it. `escaped` is set when the line must begin with a backslash, because
// the name holds a backslash or a line end.
std::string EscapeName(std::string_view name, bool& escaped);

// The name back from such a line; nothing when an escape is not one of the three.
std::optional<std::string> UnescapeName(std::string_view text);

// Bytes as lower-case hexadecimal digits.
std::string Hex(const unsigned char* bytes, int count);

} // namespace vxcio::tool
