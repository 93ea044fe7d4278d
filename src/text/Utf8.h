// Utf8.h - wide text to UTF-8 and back, without any locale.
//
// Bytes that are no UTF-8 become single surrogates U+DC80 to U+DCFF and turn back into the same bytes, so a
// name survives the round trip whatever it holds. For text that is only shown, see ToDisplayUtf8.
#pragma once

#include <string>
#include <string_view>

namespace vxcio {

// May throw std::bad_alloc; callers at the border of the library catch it. A wide 0 ends nothing here.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view bytes);

// For terminals and logs: what has no UTF-8 form becomes U+FFFD.
std::string ToDisplayUtf8(std::wstring_view text);

} // namespace vxcio
