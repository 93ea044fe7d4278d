// Files and folders of a server: what is sent for each operation, and what each answer means.
#include "ftp/BrowseFixture.h"
#include "support/TempFolder.h"

#include <filesystem>
#include <functional>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// An operation of one command, or the second command of a rename.
struct Command {
    const char* name;
    const char* line;
    std::function<int(CSoftDataIO&)> call;
    bool isSecond = false; // behind an accepted RNFR
    bool logsInfo = false; // a refusal is logged once more
};
void PrintTo(const Command& command, std::ostream* out) {
    *out << command.name;
}

const Command kDelete = {"Delete", "DELE /a b", [](CSoftDataIO& io) { return io.DeleteFile1(L"/a b"); }};
const Command kMake = {"Make", "MKD /a b", [](CSoftDataIO& io) { return io.MakeFolder(L"/a b"); }, false,
                       true};
const Command kRemove = {"Remove", "RMD /a b", [](CSoftDataIO& io) { return io.DeleteFolder(L"/a b"); },
                         false, true};
const Command kRename = {"Rename", "RNTO /c", [](CSoftDataIO& io) { return io.RenameFile(L"/a b", L"/c"); },
                         true};
const Command kExist = {"Exist", "RNTO /a b", [](CSoftDataIO& io) { return io.IsFileExist(L"/a b"); }, true};

class FtpManagementTest : public SessionTest<CSoftDataIO> {
protected:
    FtpManagementTest() { ftp.Logon("u", "p"); }
};

class FtpManagementCommandTest : public FtpManagementTest, public ::testing::WithParamInterface<Command> {
protected:
    // The script up to the reply of the command in question.
    FtpScript& Asked() {
        if (GetParam().isSecond) {
            ftp.Expect("RNFR /a b").Say("350 and now");
        }
        return ftp.Expect(GetParam().line);
    }
    int Call() { return GetParam().call(io); }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Commands, FtpManagementCommandTest,
                         ::testing::Values(kDelete, kMake, kRemove, kRename, kExist),
                         [](const auto& command) { return std::string(command.param.name); });

TEST_P(FtpManagementCommandTest, AReplyOfClass2IsSuccess) {
    Asked().Say("250 done");
    Connect();
    LogCapture log;
    EXPECT_EQ(Call(), 1);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(inner.Info(), L"250 done");
    EXPECT_EQ(log.Texts().back(), L"250 done\n");
}

TEST_P(FtpManagementCommandTest, RepliesOfOtherClassesAreNot) {
    for (const char* const reply : {"550 no", "450 not now", "350 and now", "150 wait", "x"}) {
        Asked().Say(reply);
    }
    Connect();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Call(), 0) << i;
    }
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_P(FtpManagementCommandTest, OfAReplyOfSeveralLinesTheLastCounts) {
    Asked().Say("250-first").Say("550 other").Say("250 done");
    Connect();
    EXPECT_EQ(Call(), 1);
    EXPECT_EQ(inner.Reply(), L"250 done");
}

TEST_P(FtpManagementCommandTest, SilenceCostsFifteenSeconds) {
    Asked().Quiet();
    Connect();
    EXPECT_EQ(Call(), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
}

TEST_P(FtpManagementCommandTest, AServerThatEndsTheSessionIsNotWaitedFor) {
    Asked().Say("421 good bye");
    Connect();
    EXPECT_EQ(Call(), 0);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(inner.Info(), L"421 Connection timed out - closing! \n");
}

TEST_P(FtpManagementCommandTest, AServerThatHasClosedLooksSilent) {
    Asked().Fin();
    Connect();
    EXPECT_EQ(Call(), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
}

TEST_P(FtpManagementCommandTest, ACommandThatCannotBeSentIsNotWaitedFor) {
    if (GetParam().isSecond) {
        ftp.Expect("RNFR /a b").Say("350 and now");
    }
    ftp.Quiet();
    Connect();
    ftp.FailNext(SocketCall::Send, 10054, GetParam().isSecond ? 1 : 0);
    EXPECT_EQ(Call(), 0);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_P(FtpManagementCommandTest, ARefusedFolderLogsTheReasonOnceMore) {
    Asked().Say("550 no");
    Connect();
    LogCapture log;
    EXPECT_EQ(Call(), 0);
    EXPECT_EQ(log.Count(L"550 no"), GetParam().logsInfo ? 2U : 1U);
    EXPECT_EQ(log.Lines().back(), Traced(GetParam().logsInfo ? L"550 no" : L"550 no\n"));
}

TEST_P(FtpManagementCommandTest, AnEmptyLineIsAReplyOfTheClassBefore) {
    Asked().Say("");
    Connect();
    inner->m_nReplyClass = 2;
    const int expected = GetParam().isSecond ? 0 : 1; // there it is that of the reply to RNFR
    EXPECT_EQ(Call(), expected);
}

TEST_F(FtpManagementTest, ASilentFolderLogsWhatWasToldLast) {
    ftp.Expect("MKD /a").Quiet();
    Connect();
    inner->m_strInfo = L"told last";
    LogCapture log;
    EXPECT_EQ(io.MakeFolder(L"/a"), 0);
    EXPECT_EQ(log.Lines().back(), Traced(L"told last"));
}

// ---- Renaming, and looking for a file by it ----

TEST_F(FtpManagementTest, ARenameTakesTwoCommands) {
    ftp.Expect("RNFR /a").Say("350 and now").Expect("RNTO /b").Say("250 done");
    Connect();
    LogCapture log;
    EXPECT_EQ(io.RenameFile(L"/a", L"/b"), 1);
    EXPECT_THAT(log.Texts(), ElementsAre(L"RNFR /a\r\n", L"350 and now\n", L"RNTO /b\r\n", L"250 done\n"));
}

TEST_F(FtpManagementTest, TheFirstCommandNeedsAReplyOfClass3) {
    for (const char* const reply : {"550 no such file", "250 done", "450 busy"}) {
        ftp.Expect("RNFR /a").Say(reply);
    }
    ftp.Quiet();
    Connect();
    EXPECT_EQ(io.RenameFile(L"/a", L"/b"), 0);
    EXPECT_EQ(io.IsFileExist(L"/a"), 0);
    EXPECT_EQ(io.RenameFile(L"/a", L"/b"), 0);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(FtpManagementTest, SilenceAfterTheFirstCommandCostsFifteenSecondsAndTheSecondIsNotSent) {
    ftp.Expect("RNFR /a").Quiet();
    Connect();
    EXPECT_EQ(io.IsFileExist(L"/a"), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
}

TEST_F(FtpManagementTest, AServerThatEndsTheSessionAtTheFirstCommandIsNotWaitedFor) {
    ftp.Expect("RNFR /a").Say("421 good bye").Quiet();
    Connect();
    EXPECT_EQ(io.RenameFile(L"/a", L"/b"), 0);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_THAT(Asked(), ElementsAre("RNFR /a"));
    EXPECT_EQ(inner.Info(), L"421 Connection timed out - closing! \n");
}

TEST_F(FtpManagementTest, AServerThatHasClosedAtTheFirstCommandLooksSilent) {
    ftp.Expect("RNFR /a").Fin();
    Connect();
    EXPECT_EQ(io.RenameFile(L"/a", L"/b"), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_THAT(Asked(), ElementsAre("RNFR /a"));
}

TEST_F(FtpManagementTest, AFileThatTheServerDoesNotFindIsNotThere) {
    ftp.Expect("RNFR /a").Say("550 no such file").Quiet();
    Connect();
    EXPECT_EQ(io.IsFileExist(L"/a"), 0);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_THAT(Asked(), ElementsAre("RNFR /a"));
    EXPECT_EQ(inner.Info(), L"550 no such file");
}

TEST_F(FtpManagementTest, AFirstCommandThatCannotBeSentEndsTheRename) {
    ftp.Quiet();
    Connect();
    ftp.FailNext(SocketCall::Send, 10054);
    EXPECT_EQ(io.RenameFile(L"/a", L"/b"), 0);
    EXPECT_EQ(ftp.Spent(), 0);
}

// The server keeps what RNFR began; nothing takes it back.
TEST_F(FtpManagementTest, AFileThatMayNotGetItsOwnNameIsNotThere) {
    ftp.Expect("RNFR /a").Say("350 and now").Expect("RNTO /a").Say("553 not yours").Expect("DELE /b");
    ftp.Say("250 gone");
    Connect();
    EXPECT_EQ(io.IsFileExist(L"/a"), 0);
    EXPECT_EQ(io.DeleteFile1(L"/b"), 1);
}

// ---- Paths ----

TEST_F(FtpManagementTest, OnADeviceOnlyDeletingHasThePrefix) {
    ftp.Expect("DELE /explodedFile/EXT:/clip").Say("250").Expect("MKD clip").Say("250").Expect("RMD clip");
    ftp.Say("250").Expect("RNFR clip").Say("350").Expect("RNTO to").Say("250").Expect("RNFR clip").Say("350");
    ftp.Expect("RNTO clip").Say("250");
    Connect();
    inner->m_nFtpMode = FTPMODE_EXPLODED;
    EXPECT_EQ(io.DeleteFile1(L"clip"), 1);
    EXPECT_EQ(io.MakeFolder(L"clip"), 1);
    EXPECT_EQ(io.DeleteFolder(L"clip"), 1);
    EXPECT_EQ(io.RenameFile(L"clip", L"to"), 1);
    EXPECT_EQ(io.IsFileExist(L"clip"), 1);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(FtpManagementTest, PathsGoOutAsTheyStand) {
    ftp.Expect("DELE  %d%s /\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\x9E").Say("250");
    ftp.ExpectRaw("MKD a\r\nRMD b\r\n").Say("250");
    Connect();
    EXPECT_EQ(io.DeleteFile1(L" %d%s /\u00E4\u20AC\U0001F39E"), 1);
    EXPECT_EQ(io.MakeFolder(L"a\r\nRMD b"), 1);
}

TEST_F(FtpManagementTest, NoPathIsAnEmptyOne) {
    ftp.Expect("DELE ").Say("500").Expect("MKD ").Say("500").Expect("RMD ").Say("500").Expect("RNFR ").Say(
        "500");
    ftp.Expect("RNFR ").Say("350").Expect("RNTO ").Say("500");
    Connect();
    EXPECT_EQ(io.DeleteFile1(nullptr), 0);
    EXPECT_EQ(io.MakeFolder(nullptr), 0);
    EXPECT_EQ(io.DeleteFolder(nullptr), 0);
    EXPECT_EQ(io.IsFileExist(nullptr), 0);
    EXPECT_EQ(io.RenameFile(nullptr, nullptr), 0);
}

TEST_F(FtpManagementTest, APathOfAnyLengthIsSentWhole) {
    const std::wstring path(20000, L'p');
    ftp.Expect("DELE " + std::string(20000, 'p')).Say("250");
    Connect();
    EXPECT_EQ(io.DeleteFile1(path.c_str()), 1);
}

// ---- Which operations are the server's ----

class FtpManagementRefusedTest : public SessionTest<CSoftDataIO> {};

TEST_F(FtpManagementRefusedTest, AfterAFailedConnectNothingOfThisSystemIsTouched) {
    const TempFolder folder{TempFolder::Kind::Memory};
    folder.Write("clip", "bytes");
    ftp.RefuseControl();
    ftp.Start();
    EXPECT_EQ(static_cast<uint32>(io.Connect(FTPMODE_NORMAL, ftp.Host(), L"u", L"p", ftp.Port(), 0)),
              VXC_STATUS_FTP_CONNECT);
    EXPECT_EQ(io.DeleteFile1(folder.Wide("clip").c_str()), 0);
    EXPECT_EQ(io.IsFileExist(folder.Wide("clip").c_str()), 0);
    EXPECT_EQ(io.MakeFolder(folder.Wide("sub").c_str()), 0);
    EXPECT_TRUE(std::filesystem::exists(folder.Path() / "clip"));
    EXPECT_FALSE(std::filesystem::exists(folder.Path() / "sub"));
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(FtpManagementTest, AfterCloseTheyStillAreAndFailAtOnce) {
    ftp.Expect("QUIT").Say("221 bye").ExpectClosed();
    Connect();
    EXPECT_EQ(io.Close(), 1);
    ftp.Mark();
    EXPECT_EQ(io.DeleteFile1(L"/a"), 0);
    EXPECT_EQ(io.IsFileExist(L"/a"), 0);
    EXPECT_EQ(io.MakeFolder(L"/a"), 0);
    EXPECT_EQ(io.DeleteFolder(L"/a"), 0);
    EXPECT_EQ(ftp.Spent(), 0);
}

// ---- Right after a listing, whose closing reply nobody has read ----

class FtpManagementAfterListingTest : public FtpManagementTest {
protected:
    FtpManagementAfterListingTest() {
        ftp.Expect("NOOP").Say("200 ok").Expect("CWD /x").Say("250 there").Passive().Expect("LIST ");
        ftp.AcceptData().Say("150 here").DFin().Say("226 done");
    }
    void List() {
        Connect();
        ASSERT_EQ(io.SetFindPath(L"/x"), 1);
        WIN32_FIND_DATAW record;
        EXPECT_EQ(io.FindNextFile1(&record), 0);
        EXPECT_EQ(io.FindFileClose(), 1);
    }
};

TEST_F(FtpManagementAfterListingTest, DeletingTakesTheListingsReplyForItsOwn) {
    ftp.Expect("DELE /missing").Say("550 no such file").Expect("MKD /a").Say("250 made");
    List();
    EXPECT_EQ(io.DeleteFile1(L"/missing"), 1);
    EXPECT_EQ(inner.Reply(), L"226 done");
    EXPECT_EQ(io.MakeFolder(L"/a"), 0) << "its reply is that to DELE";
    EXPECT_EQ(inner.Reply(), L"550 no such file");
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(FtpManagementAfterListingTest, RenamingFailsWithTheListingsReply) {
    ftp.Expect("RNFR /a").Say("350 and now").Quiet();
    List();
    EXPECT_EQ(io.RenameFile(L"/a", L"/b"), 0);
    EXPECT_EQ(inner.Reply(), L"226 done");
}

TEST_F(FtpManagementAfterListingTest, ATransferCollectsItFirst) {
    ftp.Passive().Expect("DELE /missing").Say("550 no such file");
    List();
    EXPECT_EQ(inner->CreateDataChannel(), VXC_STATUS_OK);
    EXPECT_EQ(io.DeleteFile1(L"/missing"), 0);
    EXPECT_EQ(ftp.Spent(), 0);
}
