// FormatDouble.h - the characters of a double, in no locale.
#pragma once

#include <cstddef>

namespace vxcio::text {

// Room for every double at every conversion; digits that a larger precision asks for are all zero and are
// told apart in `zeros`.
struct DoubleText {
    char digits[1600] = {}; // without sign, prefix and exponent; for infinities and NaNs their name
    std::size_t digitCount = 0;
    std::size_t zeros = 0; // to be written behind the digits
    char exponent[8] = {}; // "e+05", "p-3"; may be empty
    std::size_t exponentCount = 0;
    bool isNegative = false;
    bool isNumber = false;      // neither infinite nor a NaN
    bool isHexadecimal = false; // "0x" belongs in front
};

// `conversion` is one of f F e E g G a A, `precision` -1 when not given. With `alternate` the point stays,
// and so do the zeros of %g.
void FormatDouble(double value, wchar_t conversion, int precision, bool alternate, DoubleText& out) noexcept;

} // namespace vxcio::text
