// Which lines of a listing are entries, and of which shape.
#include "ftp/ListParsing.h"

#include <gtest/gtest.h>

using namespace vxcio;
using namespace vxcio::test;

TEST(ListParserTest, TheFirstByteTellsTheUnixShape) {
    EXPECT_EQ(ShapeOfLine("drwxr-xr-x   2 user"), ListShape::UnixFolder);
    EXPECT_EQ(ShapeOfLine("-rw-r--r--   1 user"), ListShape::UnixFile);
    EXPECT_EQ(ShapeOfLine("d"), ListShape::UnixFolder);
    EXPECT_EQ(ShapeOfLine("-"), ListShape::UnixFile);
    EXPECT_EQ(ShapeOfLine("D"), ListShape::None);
    // Although it looks like the other shape from its third byte on.
    EXPECT_EQ(ShapeOfLine("-1-23-24  01:30PM"), ListShape::UnixFile);
    EXPECT_EQ(ShapeOfLine("d1-23-24  01:30PM"), ListShape::UnixFolder);
}

TEST(ListParserTest, TwoDashesAndABlankTellTheDosShape) {
    EXPECT_EQ(ShapeOfLine("01-23-24  01:30PM"), ListShape::Dos);
    EXPECT_EQ(ShapeOfLine("xx-xx-xxx "), ListShape::Dos);
    EXPECT_EQ(ShapeOfLine("01/23-24  01:30PM"), ListShape::None);
    EXPECT_EQ(ShapeOfLine("01-23/24  01:30PM"), ListShape::None);
    EXPECT_EQ(ShapeOfLine("01-23-24 01:30PM"), ListShape::None);
    EXPECT_EQ(ShapeOfLine("01-23-2024  01:30PM"), ListShape::None);
}

TEST(ListParserTest, ALineThatIsShorterThanItsShapeIsReadNoFurther) {
    const std::string line = "01-23-24  01:30PM";
    for (std::size_t length = 0; length < line.size(); ++length) {
        const ExactLine exact(line.substr(0, length));
        EXPECT_EQ(ShapeOfLine(exact.View()), length < 10 ? ListShape::None : ListShape::Dos) << length;
    }
}

TEST(ListParserTest, TotalsLinksAndBlankLinesAreNoEntries) {
    for (const char* line : {"", "\n", "\r\n", " ", "total 4\r\n",
                             "lrwxrwxrwx   1 user     group           4 Jan  1 12:00 a -> b\r\n",
                             "brw-rw----   1 root     disk       8,   0 Jan  1 12:00 sda\r\n",
                             "+i8388621.29609,m824255902,/,\tdev\r\n"}) {
        EXPECT_EQ(ShapeOfLine(line), ListShape::None) << line;
        const Parsed parsed = Parse(line);
        EXPECT_FALSE(parsed.result) << line;
        EXPECT_TRUE(IsSame(parsed.record, WIN32_FIND_DATAW())) << line;
    }
}
