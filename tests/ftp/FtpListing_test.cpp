// A listing is opened: what is said to the server and in which order, what each answer leads to, and what
// silence costs.
#include "ftp/BrowseFixture.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

constexpr const char* kEntry = "-rw-r--r--    1 1000     1000            5 Nov 22  2020 a file\r\n";

class FtpListingTest : public SessionTest<CSoftDataIO> {
protected:
    FtpListingTest() { ftp.Logon("u", "p"); }

    // The script up to the data connection, and from LIST on to its end.
    FtpScript& Open(const char* path = "/x", const char* reply = "250 there") {
        return ftp.Expect("NOOP").Say("200 ok").Expect(std::string("CWD ") + path).Say(reply);
    }
    FtpScript& List() {
        return ftp.Expect("LIST ").DataIsThere().AcceptData().Say("150 here").DSend(kEntry).DFin();
    }
    // The names of all entries that there are.
    std::vector<std::wstring> Names() {
        std::vector<std::wstring> names;
        WIN32_FIND_DATAW record;
        while (io.FindNextFile1(&record) != 0) {
            names.emplace_back(record.cFileName);
        }
        return names;
    }
};

} // namespace

// ---- How it goes ----

TEST_F(FtpListingTest, APassiveListingConnectsBeforeItAsks) {
    Open().Passive();
    List();
    Connect();
    EXPECT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
    EXPECT_EQ(io.FindFileClose(), 1);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_THAT(Asked(), ElementsAre("NOOP", "CWD /x", "TYPE I", "PASV", "LIST "));
    EXPECT_LT(PlaceOf("control send PASV"), PlaceOf("data connect"));
    EXPECT_LT(PlaceOf("data connect"), PlaceOf("control send LIST "));
    EXPECT_STREQ(inner->m_strFindPath, L"/x");
}

TEST_F(FtpListingTest, AnActiveListingListensBeforeItAsksAndAcceptsAfterwards) {
    Open().Active().Expect("LIST ").Say("150 here").Dial().DSend(kEntry).DFin();
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_LT(PlaceOf("listener listen"), PlaceOf("control send LIST "));
    EXPECT_LT(PlaceOf("control send LIST "), PlaceOf("data accept"));
}

TEST_F(FtpListingTest, EachReplyOfADelayedServerIsWaitedFor) {
    Open().Active().Expect("LIST ").Say("150 here").Dial().DSend(kEntry).DFin();
    Connect(FTPMODE_DELAYED);
    EXPECT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_EQ(ftp.Spent(), 5 * 300) << "NOOP, CWD, TYPE I, PORT, LIST";
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
    EXPECT_EQ(ftp.Spent(), 5 * 300);
}

TEST_F(FtpListingTest, APathGoesOutWithoutThePrefixOfDevicesAndAsItStands) {
    Open("/a b/\xC3\xA4%s%n").Active().Expect("LIST ").Say("150 here").Dial().DFin();
    Connect();
    inner->m_nFtpMode = FTPMODE_EXPLODED;
    io.SetPASVMode(0);
    EXPECT_EQ(io.SetFindPath(L"/a b/\u00E4%s%n"), 1);
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(FtpListingTest, ALineFeedInAPathIsSentToo) {
    ftp.Expect("NOOP").Say("200 ok").Expect("CWD /x").Expect("NOOP").Say("550 no").Say("200 ok");
    Connect();
    EXPECT_EQ(io.SetFindPath(L"/x\r\nNOOP"), 0);
}

TEST_F(FtpListingTest, NoPathIsAnEmptyOne) {
    Open("").Passive();
    List();
    Connect();
    EXPECT_EQ(io.SetFindPath(nullptr), 1);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
}

TEST_F(FtpListingTest, TheEndOfAListingClosesNothingAndReadsNoReply) {
    Open().Passive();
    List().Say("226 done");
    Connect();
    ASSERT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
    EXPECT_EQ(io.FindFileClose(), 1);
    EXPECT_THAT(ftp.Story(), Not(Contains("data close")));
    EXPECT_EQ(inner.Reply(), L"150 here");
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(FtpListingTest, TheNextListingClosesTheChannelAndCollectsTheReplyToThat) {
    Open().Passive();
    List();
    Open("/y").DExpectClosed().Say("226 done").Passive();
    List();
    Open("/missing", "550 no such folder");
    Connect();
    ASSERT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
    ASSERT_EQ(io.SetFindPath(L"/y"), 1);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
    EXPECT_EQ(io.SetFindPath(L"/missing"), 0) << "each command has read its own reply";
    EXPECT_EQ(ftp.Spent(), 0);
}

// The closing reply that nobody has read is taken for that to NOOP, and each reply for that to the command
// behind its own: the refusal of the folder is read as the closing reply, and the old folder is listed.
TEST_F(FtpListingTest, AfterAListingARefusedFolderIsNotNoticed) {
    Open().Passive();
    List().Say("226 done");
    ftp.Expect("NOOP").Say("200 ok").Expect("CWD /missing").Say("550 no such folder").Passive();
    List();
    Connect();
    ASSERT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
    EXPECT_EQ(io.SetFindPath(L"/missing"), 1);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_LT(PlaceOf("control send CWD /missing"), PlaceOf("data close"));
}

TEST_F(FtpListingTest, AListingThatIsNotReadIsForgottenByTheNext) {
    Open().Passive().Expect("LIST ").AcceptData().Say("150 here").DSend(std::string(kEntry) + kEntry).DFin();
    ftp.Say("226 done").Expect("NOOP").Say("200 ok").Expect("CWD /y").Say("250 there").Passive();
    List();
    Connect();
    ASSERT_EQ(io.SetFindPath(L"/x"), 1);
    WIN32_FIND_DATAW record;
    EXPECT_EQ(io.FindNextFile1(&record), 1);
    ASSERT_EQ(io.SetFindPath(L"/y"), 1);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
}

// ---- Answers that end it ----

TEST_F(FtpListingTest, ARefusedFolderEndsItAndNothingMoreIsSent) {
    ftp.Expect("NOOP").Say("200 ok").Expect("CWD /x").Say("550 no such folder").Quiet();
    Connect();
    EXPECT_EQ(io.SetFindPath(L"/x"), 0);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(FtpListingTest, AFolderNeedsAReplyOfClass2) {
    ftp.Expect("NOOP").Say("200 ok").Expect("CWD /x").Say("350 and now").Quiet();
    Connect();
    EXPECT_EQ(io.SetFindPath(L"/x"), 0);
}

TEST_F(FtpListingTest, SilenceAfterTheFolderCostsFifteenSeconds) {
    ftp.Expect("NOOP").Say("200 ok").Expect("CWD /x").Quiet();
    Connect();
    EXPECT_EQ(io.SetFindPath(L"/x"), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
}

TEST_F(FtpListingTest, AFolderThatCannotBeSentEndsItAtOnce) {
    ftp.Expect("NOOP").Say("200 ok").Quiet();
    Connect();
    ftp.FailNext(SocketCall::Send, 10054, 1);
    EXPECT_EQ(io.SetFindPath(L"/x"), 0);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(FtpListingTest, AListNeedsAReplyOfClass1) {
    for (const char* const reply : {"550 no", "226 done", "350 go on", "421 good bye"}) {
        SCOPED_TRACE(reply);
        Open().Passive().Expect("LIST ").Say(reply);
        if (reply[0] == '5') {
            Connect();
        }
        EXPECT_EQ(io.SetFindPath(L"/x"), 0);
        // The channel is there, so the next one waits for the closing reply of a transfer that never was.
        EXPECT_EQ(ftp.Spent(), reply[0] == '5' ? 0 : 15000);
        ftp.Mark();
    }
}

TEST_F(FtpListingTest, SilenceAfterListCostsFifteenSeconds) {
    Open().Passive().Expect("LIST ").Quiet();
    Connect();
    EXPECT_EQ(io.SetFindPath(L"/x"), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
}

TEST_F(FtpListingTest, AListThatCannotBeSentEndsItAtOnce) {
    Open().Passive().Quiet();
    Connect();
    ftp.FailNext(SocketCall::Send, 10054, 4);
    EXPECT_EQ(io.SetFindPath(L"/x"), 0);
    EXPECT_EQ(ftp.Spent(), 0);
}

TEST_F(FtpListingTest, WithoutADataChannelThereIsNoList) {
    Open().Expect("TYPE I").Say("500").Expect("TYPE I").Say("500").Expect("REIN").Say("500");
    ftp.Expect("TYPE I").Say("500").Quiet();
    Connect();
    EXPECT_EQ(io.SetFindPath(L"/x"), 0);
}

TEST_F(FtpListingTest, ARefusedPortEndsIt) {
    Open().Expect("TYPE I").Say("200").ExpectPort().Say("500 no").Quiet();
    Connect(FTPMODE_NORMAL, 0);
    EXPECT_EQ(io.SetFindPath(L"/x"), 0);
}

TEST_F(FtpListingTest, WithoutASocketForDataNoListIsAskedFor) {
    Open().Passive().Quiet();
    Connect();
    ftp.FailNext(SocketCall::Open, 10024);
    EXPECT_EQ(io.SetFindPath(L"/x"), 0);
    EXPECT_EQ(inner->m_DataChannel->m_nErr, kSocketNotASocket) << "the error of closing no socket";
}

TEST_F(FtpListingTest, ADataConnectionThatIsRefusedShowsInTheReplyAlone) {
    Open().Passive().RefuseData().Expect("LIST ").Say("425 no connection");
    Open("/y").Passive().RefuseData().Expect("LIST ").Say("150 here");
    Connect();
    EXPECT_EQ(io.SetFindPath(L"/x"), 0);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(io.SetFindPath(L"/y"), 1);
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(FtpListingTest, AnAcceptThatFailsShowsWhenTheFirstEntryIsRead) {
    Open().Active().Expect("LIST ").Say("150 here");
    Connect(FTPMODE_NORMAL, 0);
    ftp.FailNext(SocketCall::Accept, 10024);
    EXPECT_EQ(io.SetFindPath(L"/x"), 1);
    LogCapture log;
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_THAT(log.Texts(INFOTYPE_TRACE),
                ElementsAre(L"CFTPSocket:: recv() err: WSAGetLastError() = 10038 \n",
                            L" Can't get data from ftp sever , dada transfer end !\n"));
}

TEST_F(FtpListingTest, AServerWithoutPassiveTransfersIsListedActively) {
    Open().Expect("TYPE I").Say("200").Expect("PASV").Say("502 no").ExpectPort().Say("200 port");
    ftp.Expect("LIST ").Say("150 here").Dial().DSend(kEntry).DFin();
    Connect();
    EXPECT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
    EXPECT_EQ(inner->m_bPASV, 0);
}

// ---- A session that is lost ----

TEST_F(FtpListingTest, NoopMayBeRefused) {
    ftp.Expect("NOOP").Say("500 what").Expect("CWD /x").Say("250 there").Passive();
    List();
    Connect();
    EXPECT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
}

TEST_F(FtpListingTest, ASilentServerIsLoggedOnToAgain) {
    ftp.Expect("NOOP").AcceptControl().Logon("u", "p").Expect("CWD /x").Say("250 there").Passive();
    List();
    Connect();
    EXPECT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
    EXPECT_STREQ(inner->m_strFindPath, L"/x");
    EXPECT_EQ(inner->m_bPASV, 1) << "as it was chosen";
    EXPECT_THAT(Asked(), ElementsAre("NOOP", "USER u", "PASS p", "CWD /x", "TYPE I", "PASV", "LIST "));
    EXPECT_LT(PlaceOf("control close"), PlaceOf("control2 connect")) << "without QUIT";
}

TEST_F(FtpListingTest, AfterALogonTheOldChannelCostsAWaitOfItsOwn) {
    Open().Passive();
    List().Say("226 done");
    ftp.Expect("NOOP").Expect("NOOP").AcceptControl().Logon("u", "p").Expect("CWD /x").Say("250 there");
    ftp.Passive();
    List();
    Connect();
    ASSERT_EQ(io.SetFindPath(L"/x"), 1);
    CVXCString reply;
    inner->SendCommand(L"NOOP");
    ASSERT_EQ(inner->ReadStr(reply, 1000), 1); // the closing reply is gone
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_EQ(ftp.Spent(), 15000 + 15000) << "the server's silence, and the reply to the old channel's end";
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
}

TEST_F(FtpListingTest, AServerThatEndsTheSessionIsLoggedOnToAtOnce) {
    ftp.Expect("NOOP").Say("421 timed out").AcceptControl().Logon("u", "p").Expect("CWD /x").Say("250 there");
    ftp.Passive();
    List();
    Connect();
    LogCapture log;
    EXPECT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_TRUE(log.Contains(L"421 Connection timed out - closing! \n"));
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
}

TEST_F(FtpListingTest, ADeadConnectionIsLoggedOnToAgain) {
    ftp.Rst().AcceptControl().Logon("u", "p").Expect("CWD /x").Say("250 there").Passive();
    List();
    Connect();
    EXPECT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_EQ(ftp.Spent(), 15000) << "a closed connection looks like a silent one";
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
}

TEST_F(FtpListingTest, ANoopThatCannotBeSentIsWaitedForAllTheSame) {
    ftp.AcceptControl().Logon("u", "p").Expect("CWD /x").Say("250 there").Passive();
    List();
    Connect();
    ftp.FailNext(SocketCall::Send, 10054);
    EXPECT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_EQ(ftp.Spent(), 15000);
}

TEST_F(FtpListingTest, ALogonThatIsRefusedEndsIt) {
    ftp.Expect("NOOP").AcceptControl().Say("220").Expect("USER u").Say("530 no").Quiet();
    Connect();
    inner->m_strFindPath = L"/before";
    EXPECT_EQ(io.SetFindPath(L"/x"), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_STREQ(inner->m_strFindPath, L"");
}

TEST_F(FtpListingTest, AfterCloseTheFirstStepLogsOn) {
    ftp.Expect("QUIT").Say("221 bye").ExpectClosed().AcceptControl().Logon("u", "p").Expect("CWD /x");
    ftp.Say("250 there").Passive();
    List();
    Connect();
    EXPECT_EQ(io.Close(), 1);
    EXPECT_EQ(io.SetFindPath(L"/x"), 1);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_THAT(Names(), ElementsAre(L"a file"));
}
