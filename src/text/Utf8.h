// Utf8.h - wide text to UTF-8 and back, without any locale.
//
// Bytes that are no UTF-8 become single surrogates U+DC80 to U+DCFF and turn back into the same bytes, so a
// name survives the round trip whatever it holds. For text that is only shown, see ToDisplayUtf8.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vxcio {

// May throw std::bad_alloc; callers at the border of the library catch it. A wide 0 ends nothing here.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view bytes);

// The wide character at `index` of the bytes, which moves behind it; one element, or two where wchar_t has
// 16 bits and the code point more. The number of elements. For callers that must not allocate.
std::size_t TakeUtf8(std::string_view bytes, std::size_t& index, wchar_t (&units)[2]) noexcept;

// For terminals and logs: what has no UTF-8 form becomes U+FFFD.
std::string ToDisplayUtf8(std::wstring_view text);

} // namespace vxcio
