// Utf16.h - wide text to the UTF-16LE of the wire and back, unit by unit, without memory of its own.
//
// Where wchar_t has 32 bits, a code point beyond U+FFFF is a pair of units on the wire. A surrogate that
// stands alone passes as it is, either way, so that whatever a process of the other kind calls a string
// survives; what is no code point at all becomes U+FFFD.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vxcio {

// Units of the text on the wire.
std::size_t Utf16Units(const wchar_t* text, std::size_t characters) noexcept;

// Writes all of them, two bytes each.
void StoreUtf16(const wchar_t* text, std::size_t characters, unsigned char* bytes) noexcept;

// Bytes ahead of the first zero unit, or `bytes` where there is none. Memory that somebody else writes may
// say something else the next time.
std::size_t BytesAheadOfZero(const unsigned char* source, std::size_t bytes) noexcept;

// Reads up to the first zero unit, or `bytes` in all; a byte left over at the end is the low one of a last
// unit. Each byte is read once. Writes at most bytes / 2 + 1 characters, with no terminating zero, and gives
// their number.
std::size_t LoadUtf16(const unsigned char* source, std::size_t bytes, wchar_t* text) noexcept;

} // namespace vxcio
