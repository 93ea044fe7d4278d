#include "text/FormatDouble.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

// The digits come from std::to_chars, which knows no locale: a process that set one with a decimal comma
// still logs a point.

namespace vxcio::text {

namespace {

// No double has more digits behind the point, or in all; what a precision asks beyond is zero.
constexpr int kMostFixed = 1100;
constexpr int kMostSignificant = 800;

char Lower(wchar_t conversion) noexcept {
    const auto c = static_cast<char>(conversion);
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool HasPoint(const DoubleText& out) noexcept {
    return std::memchr(out.digits, '.', out.digitCount) != nullptr;
}

// Parts "1.5e+05" into digits and exponent.
void SplitExponent(DoubleText& out, char mark) noexcept {
    const void* found = std::memchr(out.digits, mark, out.digitCount);
    if (found == nullptr) {
        return;
    }
    const auto at = static_cast<std::size_t>(static_cast<const char*>(found) - out.digits);
    out.exponentCount = std::min(out.digitCount - at, sizeof out.exponent);
    std::memcpy(out.exponent, out.digits + at, out.exponentCount);
    out.digitCount = at;
}

void Convert(double value, std::chars_format style, int precision, int most, DoubleText& out) noexcept {
    const int asked = std::min(precision, most);
    const auto result = std::to_chars(out.digits, out.digits + sizeof out.digits, value, style, asked);
    out.digitCount = static_cast<std::size_t>(result.ptr - out.digits);
    out.zeros = static_cast<std::size_t>(precision - asked);
}

void ConvertFixed(double value, int precision, DoubleText& out) noexcept {
    Convert(value, std::chars_format::fixed, precision, kMostFixed, out);
}

void ConvertScientific(double value, int precision, DoubleText& out) noexcept {
    Convert(value, std::chars_format::scientific, precision, kMostSignificant, out);
    SplitExponent(out, 'e');
}

// %g: as many significant digits as the precision, in the shorter of the two forms.
void ConvertGeneral(double value, int precision, bool keepZeros, DoubleText& out) noexcept {
    const int significant = precision == 0 ? 1 : precision;
    ConvertScientific(value, significant - 1, out);
    int exponent = 0;
    if (out.exponentCount > 2) {
        std::from_chars(out.exponent + 2, out.exponent + out.exponentCount, exponent);
        exponent = out.exponent[1] == '-' ? -exponent : exponent;
    }
    if (exponent >= -4 && exponent < significant) {
        out.exponentCount = 0;
        ConvertFixed(value, significant - 1 - exponent, out);
    }
    if (keepZeros) {
        return;
    }
    out.zeros = 0;
    if (HasPoint(out)) {
        while (out.digits[out.digitCount - 1] == '0') {
            --out.digitCount;
        }
        if (out.digits[out.digitCount - 1] == '.') {
            --out.digitCount;
        }
    }
}

void ConvertHexadecimal(double value, int precision, DoubleText& out) noexcept {
    if (precision < 0) {
        const auto result =
            std::to_chars(out.digits, out.digits + sizeof out.digits, value, std::chars_format::hex);
        out.digitCount = static_cast<std::size_t>(result.ptr - out.digits);
    } else {
        Convert(value, std::chars_format::hex, precision, kMostSignificant, out);
    }
    out.isHexadecimal = true;
    SplitExponent(out, 'p');
}

void MakeUpper(char* text, std::size_t count) noexcept {
    std::transform(text, text + count, text,
                   [](char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; });
}

} // namespace

void FormatDouble(double value, wchar_t conversion, int precision, bool alternate, DoubleText& out) noexcept {
    const char style = Lower(conversion);
    const int places = precision < 0 ? 6 : precision;
    const double size = std::fabs(value);
    out.isNegative = std::signbit(value);
    out.isNumber = std::isfinite(value);
    if (!out.isNumber) {
        std::memcpy(out.digits, std::isnan(value) ? "nan" : "inf", 3);
        out.digitCount = 3;
    } else if (style == 'f') {
        ConvertFixed(size, places, out);
    } else if (style == 'e') {
        ConvertScientific(size, places, out);
    } else if (style == 'g') {
        ConvertGeneral(size, places, alternate, out);
    } else {
        ConvertHexadecimal(size, precision, out);
    }
    if (alternate && out.isNumber && !HasPoint(out)) {
        out.digits[out.digitCount++] = '.';
    }
    if (style != static_cast<char>(conversion)) {
        MakeUpper(out.digits, out.digitCount);
        MakeUpper(out.exponent, out.exponentCount);
    }
}

} // namespace vxcio::text
