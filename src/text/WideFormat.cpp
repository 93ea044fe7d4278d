#include "text/WideFormat.h"

#include "text/FormatDouble.h"
#include "text/FormatSpec.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string_view>

namespace vxcio {

namespace {

using text::ArgumentSize;
using text::FormatSpec;

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

std::size_t Padding(const FormatSpec& spec, std::size_t length) noexcept {
    const auto width = static_cast<std::size_t>(spec.width);
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

std::size_t MostCharacters(const FormatSpec& spec) noexcept {
    return spec.precision < 0 ? SIZE_MAX : static_cast<std::size_t>(spec.precision);
}

void PutWide(Output& out, const FormatSpec& spec, const wchar_t* string) noexcept {
    const wchar_t* text = string == nullptr ? L"(null)" : string;
    const std::size_t length = BoundedLength(text, MostCharacters(spec));
    const std::size_t padding = Padding(spec, length);
    out.Fill(L' ', spec.leftAligned ? 0 : padding);
    out.Put(std::wstring_view(text, length));
    out.Fill(L' ', spec.leftAligned ? padding : 0);
}

// The precision counts bytes: no more are read, as the text may end there without a zero.
void PutNarrow(Output& out, const FormatSpec& spec, const char* string) noexcept {
    const char* text = string == nullptr ? "(null)" : string;
    const std::string_view bytes(text, BoundedLength(text, MostCharacters(spec)));
    wchar_t units[2] = {};
    std::size_t length = 0;
    for (std::size_t i = 0; spec.width > 0 && i < bytes.size();) {
        length += TakeUtf8(bytes, i, units);
    }
    const std::size_t padding = Padding(spec, length);
    out.Fill(L' ', spec.leftAligned ? 0 : padding);
    for (std::size_t i = 0; i < bytes.size() && !out.IsFull();) {
        const std::size_t count = TakeUtf8(bytes, i, units);
        out.Put(std::wstring_view(units, count));
    }
    out.Fill(L' ', spec.leftAligned ? padding : 0);
}

bool IsNarrow(const FormatSpec& spec, wchar_t narrowConversion) noexcept {
    if (spec.size == ArgumentSize::Short) {
        return true;
    }
    return spec.conversion == narrowConversion && spec.size != ArgumentSize::Long &&
           spec.size != ArgumentSize::Wide;
}

void PutString(Output& out, const FormatSpec& spec, Arguments& arguments) noexcept {
    if (IsNarrow(spec, L'S')) {
        PutNarrow(out, spec, va_arg(arguments.list, const char*));
    } else {
        PutWide(out, spec, va_arg(arguments.list, const wchar_t*));
    }
}

void PutCharacter(Output& out, const FormatSpec& spec, Arguments& arguments) noexcept {
    const int value = va_arg(arguments.list, int);
    auto c = static_cast<wchar_t>(value);
    if (IsNarrow(spec, L'C')) {
        const auto byte = static_cast<char>(value);
        wchar_t units[2] = {};
        std::size_t at = 0;
        TakeUtf8(std::string_view(&byte, 1), at, units);
        c = units[0];
    }
    const std::size_t padding = Padding(spec, 1);
    out.Fill(L' ', spec.leftAligned ? 0 : padding);
    out.Put(c);
    out.Fill(L' ', spec.leftAligned ? padding : 0);
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

void PutParts(Output& out, const FormatSpec& spec, NumberParts& parts) noexcept {
    const std::size_t length =
        parts.prefixCount + parts.zeros + parts.digitCount + parts.zerosBehind + parts.tailCount;
    std::size_t padding = Padding(spec, length);
    if (spec.zeroPadded && !spec.leftAligned && parts.mayZeroPad) {
        parts.zeros += padding;
        padding = 0;
    }
    out.Fill(L' ', spec.leftAligned ? 0 : padding);
    out.PutAscii(parts.prefix, parts.prefixCount);
    out.Fill(L'0', parts.zeros);
    out.PutAscii(parts.digits, parts.digitCount);
    out.Fill(L'0', parts.zerosBehind);
    out.PutAscii(parts.tail, parts.tailCount);
    out.Fill(L' ', spec.leftAligned ? padding : 0);
}

void AddSign(NumberParts& parts, const FormatSpec& spec, bool isNegative) noexcept {
    if (isNegative) {
        parts.AddPrefix('-');
    } else if (spec.plusSign) {
        parts.AddPrefix('+');
    } else if (spec.blankSign) {
        parts.AddPrefix(' ');
    }
}

// The argument as 64 bits, its sign spread where it has one.
std::uint64_t TakeInteger(const FormatSpec& spec, bool isSigned, Arguments& arguments) noexcept {
    const bool is64 = spec.size == ArgumentSize::Bits64 ||
                      (spec.size == ArgumentSize::Pointer && sizeof(void*) == sizeof(std::uint64_t));
    if (is64) {
        return va_arg(arguments.list, std::uint64_t);
    }
    const auto value = va_arg(arguments.list, std::uint32_t);
    std::int64_t spread = static_cast<std::int32_t>(value);
    std::uint64_t plain = value;
    if (spec.size == ArgumentSize::Short) {
        spread = static_cast<std::int16_t>(value);
        plain = static_cast<std::uint16_t>(value);
    } else if (spec.size == ArgumentSize::Char) {
        spread = static_cast<std::int8_t>(value);
        plain = static_cast<std::uint8_t>(value);
    }
    return isSigned ? static_cast<std::uint64_t>(spread) : plain;
}

void PutInteger(Output& out, const FormatSpec& spec, Arguments& arguments) noexcept {
    const bool isSigned = spec.conversion == L'd' || spec.conversion == L'i';
    std::uint64_t value = TakeInteger(spec, isSigned, arguments);
    NumberParts parts;
    if (isSigned) {
        const bool isNegative = (value >> 63) != 0;
        value = isNegative ? 0 - value : value;
        AddSign(parts, spec, isNegative);
    }
    const bool isUpper = spec.conversion == L'X';
    const bool isHex = isUpper || spec.conversion == L'x';
    const unsigned base = isHex ? 16 : (spec.conversion == L'o' ? 8 : 10);
    const char* const figures = isUpper ? "0123456789ABCDEF" : "0123456789abcdef";
    char buffer[24];
    char* first = buffer + sizeof buffer;
    for (std::uint64_t rest = value; rest != 0; rest /= base) {
        *--first = figures[rest % base];
    }
    parts.digits = first;
    parts.digitCount = static_cast<std::size_t>(buffer + sizeof buffer - first);
    if (isHex && spec.alternate && value != 0) {
        parts.AddPrefix('0');
        parts.AddPrefix(isUpper ? 'X' : 'x');
    }
    std::size_t least = spec.precision < 0 ? 1 : static_cast<std::size_t>(spec.precision);
    if (base == 8 && spec.alternate) {
        least = std::max(least, parts.digitCount + 1); // one zero leads, which for 0 is all there is
    }
    parts.zeros = least > parts.digitCount ? least - parts.digitCount : 0;
    parts.mayZeroPad = spec.precision < 0;
    PutParts(out, spec, parts);
}

void PutPointer(Output& out, const FormatSpec& spec, Arguments& arguments) noexcept {
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
    PutParts(out, spec, parts);
}

void PutDouble(Output& out, const FormatSpec& spec, Arguments& arguments) noexcept {
    const double value = spec.size == ArgumentSize::LongDouble
                             ? static_cast<double>(va_arg(arguments.list, long double))
                             : va_arg(arguments.list, double);
    text::DoubleText formatted;
    text::FormatDouble(value, spec.conversion, spec.precision, spec.alternate, formatted);
    NumberParts parts;
    AddSign(parts, spec, formatted.isNegative);
    if (formatted.isHexadecimal) {
        parts.AddPrefix('0');
        parts.AddPrefix(spec.conversion == L'A' ? 'X' : 'x');
    }
    parts.digits = formatted.digits;
    parts.digitCount = formatted.digitCount;
    parts.zerosBehind = formatted.zeros;
    parts.tail = formatted.exponent;
    parts.tailCount = formatted.exponentCount;
    parts.mayZeroPad = formatted.isNumber;
    PutParts(out, spec, parts);
}

using Putter = void (*)(Output& out, const FormatSpec& spec, Arguments& arguments) noexcept;

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

void TakeStars(FormatSpec& spec, Arguments& arguments) noexcept {
    if (spec.starWidth) {
        const int width = va_arg(arguments.list, int);
        spec.leftAligned = spec.leftAligned || width < 0;
        spec.width = width < 0 ? (width == INT32_MIN ? INT32_MAX : -width) : width;
    }
    if (spec.starPrecision) {
        spec.precision = std::max(va_arg(arguments.list, int), -1);
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
        FormatSpec spec = vxcio::text::ReadFormatSpec(at + 1);
        const Putter put = PutterOf(spec.conversion);
        if (put == nullptr) {
            out.Put(std::wstring_view(at, static_cast<std::size_t>(spec.end - at)));
        } else {
            TakeStars(spec, taken);
            put(out, spec, taken);
        }
        at = spec.end;
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
