#include "text/Utf8.h"

#include <cstdint>

namespace vxcio {

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kEscapeBase = 0xDC00; // byte b >= 0x80 that is no UTF-8 is kept as U+DC00 + b

bool IsSurrogate(char32_t c) {
    return c >= 0xD800 && c <= 0xDFFF;
}

void Append(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// One element, or two for what 16 bits do not hold; how many.
std::size_t ToUnits(char32_t c, wchar_t (&units)[2]) {
    if constexpr (sizeof(wchar_t) == 2) {
        if (c >= 0x10000) {
            units[0] = static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
            units[1] = static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
            return 2;
        }
    }
    units[0] = static_cast<wchar_t>(c);
    return 1;
}

// The code point at `index`, which moves behind it. Pairs of 16-bit units are joined.
char32_t Take(std::wstring_view text, std::size_t& index) {
    const auto c = static_cast<char32_t>(text[index++]);
    if constexpr (sizeof(wchar_t) == 2) {
        if (c >= 0xD800 && c <= 0xDBFF && index < text.size()) {
            const auto low = static_cast<char32_t>(text[index]);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                ++index;
                return 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
            }
        }
    }
    return c;
}

// Length of the well-formed UTF-8 sequence at `index`, its code point in `c`; 0 when it is none.
std::size_t Decode(std::string_view bytes, std::size_t index, char32_t& c) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
    const std::uint8_t lead = byte(index);
    std::size_t length = 0;
    char32_t least = 0;
    if (lead < 0x80) {
        c = lead;
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        c = lead & 0x1Fu;
        least = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        c = lead & 0x0Fu;
        least = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        c = lead & 0x07u;
        least = 0x10000;
    } else {
        return 0;
    }
    if (bytes.size() - index < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(index + i) & 0xC0u) != 0x80u) {
            return 0;
        }
        c = (c << 6) | (byte(index + i) & 0x3Fu);
    }
    return (c < least || c > 0x10FFFF || IsSurrogate(c)) ? 0 : length;
}

} // namespace

std::string ToUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const char32_t c = Take(text, i);
        if (c >= kEscapeBase + 0x80 && c <= kEscapeBase + 0xFF) {
            out += static_cast<char>(c - kEscapeBase);
        } else {
            Append(out, (IsSurrogate(c) || c > 0x10FFFF) ? kReplacement : c);
        }
    }
    return out;
}

std::size_t TakeUtf8(std::string_view bytes, std::size_t& index, wchar_t (&units)[2]) noexcept {
    char32_t c = 0;
    const std::size_t length = Decode(bytes, index, c);
    if (length == 0) {
        c = kEscapeBase + static_cast<std::uint8_t>(bytes[index]);
    }
    index += length == 0 ? 1 : length;
    return ToUnits(c, units);
}

std::wstring FromUtf8(std::string_view bytes) {
    std::wstring out;
    out.reserve(bytes.size());
    wchar_t units[2] = {};
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t count = TakeUtf8(bytes, i, units);
        out.append(units, count);
    }
    return out;
}

std::string ToDisplayUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const char32_t c = Take(text, i);
        Append(out, (IsSurrogate(c) || c > 0x10FFFF) ? kReplacement : c);
    }
    return out;
}

} // namespace vxcio
