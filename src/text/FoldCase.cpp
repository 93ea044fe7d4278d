#include "text/FoldCase.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace vxcio {

namespace {

// Lower-case letters from `first` to `last`, each or every second one, whose upper-case form lies `distance`
// away. Latin to Extended-A, Greek, Cyrillic, Armenian and the fullwidth forms: what names of media, disks
// and hosts are written in. Letters of other scripts are only equal to themselves.
struct LetterRange {
    std::uint16_t first;
    std::uint16_t last;
    std::uint8_t step;
    std::int16_t distance;
};

// In order, without overlap. The dotless i and the long s are left out: their upper-case forms are I and S,
// and a tag or prefix of the library must not be found in a name that spells it with other letters.
// clang-format off
constexpr LetterRange kLetters[] = {
    {0x0061, 0x007A, 1, -32}, // a to z
    {0x00B5, 0x00B5, 1, 743}, // micro sign, a Greek mu
    {0x00E0, 0x00F6, 1, -32}, // Latin-1
    {0x00F8, 0x00FE, 1, -32},
    {0x00FF, 0x00FF, 1, 121},
    {0x0101, 0x012F, 2, -1}, // Latin Extended-A, in pairs
    {0x0133, 0x0137, 2, -1},
    {0x013A, 0x0148, 2, -1},
    {0x014B, 0x0177, 2, -1},
    {0x017A, 0x017E, 2, -1},
    {0x0371, 0x0373, 2, -1}, // Greek
    {0x0377, 0x0377, 1, -1},
    {0x037B, 0x037D, 1, 130},
    {0x03AC, 0x03AC, 1, -38},
    {0x03AD, 0x03AF, 1, -37},
    {0x03B1, 0x03C1, 1, -32},
    {0x03C2, 0x03C2, 1, -31}, // final sigma
    {0x03C3, 0x03CB, 1, -32},
    {0x03CC, 0x03CC, 1, -64},
    {0x03CD, 0x03CE, 1, -63},
    {0x03D0, 0x03D0, 1, -62},
    {0x03D1, 0x03D1, 1, -57},
    {0x03D5, 0x03D5, 1, -47},
    {0x03D6, 0x03D6, 1, -54},
    {0x03D7, 0x03D7, 1, -8},
    {0x03D9, 0x03EF, 2, -1},
    {0x03F0, 0x03F0, 1, -86},
    {0x03F1, 0x03F1, 1, -80},
    {0x03F2, 0x03F2, 1, 7},
    {0x03F3, 0x03F3, 1, -116},
    {0x03F5, 0x03F5, 1, -96},
    {0x03F8, 0x03F8, 1, -1},
    {0x03FB, 0x03FB, 1, -1},
    {0x0430, 0x044F, 1, -32}, // Cyrillic
    {0x0450, 0x045F, 1, -80},
    {0x0461, 0x0481, 2, -1},
    {0x048B, 0x04BF, 2, -1},
    {0x04C2, 0x04CE, 2, -1},
    {0x04CF, 0x04CF, 1, -15},
    {0x04D1, 0x052F, 2, -1},
    {0x0561, 0x0586, 1, -48}, // Armenian
    {0xFF41, 0xFF5A, 1, -32}, // fullwidth a to z
};
// clang-format on

// The micro sign and the final sigma: their capitals are those of the letters behind them in the table.
constexpr bool IsVariant(std::uint16_t letter) noexcept {
    return letter == 0x00B5 || letter == 0x03C2;
}

} // namespace

wchar_t FoldUpper(wchar_t character) noexcept {
    if (character < 0x80) {
        return AsciiUpper(character);
    }
    const auto code = static_cast<std::uint32_t>(character);
    const LetterRange* const range =
        std::lower_bound(std::begin(kLetters), std::end(kLetters), code,
                         [](const LetterRange& entry, std::uint32_t c) { return entry.last < c; });
    if (range == std::end(kLetters) || code < range->first || (code - range->first) % range->step != 0) {
        return character;
    }
    return static_cast<wchar_t>(static_cast<std::int32_t>(code) + range->distance);
}

wchar_t FoldLower(wchar_t character) noexcept {
    if (character < 0x80) {
        return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a')
                                                      : character;
    }
    const auto code = static_cast<std::int32_t>(character);
    for (const LetterRange& range : kLetters) {
        const std::int32_t lower = code - range.distance;
        if (!IsVariant(range.first) && lower >= range.first && lower <= range.last &&
            (lower - range.first) % range.step == 0) {
            return static_cast<wchar_t>(lower);
        }
    }
    return character;
}

bool EqualsFolded(std::wstring_view left, std::wstring_view right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](wchar_t a, wchar_t b) { return FoldUpper(a) == FoldUpper(b); });
}

std::wstring LowerCase(std::wstring_view text) {
    std::wstring lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), FoldLower);
    return lower;
}

std::wstring UpperCase(std::wstring_view text) {
    std::wstring upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(), FoldUpper);
    return upper;
}

} // namespace vxcio
