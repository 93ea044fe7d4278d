// Wide text and the units of the wire.
#include "text/Utf16.h"

#include "frame/Types.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace vxcio;

namespace {

std::wstring Text(const std::vector<uint32>& points) {
    std::wstring text;
    for (const uint32 point : points) {
        text.push_back(static_cast<wchar_t>(point));
    }
    return text;
}

std::vector<uint16> Stored(const std::wstring& text) {
    std::vector<uint8> bytes(Utf16Units(text.data(), text.size()) * 2 + 1, 0xEE);
    StoreUtf16(text.data(), text.size(), bytes.data());
    EXPECT_EQ(bytes.back(), 0xEE);
    std::vector<uint16> units;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        units.push_back(static_cast<uint16>(bytes[i] | bytes[i + 1] << 8));
    }
    return units;
}

std::wstring Loaded(const std::vector<uint16>& units) {
    std::vector<uint8> bytes;
    for (const uint16 unit : units) {
        bytes.push_back(static_cast<uint8>(unit));
        bytes.push_back(static_cast<uint8>(unit >> 8));
    }
    std::wstring text(units.size() + 1, L'#');
    text.resize(LoadUtf16(bytes.data(), bytes.size(), text.data()));
    return text;
}

// The units of a text by division, as the standard has it.
std::vector<uint16> ModelUnits(const std::wstring& text) {
    std::vector<uint16> units;
    for (const wchar_t character : text) {
        const auto point = static_cast<uint32>(character);
        if (point > 0xFFFF) {
            units.push_back(static_cast<uint16>(0xD800 + (point - 0x10000) / 1024));
            units.push_back(static_cast<uint16>(0xDC00 + (point - 0x10000) % 1024));
        } else {
            units.push_back(static_cast<uint16>(point));
        }
    }
    return units;
}

// Characters of a width that only some systems have in one wchar_t.
constexpr bool kIsWide = sizeof(wchar_t) > 2;

} // namespace

TEST(Utf16Test, PlainCharactersAreOneUnitEach) {
    const std::vector<uint16> units = {1, 0x41, 0xFF, 0x100, 0xD7FF, 0xE000, 0xFFFF};
    const std::wstring text = Text({1, 0x41, 0xFF, 0x100, 0xD7FF, 0xE000, 0xFFFF});
    EXPECT_EQ(Stored(text), units);
    EXPECT_EQ(Loaded(units), text);
}

TEST(Utf16Test, CharactersBeyondArePairs) {
    if constexpr (kIsWide) {
        EXPECT_EQ(Stored(Text({0x10000, 0x10FFFF, 0x1F600})),
                  std::vector<uint16>({0xD800, 0xDC00, 0xDBFF, 0xDFFF, 0xD83D, 0xDE00}));
        EXPECT_EQ(Loaded({0xD800, 0xDC00, 0xDBFF, 0xDFFF, 0xD83D, 0xDE00}),
                  Text({0x10000, 0x10FFFF, 0x1F600}));
    }
}

TEST(Utf16Test, WhatIsNoCodePointBecomesTheReplacement) {
    if constexpr (kIsWide) {
        EXPECT_EQ(Stored(Text({0x110000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF})),
                  std::vector<uint16>({0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}));
    }
}

TEST(Utf16Test, SurrogatesThatStandAlonePassBothWays) {
    const std::vector<std::vector<uint16>> alone = {
        {0xD800},         {0xDBFF},         {0xDC00},
        {0xDFFF},         {0xD800, 0x41},   {0xDC00, 0xD800},
        {0xD800, 0xD800}, {0xDC00, 0xDC00}, {0x41, 0xDFFF, 0x42},
    };
    for (const std::vector<uint16>& units : alone) {
        const std::wstring text = Loaded(units);
        EXPECT_EQ(text.size(), units.size());
        EXPECT_EQ(Stored(text), units);
    }
}

TEST(Utf16Test, OnlyTheLastOfTwoHighSurrogatesPairsUp) {
    if constexpr (kIsWide) {
        EXPECT_EQ(Loaded({0xD83D, 0xD83D, 0xDE00}), Text({0xD83D, 0x1F600}));
        EXPECT_EQ(Loaded({0xD83D, 0xDE00, 0xDE00}), Text({0x1F600, 0xDE00}));
    }
}

// U+1D800 to U+1DBFF have the low 16 bits of high surrogates.
TEST(Utf16Test, AWholeCharacterThatLooksLikeASurrogateTakesNoOtherWithIt) {
    if constexpr (kIsWide) {
        for (const uint32 point : {0x1D800u, 0x1D801u, 0x1DBFFu, 0x2D800u, 0x10D900u}) {
            const std::wstring text = Text({point, 0xDC00});
            EXPECT_EQ(Loaded(Stored(text)), text) << point;
        }
    }
}

TEST(Utf16Test, EveryCodePointPassesAsTheModelHasIt) {
    std::wstring text;
    std::size_t units = 0;
    for (uint32 point = 1; point <= (kIsWide ? 0x10FFFFu : 0xFFFFu); ++point) {
        if (point == 0xDC00) {
            // The last half of one kind and the first of the other would make a pair.
            text.push_back(L'-');
            ++units;
        }
        text.push_back(static_cast<wchar_t>(point));
        units += point > 0xFFFF ? 2 : 1;
    }
    EXPECT_EQ(Utf16Units(text.data(), text.size()), units);
    const std::vector<uint16> stored = Stored(text);
    EXPECT_TRUE(stored == ModelUnits(text));
    EXPECT_TRUE(Loaded(stored) == text);
}

TEST(Utf16Test, BytesAheadOfAZeroAreCountedByUnits) {
    const uint8 bytes[] = {0x41, 0x00, 0x00, 0x42, 0x00, 0x00, 0x43};
    EXPECT_EQ(BytesAheadOfZero(bytes, 7), 4u); // zeros of two units are none
    EXPECT_EQ(BytesAheadOfZero(bytes, 4), 4u);
    EXPECT_EQ(BytesAheadOfZero(bytes, 5), 4u); // a byte left over is the low one of a unit
    EXPECT_EQ(BytesAheadOfZero(bytes + 4, 2), 0u);
    EXPECT_EQ(BytesAheadOfZero(bytes + 6, 1), 1u);
    EXPECT_EQ(BytesAheadOfZero(nullptr, 0), 0u);
}

TEST(Utf16Test, TextEndsAtTheFirstZeroUnit) {
    EXPECT_EQ(Loaded({0x41, 0, 0x42}), L"A");
    EXPECT_EQ(Loaded({0, 0x42}), L"");
    EXPECT_EQ(Loaded({}), L"");
    // A zero between the two halves parts them.
    EXPECT_EQ(Loaded({0xD83D, 0, 0xDE00}), Text({0xD83D}));
}

TEST(Utf16Test, AByteThatIsLeftOverIsTheLowOneOfAUnit) {
    const uint8 bytes[] = {0x41, 0x00, 0x3D, 0xD8, 0x42};
    wchar_t text[4] = {L'#', L'#', L'#', L'#'};
    EXPECT_EQ(LoadUtf16(bytes, 5, text), 3u);
    EXPECT_EQ(std::wstring(text, 4), Text({0x41, 0xD83D, 0x42, '#'}));
    EXPECT_EQ(LoadUtf16(bytes, 1, text), 1u);
    EXPECT_EQ(LoadUtf16(nullptr, 0, text), 0u);
}
