// What a listing hands out, entry by entry, for whatever stands in it.
#include "ftp/BrowseFixture.h"

#include <chrono>
#include <cstring>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr uint32 kFolder = FILE_ATTRIBUTE_DIRECTORY;
constexpr uint32 kFile = FILE_ATTRIBUTE_NORMAL;

// 100 ns since 1601.
uint64 TimeOf(int year, unsigned month, unsigned day, int hour = 0, int minute = 0) {
    using namespace std::chrono;
    const auto since = [](const year_month_day& date) { return sys_days(date).time_since_epoch().count(); };
    const auto days = since(std::chrono::year(year) / static_cast<int>(month) / static_cast<int>(day)) -
                      since(std::chrono::year(1601) / 1 / 1);
    return (static_cast<uint64>(days) * 1440 + static_cast<uint64>(hour * 60 + minute)) * 60 * 10'000'000;
}

struct Entry {
    uint32 attributes;
    uint32 size;
    uint64 time;
    std::wstring name;

    bool operator==(const Entry&) const = default;
};
void PrintTo(const Entry& entry, std::ostream* out) {
    *out << entry.attributes << ' ' << entry.size << ' ' << entry.time << ' '
         << ::testing::PrintToString(entry.name);
}

Entry EntryOf(const WIN32_FIND_DATAW& record) {
    const FILETIME& time = record.ftLastWriteTime;
    EXPECT_EQ(record.ftCreationTime.dwLowDateTime, time.dwLowDateTime);
    EXPECT_EQ(record.ftCreationTime.dwHighDateTime, time.dwHighDateTime);
    EXPECT_EQ(record.ftLastAccessTime.dwLowDateTime, time.dwLowDateTime);
    EXPECT_EQ(record.ftLastAccessTime.dwHighDateTime, time.dwHighDateTime);
    EXPECT_EQ(record.nFileSizeHigh, 0U);
    EXPECT_EQ(record.dwReserved0, 0U);
    EXPECT_EQ(record.dwReserved1, 0U);
    EXPECT_EQ(record.cAlternateFileName[0], L'\0');
    return {record.dwFileAttributes, record.nFileSizeLow,
            uint64{time.dwHighDateTime} << 32 | time.dwLowDateTime, record.cFileName};
}

class FtpListingEntriesTest : public SessionTest<CSoftDataIO> {
protected:
    FtpListingEntriesTest() {
        UtcClock().year = [] { return 2026; };
        ftp.Logon("u", "p").Expect("NOOP").Say("200 ok").Expect("CWD /x").Say("250 there").Passive();
        ftp.Expect("LIST ").AcceptData().Say("150 here");
    }

    // Opens a listing that consists of these bytes.
    void List(const std::string& bytes) {
        ftp.DSend(bytes).DFin();
        Begin();
    }
    void Begin() {
        Connect();
        ASSERT_EQ(io.SetFindPath(L"/x"), 1);
    }
    // The record has been used before.
    int Next() {
        std::memset(static_cast<void*>(&record), 0xEE, sizeof record);
        return io.FindNextFile1(&record);
    }
    std::vector<Entry> All() {
        std::vector<Entry> entries;
        while (Next() != 0) {
            entries.push_back(EntryOf(record));
        }
        return entries;
    }
    std::vector<std::wstring> Names() {
        std::vector<std::wstring> names;
        for (const Entry& entry : All()) {
            names.push_back(entry.name);
        }
        return names;
    }

    WIN32_FIND_DATAW record;
};

// A line of the Unix shape with its end.
std::string Unix(const std::string& name, const char* size = "      5", char kind = '-') {
    return kind + std::string("rw-r--r--    1 1000     1000      ") + size + " Nov 22  2020 " + name + "\r\n";
}

constexpr const wchar_t* kEnd = L" Can't get data from ftp sever , dada transfer end !\n";

} // namespace

// ---- Lines as servers send them ----

TEST_F(FtpListingEntriesTest, ALinuxServersLinesWithNames) {
    List("drwxr-xr-x    2 ftp      ftp          4096 Mar 01 10:20 sub\r\n"
         "-rw-r--r--    1 ftp      ftp             0 Dec 31  1999 empty file.mxf\r\n"
         "-rw-r--r--    1 ftp      ftp      3000000000 Feb 29  2024 \xC3\xA4\xE2\x82\xAC\r\n");
    EXPECT_THAT(All(), ElementsAre(Entry{kFolder, 4096, TimeOf(2026, 3, 1, 10, 20), L"sub"},
                                   Entry{kFile, 0, TimeOf(1999, 12, 31), L"empty file.mxf"},
                                   Entry{kFile, 3000000000U, TimeOf(2024, 2, 29), L"\u00E4\u20AC"}));
}

TEST_F(FtpListingEntriesTest, OtherServersLines) {
    List("-rw-r--r--   1 root     root            5 Nov 22 01:02 a\r\n"
         "drwxr-xr-x   2 root     root         4096 nov  2 23:59 b\r\n"
         "-rw-r--r--    1 1000       1000                7 JAN 22 00:00 c\r\n");
    EXPECT_THAT(All(), ElementsAre(Entry{kFile, 5, TimeOf(2026, 11, 22, 1, 2), L"a"},
                                   Entry{kFolder, 4096, TimeOf(2026, 11, 2, 23, 59), L"b"},
                                   Entry{kFile, 7, TimeOf(2026, 1, 22), L"c"}));
}

TEST_F(FtpListingEntriesTest, AWindowsServersLines) {
    List("11-22-26  01:02PM       <DIR>          sub folder\r\n"
         "12-31-99  11:59PM                12345 old.mxf\r\n"
         "01-01-79  12:30AM                    1 young\r\n"
         "01-01-80  12:30PM                    2 at noon\r\n");
    EXPECT_THAT(All(), ElementsAre(Entry{kFolder, 0, TimeOf(2026, 11, 22, 13, 2), L"sub folder"},
                                   Entry{kFile, 12345, TimeOf(1999, 12, 31, 23, 59), L"old.mxf"},
                                   Entry{kFile, 1, TimeOf(2079, 1, 1, 12, 30), L"young"},
                                   Entry{kFile, 2, 0, L"at noon"}));
}

TEST_F(FtpListingEntriesTest, ALongGroupPushesTheSizeIntoTheName) {
    List("-rw-r--r--    1 1000       nogroup            5 Nov 22 01:02 file\r\n");
    EXPECT_THAT(All(), ElementsAre(Entry{kFile, 0, 0, L"22 01:02 file"}));
}

TEST_F(FtpListingEntriesTest, OfASizeThatBeginsTooEarlyTheLastDigitsCount) {
    List("-rw-r--r--    1 owner  group  123456 Nov 22  2020 file\r\n"
         "-rw-r--r--    1 a-longer-owner         77 Nov 22  2020 other\r\n");
    EXPECT_THAT(All(), ElementsAre(Entry{kFile, 3456, TimeOf(2020, 11, 22), L"file"},
                                   Entry{kFile, 77, TimeOf(2020, 11, 22), L"other"}));
}

TEST_F(FtpListingEntriesTest, TheMonthIsReadInAnyCaseAndOneThatIsNoneIsTheFirst) {
    List("-rw-r--r--    1 1000     1000            5 dEC 22  2020 a\r\n"
         "-rw-r--r--    1 1000     1000            5 Mai 22  2020 b\r\n"
         "-rw-r--r--    1 1000     1000            5 Feb 30  2020 c\r\n");
    EXPECT_THAT(All(), ElementsAre(Entry{kFile, 5, TimeOf(2020, 12, 22), L"a"},
                                   Entry{kFile, 5, TimeOf(2020, 1, 22), L"b"}, Entry{kFile, 5, 0, L"c"}));
}

// Between size and month stands one blank. With two the month is empty, and each field is that before it.
TEST_F(FtpListingEntriesTest, AWiderGapBehindTheSizeShiftsTheFields) {
    List("-rw-r--r--    1 1000     1000            5  Nov 22 01:02 file\r\n");
    EXPECT_THAT(All(), ElementsAre(Entry{kFile, 5, 0, L"01:02 file"}));
}

TEST_F(FtpListingEntriesTest, TheFoldersOfEachFolderAreHandedOutToo) {
    List(Unix(".", "   4096", 'd') + Unix("..", "   4096", 'd'));
    EXPECT_THAT(Names(), ElementsAre(L".", L".."));
}

TEST_F(FtpListingEntriesTest, LinesThatAreNoEntriesAreDropped) {
    List("total 4\r\n\r\n\nlrwxrwxrwx    1 1000     1000            5 Nov 22  2020 link -> file\r\n"
         "11-22-2026  01:02PM                12345 four.digits\r\n" +
         Unix("file") + "-\xFF\r\n");
    EXPECT_THAT(Names(), ElementsAre(L"file"));
}

TEST_F(FtpListingEntriesTest, NamesThatAreNoTextGoBackByteForByte) {
    List(Unix("a\xFF\xC3"));
    ASSERT_EQ(Next(), 1);
    const std::wstring name = record.cFileName;
    ftp.Expect(std::string("DELE a\xFF\xC3")).Say("250 gone");
    EXPECT_EQ(io.DeleteFile1(name.c_str()), 1);
}

// ---- Where a line ends ----

TEST_F(FtpListingEntriesTest, ALineWithoutACrGivesNothingButTheNextCallGoesOn) {
    List("-rw-r--r--    1 1000     1000            5 Nov 22  2020 a\n" + Unix("b") +
         "11-22-26  01:02PM                12345 c\n");
    EXPECT_EQ(Next(), 0);
    EXPECT_EQ(Next(), 1);
    EXPECT_STREQ(record.cFileName, L"b");
    EXPECT_EQ(Next(), 0);
    EXPECT_EQ(Next(), 0);
}

TEST_F(FtpListingEntriesTest, AShortEntryGivesNothingButTheNextCallGoesOn) {
    for (const char* const line :
         {"d\r\n", "-\r\n", "drwxr-xr-x\r\n", "-rw-r--r--    1 1000     1000       \r\n"}) {
        ftp.DSend(line);
    }
    ftp.DSend(Unix("b")).DFin();
    Begin();
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(Next(), 0) << i;
    }
    EXPECT_EQ(Next(), 1);
    EXPECT_STREQ(record.cFileName, L"b");
}

TEST_F(FtpListingEntriesTest, ALineWithoutAnEndIsNeverHandedOut) {
    List(Unix("a") + "-rw-r--r--    1 1000     1000            5 Nov 22  2020 b\r");
    EXPECT_THAT(Names(), ElementsAre(L"a"));
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(FtpListingEntriesTest, ALineOf260BytesIsWhole) {
    const std::size_t head = Unix("").size();
    const std::string name(260 - head, 'n');
    List(Unix(name) + Unix("b"));
    EXPECT_THAT(Names(), ElementsAre(std::wstring(name.begin(), name.end()), L"b"));
}

TEST_F(FtpListingEntriesTest, ALongerLineIsCutAndItsRestIsALine) {
    const std::size_t head = Unix("").size();
    const std::string fill(260 - head + 2, 'n'); // up to where it is cut
    List(Unix(fill + "x" + Unix("not an entry").substr(0, 40)) + Unix(fill + Unix("an entry of its own")) +
         Unix("b"));
    EXPECT_EQ(Next(), 0) << "has no CR";
    EXPECT_EQ(Next(), 0) << "the same of the next; the rest in between is dropped";
    EXPECT_EQ(Next(), 1);
    EXPECT_STREQ(record.cFileName, L"an entry of its own");
    EXPECT_EQ(Next(), 1);
    EXPECT_STREQ(record.cFileName, L"b");
    EXPECT_EQ(Next(), 0);
}

// ---- Where the data end ----

TEST_F(FtpListingEntriesTest, AnEmptyFolderEndsAtOnce) {
    List("");
    LogCapture log;
    EXPECT_EQ(Next(), 0);
    EXPECT_THAT(log.Lines(), ElementsAre(Traced(kEnd)));
    EXPECT_EQ(inner.Info(), kEnd);
    EXPECT_EQ(record.dwFileAttributes, 0U);
    EXPECT_EQ(record.cFileName[0], L'\0');
    EXPECT_EQ(Next(), 0) << "and again";
    EXPECT_EQ(log.Count(kEnd), 2U);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(FtpListingEntriesTest, TheEndIsLoggedWhenTheDataCameNotWhenTheyAreUsedUp) {
    List(Unix("a") + Unix("b"));
    LogCapture log;
    EXPECT_EQ(Next(), 1);
    EXPECT_THAT(log.Lines(), ElementsAre(Traced(kEnd)));
    EXPECT_EQ(Next(), 1);
    EXPECT_EQ(log.Count(kEnd), 1U);
    EXPECT_EQ(Next(), 0);
    EXPECT_EQ(log.Count(kEnd), 2U);
}

TEST_F(FtpListingEntriesTest, AResetAtTheStartIsAnEmptyListing) {
    ftp.DRst();
    Begin();
    LogCapture log;
    EXPECT_EQ(Next(), 0);
    EXPECT_EQ(Next(), 0);
    EXPECT_TRUE(log.Contains(L"CFTPSocket:: recv() err: WSAGetLastError() = 10054 \n"));
    EXPECT_EQ(inner.Info(), kEnd);
    EXPECT_EQ(inner->m_DataChannel->m_nErr, kSocketReset);
}

// A failure counts as -1, so it takes the last byte that came with it.
TEST_F(FtpListingEntriesTest, AResetTakesTheLastByte) {
    ftp.DSend(Unix("a") + Unix("b")).DRst();
    Begin();
    EXPECT_THAT(Names(), ElementsAre(L"a"));
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(FtpListingEntriesTest, OneByteAndAResetAreNothing) {
    ftp.DSend("-").DRst();
    Begin();
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(FtpListingEntriesTest, AListingOfManyBuffersIsWhole) {
    std::string bytes;
    std::vector<std::wstring> names;
    for (int i = 0; bytes.size() < 3 * 102400; ++i) {
        const std::string name = "file " + std::to_string(i);
        bytes += Unix(name);
        names.emplace_back(name.begin(), name.end());
    }
    ASSERT_NE(102400 % Unix("file 10").size(), 0U); // a line goes over the edge
    List(bytes);
    LogCapture log;
    EXPECT_EQ(Names(), names);
    EXPECT_EQ(log.Count(kEnd), 2U) << "with the last buffer and with none";
}

TEST_F(FtpListingEntriesTest, AListingOfExactlyOneBufferEndsWithTheNext) {
    std::string bytes;
    while (bytes.size() + 2 * 260 < 102400) {
        bytes += Unix(std::string(260 - Unix("").size(), 'n'));
    }
    const std::size_t rest = 102400 - bytes.size() - 260;
    bytes += Unix(std::string(rest - Unix("").size(), 'n')) + Unix(std::string(260 - Unix("").size(), 'z'));
    ASSERT_EQ(bytes.size(), 102400U);
    List(bytes);
    LogCapture log;
    for (std::size_t i = 0; i < (102400 - rest) / 260 + 1; ++i) {
        ASSERT_EQ(Next(), 1) << i;
    }
    EXPECT_EQ(record.cFileName[0], L'z');
    EXPECT_EQ(log.Count(kEnd), 0U);
    EXPECT_EQ(Next(), 0);
    EXPECT_EQ(log.Count(kEnd), 1U);
}

TEST_F(FtpListingEntriesTest, TheFirstEntryComesWhenTheBufferIsFullOrTheServerHasFinished) {
    ftp.DSend(Unix("a")).UntilTold().DSend(Unix("b")).DFin();
    Begin();
    std::vector<std::wstring> names;
    std::thread caller([&] { names = Names(); });
    EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
    ftp.GoOn();
    caller.join();
    EXPECT_THAT(names, ElementsAre(L"a", L"b"));
    EXPECT_EQ(ftp.Spent(), 0);
}
