// FoldCase.h - upper and lower case by the Unicode simple mappings, character by character, in no locale.
#pragma once

#include <string>
#include <string_view>

namespace vxcio {

// The upper-case form of a character that has a one-to-one form, else the character itself. Only a to z
// become A to Z.
wchar_t FoldUpper(wchar_t character) noexcept;

// The lower-case form of a character that is the upper-case form of one, else the character itself. Of
// several letters with one capital, the plain one.
wchar_t FoldLower(wchar_t character) noexcept;

// Equal length and equal characters, with case ignored.
bool EqualsFolded(std::wstring_view left, std::wstring_view right) noexcept;

// These may throw std::bad_alloc.
std::wstring LowerCase(std::wstring_view text);
std::wstring UpperCase(std::wstring_view text);

// A to Z and a to z only.
constexpr bool IsAsciiLetter(wchar_t c) noexcept {
    return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z');
}
constexpr wchar_t AsciiUpper(wchar_t c) noexcept {
    return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - L'a' + L'A') : c;
}

} // namespace vxcio
