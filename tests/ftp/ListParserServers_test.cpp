// Lines as servers send them, whole and cut.
#include "ftp/ListParsing.h"

#include "text/Utf8.h"

#include <gtest/gtest.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kYearNow = 2026;

struct Listed {
    const char* server;
    const char* line;
    ListShape shape;
    uint32 size;
    uint64 ticks;
    const char* name;
};

const Listed kListed[] = {
    {"vsftpd", "drwxr-xr-x    2 ftp      ftp          4096 Mar 10  2015 pub\r\n", ListShape::UnixFolder, 4096,
     ModelTicks(2015, 3, 10, 0, 0), "pub"},
    {"vsftpd", "-rw-r--r--    1 1000     1000     16777216 Jun 01 09:05 clip one.mxf\r\n",
     ListShape::UnixFile, 16777216, ModelTicks(kYearNow, 6, 1, 9, 5), "clip one.mxf"},
    {"vsftpd", "-rw-------    1 0        0               0 Dec 31 23:59 empty\r\n", ListShape::UnixFile, 0,
     ModelTicks(kYearNow, 12, 31, 23, 59), "empty"},
    {"vsftpd", "-rw-r--r--    1 1000     1000     3221225472 Jan 01  2020 three.gib\r\n", ListShape::UnixFile,
     3221225472, ModelTicks(2020, 1, 1, 0, 0), "three.gib"},
    {"ProFTPD", "drwxr-xr-x   3 media    media        4096 Sep  7 14:20 clips\r\n", ListShape::UnixFolder,
     4096, ModelTicks(kYearNow, 9, 7, 14, 20), "clips"},
    {"ProFTPD", "-rw-r--r--   1 media    nogroup      1024 Feb 29  2020 leap.bin\r\n", ListShape::UnixFile,
     1024, ModelTicks(2020, 2, 29, 0, 0), "leap.bin"},
    {"ProFTPD", "-rw-r--r--   1 root     root     123456789012 Aug 20  2018 huge\r\n", ListShape::UnixFile,
     static_cast<uint32>(123456789012 & 0xFFFFFFFF), ModelTicks(2018, 8, 20, 0, 0), "huge"},
    {"Pure-FTPd", "drwxr-xr-x    2 1000       1000             4096 Nov  3 00:00 .\r\n",
     ListShape::UnixFolder, 4096, ModelTicks(kYearNow, 11, 3, 0, 0), "."},
    {"Pure-FTPd", "drwxr-xr-x    2 1000       1000             4096 Nov  3 00:00 ..\r\n",
     ListShape::UnixFolder, 4096, ModelTicks(kYearNow, 11, 3, 0, 0), ".."},
    {"Pure-FTPd",
     "-rw-r--r--    1 media      users        10485760 Oct 12 07:08 \xC3\xA4\xC3\xB6\xC3\xBC.mxf\r\n",
     ListShape::UnixFile, 10485760, ModelTicks(kYearNow, 10, 12, 7, 8), "\xC3\xA4\xC3\xB6\xC3\xBC.mxf"},
    // The group reaches over the column of the size, and everything slips.
    {"Pure-FTPd", "-rw-r--r--    1 media      nogroup          1024 Oct 12 07:08 clip.mxf\r\n",
     ListShape::UnixFile, 0, 0, "12 07:08 clip.mxf"},
    {"pyftpdlib", "drwxrwxr-x   2 media    media        4096 Apr 18 18:30 new folder\r\n",
     ListShape::UnixFolder, 4096, ModelTicks(kYearNow, 4, 18, 18, 30), "new folder"},
    {"pyftpdlib", "-rw-rw-r--   1 media    media          77 May 05  2017 Latin\xE9.txt\r\n",
     ListShape::UnixFile, 77, ModelTicks(2017, 5, 5, 0, 0), "Latin\xE9.txt"},
    {"IIS", "02-11-24  03:15PM       <DIR>          aspnet_client\r\n", ListShape::Dos, 0,
     ModelTicks(2024, 2, 11, 15, 15), "aspnet_client"},
    {"IIS", "12-31-99  11:59PM                  689 iis start.htm\r\n", ListShape::Dos, 689,
     ModelTicks(1999, 12, 31, 23, 59), "iis start.htm"},
    {"IIS", "07-04-19  12:30PM             98757632 noon.mxf\r\n", ListShape::Dos, 98757632, 0, "noon.mxf"},
    {"IIS", "07-04-19  12:30AM           3221225472 night.mxf\r\n", ListShape::Dos, 3221225472,
     ModelTicks(2019, 7, 4, 12, 30), "night.mxf"},
};

class ListParserServersTest : public testing::Test {
protected:
    const YearScope m_year{kYearNow};
};

} // namespace

TEST_F(ListParserServersTest, LinesOfKnownServersAreRead) {
    for (const Listed& one : kListed) {
        SCOPED_TRACE(std::string(one.server) + ": " + one.line);
        const Parsed parsed = Parse(one.line);
        EXPECT_EQ(parsed.shape, one.shape);
        EXPECT_TRUE(parsed.result);
        const bool folder = one.shape == ListShape::UnixFolder ||
                            std::string_view(one.line).find("<DIR>") != std::string_view::npos;
        EXPECT_EQ(parsed.record.dwFileAttributes, folder ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL);
        EXPECT_EQ(parsed.record.nFileSizeLow, one.size);
        EXPECT_EQ(parsed.record.nFileSizeHigh, 0U);
        EXPECT_EQ(parsed.Ticks(), one.ticks);
        EXPECT_EQ(ToUtf8(parsed.Name()), one.name);
    }
}

TEST_F(ListParserServersTest, ALineIsAnEntryFromItsCarriageReturnOn) {
    for (const Listed& one : kListed) {
        const std::string line = one.line;
        const Parsed whole = Parse(line);
        for (std::size_t length = 0; length < line.size(); ++length) {
            SCOPED_TRACE(std::string(one.server) + ": " + line.substr(0, length));
            const Parsed cut = Parse(line.substr(0, length));
            EXPECT_EQ(cut.result, length + 1 == line.size());
            if (cut.result) {
                EXPECT_TRUE(IsSame(cut.record, whole.record));
            } else {
                EXPECT_EQ(cut.Ticks(), 0U);
                EXPECT_EQ(cut.Name(), L"");
            }
        }
    }
}

TEST_F(ListParserServersTest, WithLineFeedsAloneNoLineIsAnEntry) {
    for (const Listed& one : kListed) {
        std::string line = one.line;
        line.erase(line.find('\r'), 1);
        const Parsed parsed = Parse(line);
        EXPECT_EQ(parsed.shape, one.shape) << one.line;
        EXPECT_FALSE(parsed.result) << one.line;
    }
}

TEST_F(ListParserServersTest, OtherLinesOfServersAreDropped) {
    for (const char* line :
         {"total 12\r\n", "lrwxrwxrwx    1 0        0               7 Mar 10  2015 latest -> pub/new\r\n",
          "srwxr-xr-x   1 media    media           0 Sep  7 14:20 socket\r\n",
          "prw-r--r--   1 media    media           0 Sep  7 14:20 pipe\r\n", "\r\n",
          "ls: cannot open directory\r\n"}) {
        EXPECT_EQ(Parse(line).shape, ListShape::None) << line;
        EXPECT_FALSE(Parse(line).result) << line;
    }
}
