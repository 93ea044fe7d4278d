#include "text/WideFormat.h"

#include "text/FormatDirective.h"
#include "text/FormatDouble.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string_view>

namespace vxcio {

namespace {

using text::ArgumentSize;
using text::FormatDirective;

// The target. What does not fit is dropped.
class Output {
public:
    Output(wchar_t* text, std::size_t capacity) noexcept : m_text(text), m_room(capacity - 1) {}

    void Put(wchar_t c) noexcept {
        if (m_length < m_room) {
            m_text[m_length++] = c;
        }
    }
    void Put(std::wstring_view text) noexcept {
        const std::size_t count = std::min(text.size(), m_room - m_length);
        std::wmemcpy(m_text + m_length, text.data(), count);
        m_length += count;
    }
    void PutAscii(const char* text, std::size_t count) noexcept {
        for (std::size_t i = 0; i < count; ++i) {
            Put(static_cast<wchar_t>(static_cast<unsigned char>(text[i])));
        }
    }
    void Fill(wchar_t c, std::size_t count) noexcept {
        count = std::min(count, m_room - m_length);
        std::wmemset(m_text + m_length, c, count);
        m_length += count;
    }
    bool IsFull() const noexcept { return m_length == m_room; }
    std::size_t Finish() noexcept {
        m_text[m_length] = 0;
        return m_length;
    }

private:
    wchar_t* m_text;
    std::size_t m_room;
    std::size_t m_length = 0;
};

// Arguments go through functions by reference, which a bare va_list does not allow everywhere.
struct Arguments {
    va_list list;
};

std::size_t Padding(const FormatDirective& directive, std::size_t length) noexcept {
    const auto width = static_cast<std::size_t>(directive.width);
    return width > length ? width - length : 0;
}

// The length of a text that need not be terminated when it is as long as `most`.
template <class Character>
std::size_t BoundedLength(const Character* text, std::size_t most) noexcept {
    std::size_t length = 0;
    while (length < most && text[length] != 0) {
        ++length;
    }
    return length;
}

std::size_t MostCharacters(const FormatDirective& directive) noexcept {
    return directive.precision < 0 ? SIZE_MAX : static_cast<std::size_t>(directive.precision);
}

void PutWide(Output& out, const FormatDirective& directive, const wchar_t* string) noexcept {
    const wchar_t* text = string == nullptr ? L"(null)" : string;
    const std::size_t length = BoundedLength(text, MostCharacters(directive));
    const std::size_t padding = Padding(directive, length);
    out.Fill(L' ', directive.leftAligned ? 0 : padding);
    out.Put(std::wstring_view(text, length));
    out.Fill(L' ', directive.leftAligned ? padding : 0);
}

// The precision counts bytes: no more are read, as the text may end there without a zero.
void PutNarrow(Output& out, const FormatDirective& directive, const char* string) noexcept {
    const char* text = string == nullptr ? "(null)" : string;
    const std::string_view bytes(text, BoundedLength(text, MostCharacters(directive)));
    wchar_t units[2] = {};
    std::size_t length = 0;
    for (std::size_t i = 0; directive.width > 0 && i < bytes.size();) {
        length += TakeUtf8(bytes, i, units);
    }
    const std::size_t padding = Padding(directive, length);
    out.Fill(L' ', directive.leftAligned ? 0 : padding);
    for (std::size_t i = 0; i < bytes.size() && !out.IsFull();) {
        const std::size_t count = TakeUtf8(bytes, i, units);
        out.Put(std::wstring_view(units, count));
    }
    out.Fill(L' ', directive.leftAligned ? padding : 0);
}

bool IsNarrow(const FormatDirective& directive, wchar_t narrowConversion) noexcept {
    if (directive.size == ArgumentSize::Short) {
        return true;
    }
    return directive.conversion == narrowConversion && directive.size != ArgumentSize::Long &&
           directive.size != ArgumentSize::Wide;
}

void PutString(Output& out, const FormatDirective& directive, Arguments& arguments) noexcept {
    if (IsNarrow(directive, L'S')) {
        PutNarrow(out, directive, va_arg(arguments.list, const char*));
    } else {
        PutWide(out, directive, va_arg(arguments.list, const wchar_t*));
    }
}

void PutCharacter(Output& out, const FormatDirective& directive, Arguments& arguments) noexcept {
    const int value = va_arg(arguments.list, int);
    auto c = static_cast<wchar_t>(value);
    if (IsNarrow(directive, L'C')) {
        const auto byte = static_cast<char>(value);
        wchar_t units[2] = {};
        std::size_t at = 0;
        TakeUtf8(std::string_view(&byte, 1), at, units);
        c = units[0];
    }
    const std::size_t padding = Padding(directive, 1);
    out.Fill(L' ', directive.leftAligned ? 0 : padding);
    out.Put(c);
    out.Fill(L' ', directive.leftAligned ? padding : 0);
}

// Sign or prefix, zeros and digits, padded to the width.
struct NumberParts {
    char prefix[3] = {};
    std::size_t prefixCount = 0;
    std::size_t zeros = 0;
    const char* digits = nullptr;
    std::size_t digitCount = 0;
    std::size_t zerosBehind = 0;
    const char* tail = nullptr;
    std::size_t tailCount = 0;
    bool mayZeroPad = true;

    void AddPrefix(char c) noexcept { prefix[prefixCount++] = c; }
};

void PutParts(Output& out, const FormatDirective& directive, NumberParts& parts) noexcept {
    const std::size_t length =
        parts.prefixCount + parts.zeros + parts.digitCount + parts.zerosBehind + parts.tailCount;
    std::size_t padding = Padding(directive, length);
    if (directive.zeroPadded && !directive.leftAligned && parts.mayZeroPad) {
        parts.zeros += padding;
        padding = 0;
    }
    out.Fill(L' ', directive.leftAligned ? 0 : padding);
    out.PutAscii(parts.prefix, parts.prefixCount);
    out.Fill(L'0', parts.zeros);
    out.PutAscii(parts.digits, parts.digitCount);
    out.Fill(L'0', parts.zerosBehind);
    out.PutAscii(parts.tail, parts.tailCount);
    out.Fill(L' ', directive.leftAligned ? padding : 0);
}

void AddSign(NumberParts& parts, const FormatDirective& directive, bool isNegative) noexcept {
    if (isNegative) {
        parts.AddPrefix('-');
    } else if (directive.plusSign) {
        parts.AddPrefix('+');
    } else if (directive.blankSign) {
        parts.AddPrefix(' ');
    }
}

// The argument as 64 bits, its sign spread where it has one.
std::uint64_t TakeInteger(const FormatDirective& directive, bool isSigned, Arguments& arguments) noexcept {
    const bool is64 = directive.size == ArgumentSize::Bits64 ||
                      (directive.size == ArgumentSize::Pointer && sizeof(void*) == sizeof(std::uint64_t));
    if (is64) {
        return va_arg(arguments.list, std::uint64_t);
    }
    const auto value = va_arg(arguments.list, std::uint32_t);
    std::int64_t spread = static_cast<std::int32_t>(value);
    std::uint64_t plain = value;
    if (directive.size == ArgumentSize::Short) {
        spread = static_cast<std::int16_t>(value);
        plain = static_cast<std::uint16_t>(value);
    } else if (directive.size == ArgumentSize::Char) {
        spread = static_cast<std::int8_t>(value);
        plain = static_cast<std::uint8_t>(value);
    }
    return isSigned ? static_cast<std::uint64_t>(spread) : plain;
}

void PutInteger(Output& out, const FormatDirective& directive, Arguments& arguments) noexcept {
    const bool isSigned = directive.conversion == L'd' || directive.conversion == L'i';
    std::uint64_t value = TakeInteger(directive, isSigned, arguments);
    NumberParts parts;
    if (isSigned) {
        const bool isNegative = (value >> 63) != 0;
        value = isNegative ? 0 - value : value;
        AddSign(parts, directive, isNegative);
    }
    const bool isUpper = directive.conversion == L'X';
    const bool isHex = isUpper || directive.conversion == L'x';
    const unsigned base = isHex ? 16 : (directive.conversion == L'o' ? 8 : 10);
    const char* const figures = isUpper ? "0123456789ABCDEF" : "0123456789abcdef";
    char buffer[24];
    char* first = buffer + sizeof buffer;
    for (std::uint64_t rest = value; rest != 0; rest /= base) {
        *--first = figures[rest % base];
    }
    parts.digits = first;
    parts.digitCount = static_cast<std::size_t>(buffer + sizeof buffer - first);
    if (isHex && directive.alternate && value != 0) {
        parts.AddPrefix('0');
        parts.AddPrefix(isUpper ? 'X' : 'x');
    }
    std::size_t least = directive.precision < 0 ? 1 : static_cast<std::size_t>(directive.precision);
    if (base == 8 && directive.alternate) {
        least = std::max(least, parts.digitCount + 1); // one zero leads, which for 0 is all there is
    }
    parts.zeros = least > parts.digitCount ? least - parts.digitCount : 0;
    parts.mayZeroPad = directive.precision < 0;
    PutParts(out, directive, parts);
}

void PutPointer(Output& out, const FormatDirective& directive, Arguments& arguments) noexcept {
    constexpr std::size_t kDigits = sizeof(void*) * 2;
    auto value = reinterpret_cast<std::uintptr_t>(va_arg(arguments.list, void*));
    char digits[kDigits];
    for (std::size_t i = kDigits; i > 0; --i) {
        digits[i - 1] = "0123456789ABCDEF"[value & 15u];
        value >>= 4;
    }
    NumberParts parts;
    parts.digits = digits;
    parts.digitCount = kDigits;
    parts.mayZeroPad = false;
    PutParts(out, directive, parts);
}

void PutDouble(Output& out, const FormatDirective& directive, Arguments& arguments) noexcept {
    const double value = directive.size == ArgumentSize::LongDouble
                             ? static_cast<double>(va_arg(arguments.list, long double))
                             : va_arg(arguments.list, double);
    text::DoubleText formatted;
    text::FormatDouble(value, directive.conversion, directive.precision, directive.alternate, formatted);
    NumberParts parts;
    AddSign(parts, directive, formatted.isNegative);
    if (formatted.isHexadecimal) {
        parts.AddPrefix('0');
        parts.AddPrefix(directive.conversion == L'A' ? 'X' : 'x');
    }
    parts.digits = formatted.digits;
    parts.digitCount = formatted.digitCount;
    parts.zerosBehind = formatted.zeros;
    parts.tail = formatted.exponent;
    parts.tailCount = formatted.exponentCount;
    parts.mayZeroPad = formatted.isNumber;
    PutParts(out, directive, parts);
}

using Putter = void (*)(Output& out, const FormatDirective& directive, Arguments& arguments) noexcept;

// Null for what is printed as it stands.
Putter PutterOf(wchar_t conversion) noexcept {
    switch (conversion) {
    case L's':
    case L'S':
        return PutString;
    case L'c':
    case L'C':
        return PutCharacter;
    case L'd':
    case L'i':
    case L'u':
    case L'x':
    case L'X':
    case L'o':
        return PutInteger;
    case L'f':
    case L'F':
    case L'e':
    case L'E':
    case L'g':
    case L'G':
    case L'a':
    case L'A':
        return PutDouble;
    case L'p':
        return PutPointer;
    default:
        return nullptr;
    }
}

void TakeStars(FormatDirective& directive, Arguments& arguments) noexcept {
    if (directive.starWidth) {
        const int width = va_arg(arguments.list, int);
        directive.leftAligned = directive.leftAligned || width < 0;
        directive.width = width < 0 ? (width == INT32_MIN ? INT32_MAX : -width) : width;
    }
    if (directive.starPrecision) {
        directive.precision = std::max(va_arg(arguments.list, int), -1);
    }
}

} // namespace

std::size_t FormatWideV(wchar_t* text, std::size_t capacity, const wchar_t* format,
                        va_list arguments) noexcept {
    if (text == nullptr || capacity == 0) {
        return 0;
    }
    Output out(text, capacity);
    Arguments taken;
    va_copy(taken.list, arguments);
    const wchar_t* at = format == nullptr ? L"" : format;
    while (*at != 0 && !out.IsFull()) {
        const std::size_t plain = std::wcscspn(at, L"%");
        out.Put(std::wstring_view(at, plain));
        at += plain;
        if (*at == 0) {
            break;
        }
        if (at[1] == L'%') {
            out.Put(L'%');
            at += 2;
            continue;
        }
        FormatDirective directive = vxcio::text::ReadDirective(at + 1);
        const Putter put = PutterOf(directive.conversion);
        if (put == nullptr) {
            out.Put(std::wstring_view(at, static_cast<std::size_t>(directive.end - at)));
        } else {
            TakeStars(directive, taken);
            put(out, directive, taken);
        }
        at = directive.end;
    }
    va_end(taken.list);
    return out.Finish();
}

std::size_t FormatWide(wchar_t* text, std::size_t capacity, const wchar_t* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    const std::size_t length = FormatWideV(text, capacity, format, arguments);
    va_end(arguments);
    return length;
}

} // namespace vxcio
