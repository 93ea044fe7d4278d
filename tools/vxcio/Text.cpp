#include "Text.h"

#include <cstddef>

namespace vxcio::tool {

namespace {

constexpr char32_t kByteBase = 0xDC00;

unsigned ByteAt(std::string_view bytes, std::size_t index) {
    return static_cast<unsigned char>(bytes[index]);
}

// The code point that starts at `index` and the number of its bytes; 0 bytes where there is none.
std::size_t CodePointAt(std::string_view bytes, std::size_t index, char32_t& point) {
    const unsigned lead = ByteAt(bytes, index);
    if (lead < 0x80) {
        point = lead;
        return 1;
    }
    const std::size_t count = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || index + count > bytes.size()) {
        return 0;
    }
    point = lead & (0x7Fu >> count);
    for (std::size_t i = 1; i < count; ++i) {
        const unsigned next = ByteAt(bytes, index + i);
        if ((next & 0xC0u) != 0x80u) {
            return 0;
        }
        point = (point << 6) | (next & 0x3Fu);
    }
    const bool overlong = (count == 3 && point < 0x800) || (count == 4 && point < 0x10000);
    const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
    return overlong || surrogate || point > 0x10FFFF ? 0 : count;
}

void AppendWide(std::wstring& out, char32_t point) {
    if constexpr (sizeof(wchar_t) == 2) {
        if (point > 0xFFFF) {
            out += static_cast<wchar_t>(0xD7C0 + (point >> 10));
            out += static_cast<wchar_t>(0xDC00 + (point & 0x3FF));
            return;
        }
    }
    out += static_cast<wchar_t>(point);
}

void AppendNarrow(std::string& out, char32_t point) {
    if (point < 0x80) {
        out += static_cast<char>(point);
        return;
    }
    const int more = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    const char32_t mark = more == 1 ? 0xC0 : more == 2 ? 0xE0 : 0xF0;
    out += static_cast<char>(mark | (point >> (6 * more)));
    for (int i = more - 1; i >= 0; --i) {
        out += static_cast<char>(0x80 | ((point >> (6 * i)) & 0x3F));
    }
}

// Only where wchar_t has 16 bits: whether a pair that stands for one code point begins here.
bool IsPair(std::wstring_view text, std::size_t index) {
    if constexpr (sizeof(wchar_t) == 2) {
        return index + 1 < text.size() && (text[index] & 0xFC00) == 0xD800 &&
               (text[index + 1] & 0xFC00) == 0xDC00;
    }
    return false;
}

} // namespace

std::wstring Widen(std::string_view bytes) {
    std::wstring out;
    out.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        char32_t point = 0;
        const std::size_t count = CodePointAt(bytes, i, point);
        if (count == 0) {
            out += static_cast<wchar_t>(kByteBase + ByteAt(bytes, i));
            ++i;
        } else {
            AppendWide(out, point);
            i += count;
        }
    }
    return out;
}

std::string Narrow(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto point = static_cast<char32_t>(text[i]);
        if (IsPair(text, i)) {
            point = 0x10000 + ((point & 0x3FF) << 10) + (static_cast<char32_t>(text[++i]) & 0x3FF);
        } else if (point >= kByteBase + 0x80 && point <= kByteBase + 0xFF) {
            out += static_cast<char>(point - kByteBase);
            continue;
        } else if ((point >= 0xD800 && point <= 0xDFFF) || point > 0x10FFFF) {
            point = 0xFFFD;
        }
        AppendNarrow(out, point);
    }
    return out;
}

std::string EscapeName(std::string_view name, bool& escaped) {
    std::string out;
    for (const char c : name) {
        switch (c) {
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            out += c;
            break;
        }
    }
    escaped = out.size() != name.size();
    return out;
}

std::optional<std::string> UnescapeName(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        if (++i == text.size()) {
            return std::nullopt;
        }
        switch (text[i]) {
        case '\\':
            out += '\\';
            break;
        case 'n':
            out += '\n';
            break;
        case 'r':
            out += '\r';
            break;
        default:
            return std::nullopt;
        }
    }
    return out;
}

std::string Hex(const unsigned char* bytes, int count) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    for (int i = 0; i < count; ++i) {
        out += kDigits[bytes[i] >> 4];
        out += kDigits[bytes[i] & 15];
    }
    return out;
}

} // namespace vxcio::tool
