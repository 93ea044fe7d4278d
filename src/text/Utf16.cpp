#include "text/Utf16.h"

namespace vxcio {

namespace {

constexpr std::uint32_t kFirstBeyond = 0x10000;
constexpr std::uint32_t kLastCodePoint = 0x10FFFF;
constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::uint32_t kHighSurrogate = 0xD800;
constexpr std::uint32_t kLowSurrogate = 0xDC00;

std::uint32_t CodePoint(wchar_t character) noexcept {
    // Where wchar_t has 16 bits this is one of two units already, and stays.
    const auto point = static_cast<std::uint32_t>(character);
    return point > kLastCodePoint ? kReplacement : point;
}

unsigned char* StoreUnit(std::uint32_t unit, unsigned char* bytes) noexcept {
    bytes[0] = static_cast<unsigned char>(unit);
    bytes[1] = static_cast<unsigned char>(unit >> 8);
    return bytes + 2;
}

// Whole numbers are compared, not 16 bits of them: U+1D800 is no surrogate.
bool IsHigh(std::uint32_t point) noexcept {
    return point >> 10 == kHighSurrogate >> 10;
}

bool IsLow(std::uint32_t point) noexcept {
    return point >> 10 == kLowSurrogate >> 10;
}

// Memory that somebody else writes is read once.
std::uint32_t LoadByte(const unsigned char* byte) noexcept {
    return *static_cast<const volatile unsigned char*>(byte);
}

} // namespace

std::size_t Utf16Units(const wchar_t* text, std::size_t characters) noexcept {
    std::size_t units = characters;
    for (std::size_t i = 0; i < characters; ++i) {
        units += CodePoint(text[i]) >= kFirstBeyond ? 1 : 0;
    }
    return units;
}

void StoreUtf16(const wchar_t* text, std::size_t characters, unsigned char* bytes) noexcept {
    for (std::size_t i = 0; i < characters; ++i) {
        const std::uint32_t point = CodePoint(text[i]);
        if (point >= kFirstBeyond) {
            bytes = StoreUnit(kHighSurrogate + ((point - kFirstBeyond) >> 10), bytes);
            bytes = StoreUnit(kLowSurrogate + ((point - kFirstBeyond) & 0x3FF), bytes);
        } else {
            bytes = StoreUnit(point, bytes);
        }
    }
}

std::size_t BytesAheadOfZero(const unsigned char* source, std::size_t bytes) noexcept {
    for (std::size_t i = 0; i < bytes; i += 2) {
        if (LoadByte(source + i) == 0 && (i + 1 == bytes || LoadByte(source + i + 1) == 0)) {
            return i;
        }
    }
    return bytes;
}

std::size_t LoadUtf16(const unsigned char* source, std::size_t bytes, wchar_t* text) noexcept {
    std::size_t length = 0;
    for (std::size_t i = 0; i < bytes; i += 2) {
        const std::uint32_t high = i + 1 < bytes ? LoadByte(source + i + 1) : 0;
        const std::uint32_t unit = LoadByte(source + i) | high << 8;
        if (unit == 0) {
            break;
        }
        if constexpr (sizeof(wchar_t) > 2) {
            if (length > 0 && IsLow(unit) && IsHigh(static_cast<std::uint32_t>(text[length - 1]))) {
                const std::uint32_t before = static_cast<std::uint32_t>(text[length - 1]) - kHighSurrogate;
                text[length - 1] =
                    static_cast<wchar_t>(kFirstBeyond + (before << 10) + (unit - kLowSurrogate));
                continue;
            }
        }
        text[length++] = static_cast<wchar_t>(unit);
    }
    return length;
}

} // namespace vxcio
