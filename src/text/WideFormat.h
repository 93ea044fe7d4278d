// WideFormat.h - printf-style formatting of wide text with the Windows meaning of the directives, the same
// on every system and in every locale.
//
//   %s %ls %ws   wide string       %S %hs   narrow string (UTF-8)     %c %lc wide character   %C %hc narrow
//   %d %i %u %x %X %o              32 bits; h and hh narrower; l 32 bits, as on Windows
//   %lld %I64d %llu %I64u %llx ... 64 bits; %I32d 32 bits; z, t and I the width of a pointer
//   %f %e %g %F %E %G %a           double    %p  pointer, upper-case digits padded to its width    %%
// Flags, width and precision, also as '*', work as in C. A null string prints "(null)". %n and unknown
// directives are printed as they stand and take no argument.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace vxcio {

// Writes at most `capacity` - 1 characters and the terminating zero into `text` and gives the number of
// characters written. What does not fit is cut. Never allocates, never throws; `capacity` 0 writes nothing.
std::size_t FormatWide(wchar_t* text, std::size_t capacity, const wchar_t* format, ...) noexcept;
std::size_t FormatWideV(wchar_t* text, std::size_t capacity, const wchar_t* format,
                        va_list arguments) noexcept;

// The longest text that log lines and CVXCString::Format make, with the terminating zero.
inline constexpr std::size_t kFormatCapacity = 8192;

} // namespace vxcio
