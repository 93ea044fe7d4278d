// Lines of the DOS shape.
#include "ftp/ListParsing.h"

#include "text/Utf8.h"

#include <gtest/gtest.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

// With the date and time given, of a file of 77 bytes.
Parsed ParseDate(const std::string& date) {
    return Parse(date + "                   77 n\r\n");
}

} // namespace

TEST(ListParserDosTest, AFileHasItsFieldsAndZerosBesides) {
    const Parsed parsed = Parse("03-15-19  01:45PM             16777216 clip one.mxf\r\n");
    ASSERT_EQ(parsed.shape, ListShape::Dos);
    ASSERT_TRUE(parsed.result);
    WIN32_FIND_DATAW expected = {};
    expected.dwFileAttributes = FILE_ATTRIBUTE_NORMAL;
    expected.nFileSizeLow = 16777216;
    const uint64 ticks = ModelTicks(2019, 3, 15, 13, 45);
    expected.ftCreationTime = {static_cast<uint32>(ticks), static_cast<uint32>(ticks >> 32)};
    expected.ftLastAccessTime = expected.ftCreationTime;
    expected.ftLastWriteTime = expected.ftCreationTime;
    const std::wstring name = L"clip one.mxf";
    std::copy(name.begin(), name.end(), expected.cFileName);
    EXPECT_TRUE(IsSame(parsed.record, expected));
}

TEST(ListParserDosTest, AFolderHasNoSize) {
    for (const char* mark : {"<DIR>", "<DIR>12", "<DIR>>"}) {
        const Parsed parsed = Parse("03-15-19  01:45PM       " + std::string(mark) + "          clips\r\n");
        EXPECT_TRUE(parsed.result) << mark;
        EXPECT_EQ(parsed.record.dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY) << mark;
        EXPECT_EQ(parsed.record.nFileSizeLow, 0U) << mark;
        EXPECT_EQ(parsed.Name(), L"clips") << mark;
    }
}

TEST(ListParserDosTest, OnlyTheMarkInCapitalsMakesAFolder) {
    for (const char* mark : {"<dir>", "<DIR", "x<DIR>", "DIR"}) {
        const Parsed parsed = Parse("03-15-19  01:45PM       " + std::string(mark) + "          clips\r\n");
        EXPECT_TRUE(parsed.result) << mark;
        EXPECT_EQ(parsed.record.dwFileAttributes, FILE_ATTRIBUTE_NORMAL) << mark;
        EXPECT_EQ(parsed.record.nFileSizeLow, 0U) << mark;
    }
}

TEST(ListParserDosTest, AYearBelow80IsOneOfThisCentury) {
    EXPECT_EQ(ParseDate("12-31-99  11:59PM").Ticks(), ModelTicks(1999, 12, 31, 23, 59));
    EXPECT_EQ(ParseDate("01-01-79  01:00AM").Ticks(), ModelTicks(2079, 1, 1, 1, 0));
    EXPECT_EQ(ParseDate("01-01-80  01:00AM").Ticks(), ModelTicks(1980, 1, 1, 1, 0));
    EXPECT_EQ(ParseDate("01-01-00  01:00AM").Ticks(), ModelTicks(2000, 1, 1, 1, 0));
    EXPECT_EQ(ParseDate("01-01- 7  01:00AM").Ticks(), ModelTicks(2007, 1, 1, 1, 0));
    EXPECT_EQ(ParseDate("01-01-xx  01:00AM").Ticks(), ModelTicks(2000, 1, 1, 1, 0));
    EXPECT_EQ(ParseDate("01-01--1  01:00AM").Ticks(), ModelTicks(1999, 1, 1, 1, 0));
}

TEST(ListParserDosTest, AfternoonsAdd12ToTheHour) {
    EXPECT_EQ(ParseDate("03-15-19  11:00AM").Ticks(), ModelTicks(2019, 3, 15, 11, 0));
    EXPECT_EQ(ParseDate("03-15-19  01:00PM").Ticks(), ModelTicks(2019, 3, 15, 13, 0));
    EXPECT_EQ(ParseDate("03-15-19  11:59PM").Ticks(), ModelTicks(2019, 3, 15, 23, 59));
    EXPECT_EQ(ParseDate("03-15-19  00:00PM").Ticks(), ModelTicks(2019, 3, 15, 12, 0));
    // The hour 12 is what it says in the morning, and becomes one that there is not in the afternoon.
    EXPECT_EQ(ParseDate("03-15-19  12:30AM").Ticks(), ModelTicks(2019, 3, 15, 12, 30));
    const Parsed noon = ParseDate("03-15-19  12:30PM");
    EXPECT_TRUE(noon.result);
    EXPECT_EQ(noon.Ticks(), 0U);
    EXPECT_EQ(noon.record.nFileSizeLow, 77U);
    EXPECT_EQ(noon.Name(), L"n");
}

TEST(ListParserDosTest, OnlyCapitalsAreAnAfternoon) {
    for (const char* mark : {"pm", "Pm", "P ", "xM", "AM", "  "}) {
        EXPECT_EQ(ParseDate("03-15-19  01:00" + std::string(mark)).Ticks(), ModelTicks(2019, 3, 15, 1, 0))
            << mark;
    }
}

TEST(ListParserDosTest, AnHourIsWhatStandsBeforeTheColon) {
    EXPECT_EQ(ParseDate("03-15-19  1:00AM").Ticks(), ModelTicks(2019, 3, 15, 1, 0));
    EXPECT_EQ(ParseDate("03-15-19        1:00AM").Ticks(), ModelTicks(2019, 3, 15, 1, 0));
    EXPECT_EQ(ParseDate("03-15-19  0000013:00AM").Ticks(), ModelTicks(2019, 3, 15, 13, 0));
    EXPECT_EQ(ParseDate("03-15-19  7 o'clock:00AM").Ticks(), ModelTicks(2019, 3, 15, 7, 0));
    // From the ninth byte on, whatever that is.
    EXPECT_EQ(ParseDate("03-15-195 :00AM").Ticks(), ModelTicks(2019, 3, 15, 5, 0));
    EXPECT_EQ(ParseDate("03-15-19  24:00AM").Ticks(), 0U);
    EXPECT_EQ(ParseDate("03-15-19  65540:00AM").Ticks(), ModelTicks(2019, 3, 15, 4, 0));
}

TEST(ListParserDosTest, ADayIsReadInItsColumns) {
    EXPECT_EQ(ParseDate("02-29-20  01:00AM").Ticks(), ModelTicks(2020, 2, 29, 1, 0));
    EXPECT_EQ(ParseDate(" 2- 9-20  01:00AM").Ticks(), ModelTicks(2020, 2, 9, 1, 0));
    for (const char* date :
         {"02-29-19", "11-31-19", "00-10-19", "13-10-19", "10-00-19", "10-32-19", "xx-10-19"}) {
        const Parsed parsed = ParseDate(std::string(date) + "  01:00AM");
        EXPECT_TRUE(parsed.result) << date;
        EXPECT_EQ(parsed.Ticks(), 0U) << date;
        EXPECT_EQ(parsed.Name(), L"n") << date;
    }
    EXPECT_EQ(ParseDate("03-15-19  01:60AM").Ticks(), 0U);
}

TEST(ListParserDosTest, TwoBytesBehindTheMinuteAreNotPartOfTheSize) {
    EXPECT_EQ(Parse("03-15-19  23:59  123 n\r\n").record.nFileSizeLow, 123U);
    // A blank and a digit go in place of AM or PM.
    EXPECT_EQ(Parse("03-15-19  23:59 123 n\r\n").record.nFileSizeLow, 23U);
    EXPECT_EQ(Parse("03-15-19  23:59AM123 n\r\n").record.nFileSizeLow, 123U);
    EXPECT_EQ(Parse("03-15-19  23:59 123 n\r\n").Ticks(), ModelTicks(2019, 3, 15, 23, 59));
}

TEST(ListParserDosTest, ASizeKeepsItsLowBits) {
    EXPECT_EQ(Parse("03-15-19  01:45PM           4294967295 n\r\n").record.nFileSizeLow, 0xFFFFFFFFU);
    EXPECT_EQ(Parse("03-15-19  01:45PM           5000000000 n\r\n").record.nFileSizeLow, 705032704U);
    EXPECT_EQ(Parse("03-15-19  01:45PM           5000000000 n\r\n").record.nFileSizeHigh, 0U);
    EXPECT_EQ(Parse("03-15-19  01:45PM           12,345 n\r\n").record.nFileSizeLow, 12U);
}

TEST(ListParserDosTest, ANameHasNoBlanksInFrontAndKeepsTheOthers) {
    EXPECT_EQ(Parse("03-15-19  01:45PM  5 n\r\n").Name(), L"n");
    EXPECT_EQ(Parse("03-15-19  01:45PM  5      n  m \r\n").Name(), L"n  m ");
    EXPECT_EQ(Parse("03-15-19  01:45PM  5 n\rm\r\n").Name(), L"n");
    EXPECT_EQ(Parse("03-15-19  01:45PM  5 \xC3\xA4\xFF\r\n").Name(), FromUtf8("\xC3\xA4\xFF"));
    const Parsed nameless = Parse("03-15-19  01:45PM  5 \r\n");
    EXPECT_TRUE(nameless.result);
    EXPECT_EQ(nameless.Name(), L"");
}

TEST(ListParserDosTest, ALineThatEndsInAFieldIsAFailure) {
    for (const char* line :
         {"03-15-19  ", "03-15-19  01", "03-15-19  01:", "03-15-19  01:4", "03-15-19  01:45",
          "03-15-19  01:45P", "03-15-19  01:45PM", "03-15-19  01:45PM  ", "03-15-19  01:45PM  5",
          "03-15-19  01:45PM  5 ", "03-15-19  01:45PM  5   ", "03-15-19  01:45PM  5 n",
          "03-15-19  01:45PM  5 n\n"}) {
        EXPECT_FALSE(Parse(line).result) << line;
    }
    // As far as it was read.
    const Parsed cut = Parse("03-15-19  01:45PM  5 n\n");
    EXPECT_EQ(cut.record.dwFileAttributes, FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(cut.record.nFileSizeLow, 5U);
    EXPECT_EQ(cut.Ticks(), 0U);
    EXPECT_EQ(cut.Name(), L"");
    EXPECT_EQ(Parse("03-15-19  01:45PM  5").record.dwFileAttributes, 0U);
}

TEST(ListParserDosTest, ALineThatIsTooShortForItsColumnsIsAFailure) {
    // Such a line has no shape; who asks for one all the same reads nothing behind it.
    const std::string line = "03-15-19  01:45PM";
    for (std::size_t length = 0; length < 10; ++length) {
        EXPECT_FALSE(ParseAs(ListShape::Dos, line.substr(0, length)).result) << length;
        EXPECT_FALSE(ParseAs(ListShape::UnixFile, line.substr(0, length)).result) << length;
    }
}
