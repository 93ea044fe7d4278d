// Lines of the Unix shape.
#include "ftp/ListParsing.h"

#include "text/Utf8.h"

#include <gtest/gtest.h>

#include <iterator>

using namespace vxcio;
using namespace vxcio::test;

TEST(ListParserUnixTest, AnEntryHasItsFieldsAndZerosBesides) {
    const Parsed parsed = Parse(UnixLine("    1024 Mar 15  2019 clip one.mxf\r\n"));
    ASSERT_TRUE(parsed.result);
    WIN32_FIND_DATAW expected = {};
    expected.dwFileAttributes = FILE_ATTRIBUTE_NORMAL;
    expected.nFileSizeLow = 1024;
    const uint64 ticks = ModelTicks(2019, 3, 15, 0, 0);
    expected.ftCreationTime = {static_cast<uint32>(ticks), static_cast<uint32>(ticks >> 32)};
    expected.ftLastAccessTime = expected.ftCreationTime;
    expected.ftLastWriteTime = expected.ftCreationTime;
    const std::wstring name = L"clip one.mxf";
    std::copy(name.begin(), name.end(), expected.cFileName);
    EXPECT_TRUE(IsSame(parsed.record, expected));
}

TEST(ListParserUnixTest, AFolderHasTheSizeOfItsLine) {
    const Parsed parsed = Parse(UnixLine("    4096 Mar 15  2019 clips\r\n", "drwxr-xr-x   2 user     group"));
    ASSERT_TRUE(parsed.result);
    EXPECT_EQ(parsed.record.dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(parsed.record.nFileSizeLow, 4096U);
    EXPECT_EQ(parsed.Name(), L"clips");
}

TEST(ListParserUnixTest, FoldersForThisAndTheOneAboveAreEntriesLikeOthers) {
    for (const char* name : {".", ".."}) {
        const std::string line =
            UnixLine("    4096 Mar 15  2019 " + std::string(name) + "\r\n", "drwxr-xr-x   2 user     group");
        const Parsed parsed = Parse(line);
        EXPECT_TRUE(parsed.result);
        EXPECT_EQ(parsed.Name(), FromUtf8(name));
    }
}

TEST(ListParserUnixTest, TheSizeIsLookedForFromItsColumn) {
    // A long owner pushes it away, with a blank in the column.
    EXPECT_EQ(Parse(UnixLine("          77 Mar 15  2019 n\r\n")).record.nFileSizeLow, 77U);
    EXPECT_EQ(Parse(UnixLine("77 Mar 15  2019 n\r\n")).record.nFileSizeLow, 77U);
    // The column is in the middle of the size: what is in front of it is lost.
    const std::string inside = "-rw-r--r--   1 user group  12345678 Mar 15  2019 n\r\n";
    ASSERT_EQ(inside.substr(32, 3), "678");
    EXPECT_EQ(Parse(inside).record.nFileSizeLow, 678U);
    // In the middle of the group: the group is taken for the size and the columns behind it slip.
    const Parsed slipped = Parse("-rw-r--r--   1 user     longgroups 5 Mar 15  2019 n\r\n");
    EXPECT_TRUE(slipped.result);
    EXPECT_EQ(slipped.record.nFileSizeLow, 0U);
    EXPECT_EQ(slipped.Ticks(), 0U);
    EXPECT_EQ(slipped.Name(), L" 2019 n");
}

TEST(ListParserUnixTest, ASizeKeepsItsLowBits) {
    const struct {
        const char* field;
        uint32 size;
    } cases[] = {{"0", 0},
                 {"2147483647", 0x7FFFFFFF},
                 {"2147483648", 0x80000000},
                 {"3000000000", 3000000000},
                 {"4294967295", 0xFFFFFFFF},
                 {"4294967296", 0},
                 {"5000000000", 705032704},
                 {"9223372036854775807", 0xFFFFFFFF},
                 {"99999999999999999999", 0xFFFFFFFF},
                 {"-1", 0xFFFFFFFF},
                 {"+12", 12},
                 {"12abc", 12},
                 {"\t12", 12},
                 {"abc", 0},
                 {"0x10", 0}};
    for (const auto& one : cases) {
        const Parsed parsed = Parse(UnixLine(std::string(one.field) + " Mar 15  2019 n\r\n"));
        EXPECT_TRUE(parsed.result) << one.field;
        EXPECT_EQ(parsed.record.nFileSizeLow, one.size) << one.field;
        EXPECT_EQ(parsed.record.nFileSizeHigh, 0U) << one.field;
        EXPECT_EQ(parsed.Name(), L"n") << one.field;
    }
}

TEST(ListParserUnixTest, AMonthIsKnownInAnyMixOfCapitals) {
    const char* const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (unsigned month = 0; month < std::size(months); ++month) {
        for (unsigned capitals = 0; capitals < 8; ++capitals) {
            std::string name = months[month];
            for (unsigned i = 0; i < 3; ++i) {
                const auto letter = static_cast<unsigned>(name[i]);
                name[i] = static_cast<char>((capitals >> i & 1) != 0 ? letter & ~0x20U : letter | 0x20U);
            }
            const Parsed parsed = Parse(UnixLine("1 " + name + " 28  2019 n\r\n"));
            EXPECT_TRUE(parsed.result) << name;
            EXPECT_EQ(parsed.Ticks(), ModelTicks(2019, month + 1, 28, 0, 0)) << name;
        }
    }
}

TEST(ListParserUnixTest, AnyOtherMonthIsJanuary) {
    for (const char* month : {"Foo", "Decem", "De", "Dec.", "12",
                              "D\xC3\xA9"
                              "c",
                              "D\xC5"
                              "c"}) {
        const Parsed parsed = Parse(UnixLine("1 " + std::string(month) + " 31  2019 n\r\n"));
        EXPECT_TRUE(parsed.result) << month;
        EXPECT_EQ(parsed.Ticks(), ModelTicks(2019, 1, 31, 0, 0)) << month;
    }
}

TEST(ListParserUnixTest, AMonthEndsAtAZeroByte) {
    const std::string month("dec\0x", 5);
    EXPECT_EQ(Parse(UnixLine("1 " + month + " 31  2019 n\r\n")).Ticks(), ModelTicks(2019, 12, 31, 0, 0));
}

TEST(ListParserUnixTest, TwoBlanksBehindTheSizeShiftTheColumns) {
    const Parsed parsed = Parse(UnixLine("1024  Feb 5 2019 n\r\n"));
    EXPECT_TRUE(parsed.result);
    EXPECT_EQ(parsed.record.nFileSizeLow, 1024U);
    // No month, which is January; the day "Feb", which is none; the year 5; and what is left.
    EXPECT_EQ(parsed.Ticks(), 0U);
    EXPECT_EQ(parsed.Name(), L"2019 n");
    // With a month that begins with a number the date shows what was read.
    const Parsed dated = Parse(UnixLine("1024  7eb 2019 n m\r\n"));
    EXPECT_EQ(dated.Ticks(), ModelTicks(2019, 1, 7, 0, 0));
    EXPECT_EQ(dated.Name(), L"n m");
}

TEST(ListParserUnixTest, AnyBlanksMayStandAroundTheDay) {
    for (const char* day : {" 5 ", "    5 ", " 5    ", "   5   ", " 05 "}) {
        const Parsed parsed = Parse(UnixLine("1 Mar" + std::string(day) + "2019 n\r\n"));
        EXPECT_EQ(parsed.Ticks(), ModelTicks(2019, 3, 5, 0, 0)) << day;
        EXPECT_EQ(parsed.Name(), L"n") << day;
    }
}

TEST(ListParserUnixTest, ATimeOfDayStandsInTheYearThatItIsNow) {
    const YearScope january(2031);
    EXPECT_EQ(Parse(UnixLine("1 Mar 15 23:59 n\r\n")).Ticks(), ModelTicks(2031, 3, 15, 23, 59));
    EXPECT_EQ(Parse(UnixLine("1 Mar 15 00:00 n\r\n")).Ticks(), ModelTicks(2031, 3, 15, 0, 0));
    // Of a December that is over too.
    EXPECT_EQ(Parse(UnixLine("1 Dec 31 08:05 n\r\n")).Ticks(), ModelTicks(2031, 12, 31, 8, 5));
    // A year is a year.
    EXPECT_EQ(Parse(UnixLine("1 Mar 15  2019 n\r\n")).Ticks(), ModelTicks(2019, 3, 15, 0, 0));
}

TEST(ListParserUnixTest, ATimeOfDayIsTwoCharactersAColonAndTwoCharacters) {
    const YearScope year(2031);
    const struct {
        const char* field;
        unsigned hour;
        unsigned minute;
    } cases[] = {{"12:", 12, 0},      {"12:3", 12, 3},  {"12:34", 12, 34}, {"12:345", 12, 34},
                 {"12:34PM", 12, 34}, {"1x:34", 1, 34}, {"xx:34", 0, 34},  {"12:x4", 12, 0},
                 {"\t7:05", 7, 5},    {"12:+5", 12, 5}};
    for (const auto& one : cases) {
        const Parsed parsed = Parse(UnixLine("1 Mar 15 " + std::string(one.field) + " n\r\n"));
        EXPECT_TRUE(parsed.result) << one.field;
        EXPECT_EQ(parsed.Ticks(), ModelTicks(2031, 3, 15, one.hour, one.minute)) << one.field;
        EXPECT_EQ(parsed.Name(), L"n") << one.field;
    }
    // With its colon at another place it is a year, and none that there is.
    for (const char* field : {"9:15", ":15", "123:4", "2:", "24:00", "12:60"}) {
        const Parsed parsed = Parse(UnixLine("1 Mar 15 " + std::string(field) + " n\r\n"));
        EXPECT_TRUE(parsed.result) << field;
        EXPECT_EQ(parsed.Ticks(), 0U) << field;
    }
}

TEST(ListParserUnixTest, ADateThatIsNoneLeavesTheTimesZero) {
    for (const char* date : {"Nov 31  2019", "Feb 29  2019", "Mar  0  2019", "Mar 32  2019", "Mar 15  1600",
                             "Mar 15 30828", "Mar xx  2019", "Mar 15  none", "Mar -1  2019"}) {
        const Parsed parsed = Parse(UnixLine("7 " + std::string(date) + " n\r\n"));
        EXPECT_TRUE(parsed.result) << date;
        EXPECT_EQ(parsed.record.nFileSizeLow, 7U) << date;
        EXPECT_EQ(TicksOf(parsed.record.ftCreationTime), 0U) << date;
        EXPECT_EQ(TicksOf(parsed.record.ftLastAccessTime), 0U) << date;
        EXPECT_EQ(TicksOf(parsed.record.ftLastWriteTime), 0U) << date;
        EXPECT_EQ(parsed.Name(), L"n") << date;
    }
}

TEST(ListParserUnixTest, NumbersOfADateKeepTheirLow16Bits) {
    EXPECT_EQ(Parse(UnixLine("1 Mar 65551 2019 n\r\n")).Ticks(), ModelTicks(2019, 3, 15, 0, 0));
    EXPECT_EQ(Parse(UnixLine("1 Mar 15 67555 n\r\n")).Ticks(), ModelTicks(2019, 3, 15, 0, 0));
    EXPECT_EQ(Parse(UnixLine("1 Mar 4294967311 2019 n\r\n")).Ticks(), ModelTicks(2019, 3, 15, 0, 0));
    EXPECT_EQ(Parse(UnixLine("1 Mar 99999999999999999999 2019 n\r\n")).Ticks(), 0U);
}

TEST(ListParserUnixTest, ANameBeginsOneByteBehindTheDateAndKeepsItsBlanks) {
    EXPECT_EQ(Parse(UnixLine("1 Mar 15  2019 a\r\n")).Name(), L"a");
    EXPECT_EQ(Parse(UnixLine("1 Mar 15  2019   a\r\n")).Name(), L"  a");
    EXPECT_EQ(Parse(UnixLine("1 Mar 15  2019 a  b c  \r\n")).Name(), L"a  b c  ");
    EXPECT_EQ(Parse(UnixLine("1 Mar 15  2019 a\tb\r\n")).Name(), L"a\tb");
}

TEST(ListParserUnixTest, ANameEndsAtTheFirstCarriageReturn) {
    EXPECT_EQ(Parse(UnixLine("1 Mar 15  2019 a\rb\r\n")).Name(), L"a");
    EXPECT_EQ(Parse(UnixLine("1 Mar 15  2019 a\r")).Name(), L"a");
    const Parsed nameless = Parse(UnixLine("1 Mar 15  2019 \r\n"));
    EXPECT_TRUE(nameless.result);
    EXPECT_EQ(nameless.Name(), L"");
    EXPECT_EQ(nameless.Ticks(), ModelTicks(2019, 3, 15, 0, 0));
}

TEST(ListParserUnixTest, ALineThatEndsInALineFeedAloneIsAFailure) {
    const Parsed parsed = Parse(UnixLine("1024 Mar 15  2019 clip.mxf\n"));
    EXPECT_FALSE(parsed.result);
    // What was read up to there.
    WIN32_FIND_DATAW expected = {};
    expected.dwFileAttributes = FILE_ATTRIBUTE_NORMAL;
    expected.nFileSizeLow = 1024;
    EXPECT_TRUE(IsSame(parsed.record, expected));
}

TEST(ListParserUnixTest, ALineThatEndsInAFieldIsAFailure) {
    for (const char* rest :
         {"", "   ", "12", "12 ", "12 Mar", "12 Mar ", "12 Mar  ", "12 Mar 15", "12 Mar 15 ",
          "12 Mar 15 12:3", "12 Mar 15 2019", "12 Mar 15 2019 ", "12 Mar 15 2019 n"}) {
        EXPECT_FALSE(Parse(UnixLine(rest)).result) << rest;
    }
    EXPECT_FALSE(Parse("d").result);
    EXPECT_FALSE(Parse("-\r\n").result);
    EXPECT_FALSE(Parse("-rw-r--r-- 1 u g 5 Mar 15 2019\r\n").result);
}

TEST(ListParserUnixTest, ANameIsUtf8AndItsOtherBytesSurvive) {
    EXPECT_EQ(Parse(UnixLine("1 Mar 15  2019 \xC3\xA4\xE2\x82\xAC.mxf\r\n")).Name(), L"\u00E4\u20AC.mxf");
    // Latin-1, a cut sequence, a byte that is never UTF-8.
    for (const char* name : {"\xE4.mxf", "a\xE2\x82", "\xFF\xFE", "\xF0\x9F\x8E"}) {
        const Parsed parsed = Parse(UnixLine("1 Mar 15  2019 " + std::string(name) + "\r\n"));
        EXPECT_TRUE(parsed.result);
        EXPECT_EQ(ToUtf8(parsed.Name()), name);
    }
}

TEST(ListParserUnixTest, ANameEndsAtAZeroByte) {
    const Parsed parsed = Parse(UnixLine(std::string("1 Mar 15  2019 ab\0cd\r\n", 22)));
    EXPECT_TRUE(parsed.result);
    EXPECT_EQ(parsed.Name(), L"ab");
    for (const wchar_t c :
         std::wstring_view(parsed.record.cFileName + 2, std::size(parsed.record.cFileName) - 2)) {
        ASSERT_EQ(c, L'\0');
    }
}

TEST(ListParserUnixTest, ANameStaysTerminatedHoweverLongItIs) {
    const std::string head = UnixLine("1 Mar 15  2019 ");
    for (const std::size_t length : {210U, 258U, 259U, 260U, 261U, 1000U}) {
        const Parsed parsed = Parse(head + std::string(length, 'x') + "\r\n");
        EXPECT_TRUE(parsed.result) << length;
        EXPECT_EQ(parsed.record.cFileName[std::size(parsed.record.cFileName) - 1], L'\0') << length;
        EXPECT_EQ(std::wstring_view(parsed.record.cFileName).size(), std::min<std::size_t>(length, 259));
    }
    // The longest that comes in one line: nothing of it is lost.
    const std::string name(kListLineMost - head.size() - 1, 'y');
    EXPECT_EQ(Parse(head + name + "\r").Name(), FromUtf8(name));
}
