#include "support/TempFolder.h"
#include "text/WideFormat.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>

using namespace vxcio;

namespace {

template <class... Arguments>
std::wstring F(const wchar_t* format, Arguments... arguments) {
    wchar_t text[kFormatCapacity];
    const std::size_t length = FormatWide(text, kFormatCapacity, format, arguments...);
    EXPECT_EQ(text[length], 0);
    return std::wstring(text, length);
}

} // namespace

TEST(WideFormatTest, PlainStringDirectiveTakesWideText) {
    EXPECT_EQ(F(L"[%s] [%ls] [%ws]", L"a\u00e4", L"b", L"c"), L"[a\u00e4] [b] [c]");
}

TEST(WideFormatTest, UpperCaseStringDirectiveTakesUtf8) {
    EXPECT_EQ(F(L"[%S] [%hs] [%hS]", "a\xC3\xA4", "b", "c"), L"[a\u00e4] [b] [c]");
    EXPECT_EQ(F(L"[%lS] [%wS]", L"wide", L"too"), L"[wide] [too]");
    const std::wstring odd = F(L"%S", "a\xFF");
    EXPECT_EQ(odd, std::wstring({L'a', static_cast<wchar_t>(0xDCFF)}));
}

TEST(WideFormatTest, CharacterDirectivesTakeWideAndNarrow) {
    EXPECT_EQ(F(L"%c%lc%wc", 0x20AC, L'b', L'c'), L"\u20acbc");
    EXPECT_EQ(F(L"%C%hc", 'd', 'e'), L"de");
    EXPECT_EQ(F(L"%lC%wC", 0x20AC, 0x20AD), L"\u20ac\u20ad");
    EXPECT_EQ(F(L"%C", 0xFF), std::wstring(1, static_cast<wchar_t>(0xDCFF))) << "a byte that is no character";
    EXPECT_EQ(F(L"[%3c|%-3c]", L'x', L'y'), L"[  x|y  ]");
}

TEST(WideFormatTest, StringsAreCutByPrecisionAndPaddedToWidth) {
    EXPECT_EQ(F(L"[%5s|%-5s|%.2s|%4.1s]", L"ab", L"cd", L"efg", L"hi"), L"[   ab|cd   |ef|   h]");
    EXPECT_EQ(F(L"[%5S|%-5S|%.2S]", "ab", "cd", "efg"), L"[   ab|cd   |ef]");
    EXPECT_EQ(F(L"[%4S]", "\xC3\xA4"), L"[   \u00e4]") << "the width counts characters, not bytes";
    EXPECT_EQ(F(L"[%.0s]", L"abc"), L"[]");
    EXPECT_EQ(F(L"[%.s]", L"abc"), L"[]");
}

TEST(WideFormatTest, NoMoreOfAStringIsReadThanThePrecision) {
    const std::unique_ptr<wchar_t[]> wide(new wchar_t[3]{L'a', L'b', L'c'});
    const std::unique_ptr<char[]> narrow(new char[3]{'d', 'e', 'f'});
    EXPECT_EQ(F(L"%.3s %.*S", wide.get(), 3, narrow.get()), L"abc def");
}

TEST(WideFormatTest, StarsTakeWidthAndPrecision) {
    EXPECT_EQ(F(L"[%*d]", 5, 42), L"[   42]");
    EXPECT_EQ(F(L"[%*d]", -5, 42), L"[42   ]");
    EXPECT_EQ(F(L"[%.*s]", 2, L"abc"), L"[ab]");
    EXPECT_EQ(F(L"[%*.*f]", 7, 2, 3.14159), L"[   3.14]");
}

TEST(WideFormatTest, ANegativePrecisionCountsAsNone) {
    EXPECT_EQ(F(L"[%.*s]", -1, L"abc"), L"[abc]");
    EXPECT_EQ(F(L"[%.*f]", INT_MIN, 1.5), L"[1.500000]");
    EXPECT_EQ(F(L"[%.-3d]", 7), L"[7]");
}

TEST(WideFormatTest, IntegersHave32Bits) {
    EXPECT_EQ(F(L"%d %i %u", -1, INT_MIN, UINT_MAX), L"-1 -2147483648 4294967295");
    EXPECT_EQ(F(L"%x %X %o", 0xABCDEFu, 0xABCDEFu, 8u), L"abcdef ABCDEF 10");
    EXPECT_EQ(F(L"%ld %lu %lx", -2, UINT_MAX, 255u), L"-2 4294967295 ff");
    EXPECT_EQ(F(L"%I32d %I32u", -3, 3u), L"-3 3");
}

TEST(WideFormatTest, AnArgumentAfterALongStaysInPlace) {
    EXPECT_EQ(F(L"%ld|%s", -1L, L"next"), L"-1|next");
}

TEST(WideFormatTest, NarrowIntegersAreCutToTheirSize) {
    EXPECT_EQ(F(L"%hd %hu %hhd %hhx", 0x18000, 0x1FFFF, 0x1FF, 0x1AB), L"-32768 65535 -1 ab");
}

TEST(WideFormatTest, Integers64) {
    const std::int64_t least = INT64_MIN;
    const std::uint64_t most = UINT64_MAX;
    EXPECT_EQ(F(L"%I64d %lld %jd", least, least, least),
              L"-9223372036854775808 -9223372036854775808 -9223372036854775808");
    EXPECT_EQ(F(L"%I64u %llu %llx %I64X", most, most, most, most),
              L"18446744073709551615 18446744073709551615 ffffffffffffffff FFFFFFFFFFFFFFFF");
    EXPECT_EQ(F(L"%zu %td %Id", static_cast<std::size_t>(-1), static_cast<std::ptrdiff_t>(-5),
                static_cast<std::intptr_t>(-6)),
              sizeof(void*) == 8 ? L"18446744073709551615 -5 -6" : L"4294967295 -5 -6");
}

TEST(WideFormatTest, IntegerFlags) {
    EXPECT_EQ(F(L"[%08x] [%0x] [%-8x] [%8x]", 0xABu, 0xABu, 0xABu, 0xABu),
              L"[000000ab] [ab] [ab      ] [      ab]");
    EXPECT_EQ(F(L"[%+d] [% d] [%+ d] [%+d]", 5, 5, 5, -5), L"[+5] [ 5] [+5] [-5]");
    EXPECT_EQ(F(L"[%05d] [%-05d] [%+05d]", -42, -42, 42), L"[-0042] [-42  ] [+0042]");
    EXPECT_EQ(F(L"[%.4d] [%08.4d] [%.0d] [%.0d]", 42, 42, 0, 1), L"[0042] [    0042] [] [1]");
    EXPECT_EQ(F(L"[%#x] [%#X] [%#x] [%#o] [%#o] [%#08x]", 255u, 255u, 0u, 8u, 0u, 255u),
              L"[0xff] [0XFF] [0] [010] [0] [0x0000ff]");
}

TEST(WideFormatTest, FixedDoubles) {
    EXPECT_EQ(
        F(L"[%4.2f] [%f] [%.0f] [%#.0f] [%8.3f] [%-8.1f] [%08.1f]", 1.005, 2.5, 2.5, 3.0, -1.5, 1.25, -1.5),
        L"[1.00] [2.500000] [2] [3.] [  -1.500] [1.2     ] [-00001.5]");
    EXPECT_EQ(F(L"%+.1f % .1f %.1f", 1.0, 1.0, -0.0), L"+1.0  1.0 -0.0");
    EXPECT_EQ(F(L"%.1Lf", 2.5L), L"2.5");
}

TEST(WideFormatTest, DoublesAgreeWithTheCLibraryInTheCLocale) {
    const double values[] = {0.0,     1.0,     -1.0, 0.1, 1e-5, 123456.0, 1234567.0, 9.9999995, 1e100, 5e-324,
                             DBL_MAX, 1.0 / 3, 1e15, 2.5, 0.5,  99999.95, 1e-4,      0.00012345};
    const char* const formats[] = {"%f",     "%e",      "%g",      "%E",    "%G",    "%.0e",
                                   "%#.0e",  "%.3g",    "%#g",     "%#.3g", "%.0g",  "%.17g",
                                   "%12.4e", "%-12.4e", "%012.3g", "%+g",   "%.20f", "%.400f",
                                   "%.900e", "%.1200f", "%#.900g", "%a",    "%A",    "%.3a"};
    for (const char* const format : formats) {
        for (const double value : values) {
            char expected[2000];
            snprintf(expected, sizeof expected, format, value);
            // Hexadecimal forms of one number differ in the leading digit only for subnormals.
            const bool isHex = std::string(format).find_first_of("aA") != std::string::npos;
            if (isHex && std::fpclassify(value) == FP_SUBNORMAL) {
                continue;
            }
            const std::string narrow(expected);
            const std::string wide(format);
            EXPECT_EQ(F(std::wstring(wide.begin(), wide.end()).c_str(), value),
                      std::wstring(narrow.begin(), narrow.end()))
                << format << " of " << value;
        }
    }
}

TEST(WideFormatTest, InfinitiesAndNansAreNamedAndNeverPaddedWithZeros) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(F(L"[%f] [%F] [%06f] [%e] [%g]", infinity, -infinity, infinity, nan, infinity),
              L"[inf] [-INF] [   inf] [nan] [inf]");
    EXPECT_EQ(F(L"[%#f] [%#.0e] [%#g]", infinity, nan, -infinity), L"[inf] [nan] [-inf]");
}

TEST(WideFormatTest, PointersHaveAllTheirDigits) {
    void* const pointer = reinterpret_cast<void*>(static_cast<std::uintptr_t>(0xAB12));
    const std::wstring digits = std::wstring(sizeof(void*) * 2 - 4, L'0') + L"AB12";
    EXPECT_EQ(F(L"%p", pointer), digits);
    EXPECT_EQ(F(L"[%20p]", pointer), L"[" + std::wstring(20 - digits.size(), L' ') + digits + L"]");
}

TEST(WideFormatTest, PercentAndWhatIsNoDirectiveStayAndTakeNoArgument) {
    EXPECT_EQ(F(L"100%% of %d", 5), L"100% of 5");
    EXPECT_EQ(F(L"%n|%ln|%y|%*y|%d", 6), L"%n|%ln|%y|%*y|6");
    EXPECT_EQ(F(L"end %"), L"end %");
    EXPECT_EQ(F(L"end %-5.2l"), L"end %-5.2l");
}

TEST(WideFormatTest, NullStringsAreNamed) {
    EXPECT_EQ(F(L"[%s] [%S] [%.3s]", static_cast<const wchar_t*>(nullptr), static_cast<const char*>(nullptr),
                static_cast<const wchar_t*>(nullptr)),
              L"[(null)] [(null)] [(nu]");
    EXPECT_EQ(F(nullptr), L"");
}

TEST(WideFormatTest, WhatDoesNotFitIsCutAtExactlyTheCapacity) {
    wchar_t text[8];
    for (std::size_t capacity = 1; capacity <= 6; ++capacity) {
        std::fill(text, text + 8, L'#');
        const std::size_t length = FormatWide(text, capacity, L"%s%d", L"abc", 1234);
        EXPECT_EQ(length, capacity - 1);
        EXPECT_EQ(std::wstring(text), std::wstring(L"abc1234").substr(0, capacity - 1));
        EXPECT_EQ(text[capacity], L'#') << "nothing behind the capacity is touched";
    }
    EXPECT_EQ(FormatWide(text, 8, L"%s%d", L"abc", 1234), 7u);
    EXPECT_STREQ(text, L"abc1234");
}

TEST(WideFormatTest, NoRoomWritesNothing) {
    wchar_t text[1] = {L'#'};
    EXPECT_EQ(FormatWide(text, 0, L"abc"), 0u);
    EXPECT_EQ(text[0], L'#');
    EXPECT_EQ(FormatWide(nullptr, 10, L"abc"), 0u);
}

TEST(WideFormatTest, AVeryLongStringAndAHugeWidthEndAtTheCapacity) {
    const std::wstring longText(200000, L'x');
    EXPECT_EQ(F(L"<%s>", longText.c_str()), L"<" + std::wstring(kFormatCapacity - 2, L'x'));
    EXPECT_EQ(F(L"%2000000000d", 1), std::wstring(kFormatCapacity - 1, L' '));
    EXPECT_EQ(F(L"%99999999999999999999s|", L"a"), std::wstring(kFormatCapacity - 1, L' '));
    EXPECT_EQ(F(L"%*d", INT_MIN, 1), L"1" + std::wstring(kFormatCapacity - 2, L' '));
    EXPECT_EQ(F(L"%.2000000000f", 0.5).substr(0, 4), L"0.50");
    EXPECT_EQ(F(L"%.2000000000d", 5), std::wstring(kFormatCapacity - 1, L'0'));
}

// Whether or not the machine has a locale with a decimal comma, the test makes one.
TEST(WideFormatTest, ALocaleWithADecimalCommaChangesNothing) {
    const test::TempFolder folder(test::TempFolder::Kind::Memory);
    const std::string source = folder.Write(
        "comma.src", "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \"\"\ngrouping -1\nEND LC_NUMERIC\n");
    // A bare machine has no character maps either.
    std::string map = "<code_set_name> ASCII\n<mb_cur_min> 1\n<mb_cur_max> 1\nCHARMAP\n";
    for (unsigned code = 0; code < 128; ++code) {
        char line[32];
        snprintf(line, sizeof line, "<U%04X> /x%02x\n", code, code);
        map += line;
    }
    const std::string charmap = folder.Write("ascii", map + "END CHARMAP\n");
    // The other categories are missing, about which it complains, and which is as wanted.
    const std::string command = "localedef -c --no-archive -f '" + charmap + "' -i '" + source + "' '" +
                                folder.Name("comma") + "' >/dev/null 2>&1";
    static_cast<void>(!std::system(command.c_str()));
    setenv("LOCPATH", folder.Path().c_str(), 1);
    const bool isComma = std::setlocale(LC_NUMERIC, "comma") != nullptr;
    unsetenv("LOCPATH");
    ASSERT_TRUE(isComma) << command;
    char reference[16];
    snprintf(reference, sizeof reference, "%4.2f", 1.5);
    const std::wstring text = F(L"%4.2f %e %g %a %d", 1.5, 1.5, 1.5, 1.5, 1234567);
    std::setlocale(LC_NUMERIC, "C");
    EXPECT_STREQ(reference, "1,50") << "the locale was not in force";
    EXPECT_EQ(text, L"1.50 1.500000e+00 1.5 0x1.8p+0 1234567");
}
