#include "text/FoldCase.h"

#include <gtest/gtest.h>

#include <cwctype>
#include <iterator>
#include <locale.h>

using namespace vxcio;

namespace {

struct Range {
    int first;
    int last;
};
constexpr Range kCovered[] = {{0x0000, 0x017F}, {0x0370, 0x0560}, {0x0561, 0x058F}, {0xFF00, 0xFFEF}};

// Their upper-case forms are those of other letters, I and S.
constexpr int kDotlessI = 0x131;
constexpr int kLongS = 0x17F;

bool IsCovered(int code) {
    for (const Range& range : kCovered) {
        if (code >= range.first && code <= range.last) {
            return true;
        }
    }
    return false;
}

} // namespace

TEST(FoldCaseTest, CoveredLettersAgreeWithTheSystemsUnicodeTable) {
    const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    ASSERT_NE(unicode, nullptr);
    int letters = 0;
    for (const Range& range : kCovered) {
        for (int code = range.first; code <= range.last; ++code) {
            auto expected = static_cast<wchar_t>(towupper_l(static_cast<wint_t>(code), unicode));
            if (code == kDotlessI || code == kLongS) {
                expected = static_cast<wchar_t>(code);
            }
            EXPECT_EQ(FoldUpper(static_cast<wchar_t>(code)), expected) << std::hex << code;
            letters += expected != static_cast<wchar_t>(code) ? 1 : 0;
        }
    }
    freelocale(unicode);
    EXPECT_GT(letters, 350);
}

TEST(FoldCaseTest, OtherCharactersStay) {
    for (int code = 0; code <= 0x10FFFF; ++code) {
        if (!IsCovered(code)) {
            ASSERT_EQ(FoldUpper(static_cast<wchar_t>(code)), static_cast<wchar_t>(code)) << std::hex << code;
        }
    }
    EXPECT_EQ(FoldUpper(static_cast<wchar_t>(-1)), static_cast<wchar_t>(-1));
    EXPECT_EQ(FoldUpper(0), 0);
}

TEST(FoldCaseTest, NoOtherLetterBecomesOneFromAToZ) {
    for (int code = 0x80; code < 0x10000; ++code) {
        ASSERT_GE(FoldUpper(static_cast<wchar_t>(code)), 0x80) << std::hex << code;
    }
}

TEST(FoldCaseTest, SharpSHasNoOneToOneForm) {
    EXPECT_EQ(FoldUpper(0xDF), static_cast<wchar_t>(0xDF));
}

TEST(FoldCaseTest, FoldingTwiceIsFoldingOnce) {
    for (int code = 0; code < 0x10000; ++code) {
        const wchar_t once = FoldUpper(static_cast<wchar_t>(code));
        ASSERT_EQ(FoldUpper(once), once) << std::hex << code;
    }
}

// ---- lower case -----------------------------------------------------------------------------------------

TEST(FoldCaseTest, LowerCaseFormsAgreeWithTheSystemsUnicodeTable) {
    const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    ASSERT_NE(unicode, nullptr);
    int letters = 0;
    for (const Range& range : kCovered) {
        for (int code = range.first; code <= range.last; ++code) {
            const auto character = static_cast<wchar_t>(code);
            const auto lower = static_cast<wchar_t>(towlower_l(static_cast<wint_t>(code), unicode));
            const auto back = static_cast<wchar_t>(towupper_l(static_cast<wint_t>(lower), unicode));
            // Only one-to-one forms count.
            if (lower != character && back == character && IsCovered(static_cast<int>(lower))) {
                EXPECT_EQ(FoldLower(character), lower) << std::hex << code;
                ++letters;
            }
        }
    }
    freelocale(unicode);
    EXPECT_GT(letters, 350);
}

TEST(FoldCaseTest, LowerCaseGoesBackToTheSameUpperCase) {
    for (int code = 0; code <= 0x10FFFF; ++code) {
        const auto character = static_cast<wchar_t>(code);
        const wchar_t lower = FoldLower(character);
        ASSERT_EQ(FoldUpper(lower), FoldUpper(character)) << std::hex << code;
        ASSERT_EQ(FoldLower(lower), lower) << std::hex << code;
        if (!IsCovered(code)) {
            // The long and dotless letters and the like have forms elsewhere.
            ASSERT_TRUE(lower == character || FoldUpper(lower) == character) << std::hex << code;
        }
    }
}

TEST(FoldCaseTest, LettersThatDifferOnlyInCaseHaveTheSameLowerCase) {
    for (int code = 0; code < 0x10000; ++code) {
        const auto character = static_cast<wchar_t>(code);
        ASSERT_EQ(FoldLower(FoldUpper(character)), FoldLower(FoldUpper(FoldLower(character))))
            << std::hex << code;
    }
}

TEST(FoldCaseTest, OnlyAToZBecomeASmallOneOfThose) {
    for (int code = 0; code <= 0x10FFFF; ++code) {
        const wchar_t lower = FoldLower(static_cast<wchar_t>(code));
        const bool isCapital = code >= 'A' && code <= 'Z';
        ASSERT_EQ(lower < 0x80, code < 0x80) << std::hex << code;
        ASSERT_EQ(code < 0x80 && lower != static_cast<wchar_t>(code), isCapital) << std::hex << code;
    }
    EXPECT_EQ(FoldLower(L'A'), L'a');
    EXPECT_EQ(FoldLower(L'Z'), L'z');
    EXPECT_EQ(FoldLower(L'@'), L'@');
    EXPECT_EQ(FoldLower(L'['), L'[');
    EXPECT_EQ(FoldLower(0xC4), static_cast<wchar_t>(0xE4));
    EXPECT_EQ(FoldLower(static_cast<wchar_t>(-1)), static_cast<wchar_t>(-1));
}

TEST(FoldCaseTest, TextsFoldOneCharacterToOne) {
    EXPECT_TRUE(EqualsFolded(L"LocaL", L"local"));
    EXPECT_TRUE(EqualsFolded(L"\u00E9", L"\u00C9"));
    EXPECT_FALSE(EqualsFolded(L"local", L"loca"));
    EXPECT_FALSE(EqualsFolded(L"stra\u00DFe", L"STRASSE"));
    EXPECT_TRUE(EqualsFolded(L"", L""));
    EXPECT_EQ(LowerCase(L"\\\\HOST\\\u00C4-1"), L"\\\\host\\\u00E4-1");
    EXPECT_EQ(UpperCase(L"d:\\\u00E4"), L"D:\\\u00C4");
}
