// Lines, replies, modes and the end of a session.
#include "ftp/FtpSessionFixture.h"

#include "support/MemoryLack.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

int NeverCalled(int, const wchar_t*, int64, int64, void*) {
    ADD_FAILURE();
    return 0;
}

// Logged on; what the script goes on with stands in the test.
class FtpSessionTest : public FtpSessionFixture {
protected:
    FtpSessionTest() { ftp.Logon("u", "p"); }

    int ReadLine(uint32 timeOut = 15000) {
        m_text = L"former";
        return io->ReadLine(m_text, timeOut);
    }
    int ReadStr(uint32 timeOut = 15000) {
        m_text = L"former";
        return io->ReadStr(m_text, timeOut);
    }
    std::wstring Text() const { return m_text.c_str(); }

private:
    CVXCString m_text;
};

} // namespace

// ---- Lines ----------------------------------------------------------------------------------------------

TEST_F(FtpSessionTest, ALineIsLoggedAndKept) {
    ftp.Say("350 go on");
    BeLoggedOn();
    EXPECT_EQ(ReadLine(), 1);
    EXPECT_EQ(Text(), L"350 go on");
    EXPECT_EQ(Info(), L"350 go on");
    EXPECT_EQ(io->m_nReplyClass, 3);
    EXPECT_THAT(log.Lines(), ElementsAre(Message(L"350 go on\n")));
    ftp.Finish();
}

TEST_F(FtpSessionTest, AnyFirstCharacterIsAClass) {
    ftp.Say("x").Say("-").Say(" 2").Say("9").Say("\xE2\x82\xAC");
    BeLoggedOn();
    for (const wchar_t head : {L'x', L'-', L' ', L'9', L'\x20AC'}) {
        EXPECT_EQ(ReadLine(), 1);
        EXPECT_EQ(io->m_nReplyClass, static_cast<int>(head) - '0');
    }
    ftp.Finish();
}

TEST_F(FtpSessionTest, AnEmptyLineIsALineWithoutClass) {
    ftp.Say("550 no").Say("");
    BeLoggedOn();
    EXPECT_EQ(ReadLine(), 1);
    EXPECT_EQ(ReadLine(), 1);
    EXPECT_EQ(Text(), L"");
    EXPECT_EQ(Info(), L"");
    EXPECT_EQ(io->m_nReplyClass, 5);
    EXPECT_TRUE(log.Contains(L"\n"));
    ftp.Finish();
}

TEST_F(FtpSessionTest, ALineThatDoesNotComeChangesNothing) {
    BeLoggedOn();
    EXPECT_EQ(ReadLine(2000), 0);
    EXPECT_EQ(ftp.Spent(), 2000);
    EXPECT_EQ(Text(), L"former");
    EXPECT_EQ(Info(), L"Connect sever success!");
    EXPECT_EQ(io->m_nReplyClass, 2);
    EXPECT_THAT(log.Lines(), IsEmpty());
    ftp.Finish();
}

TEST_F(FtpSessionTest, TheLine421IsAFailureAndNothingElse) {
    ftp.Say("421 bye").Say("421").Say("4210").Say("42").Say(" 421");
    BeLoggedOn();
    for (int i = 0; i < 3; ++i) {
        log.Clear();
        EXPECT_EQ(ReadLine(), 0);
        EXPECT_EQ(io->m_nReplyClass, 2);
        EXPECT_EQ(Info(), L"421 Connection timed out - closing! \n");
        EXPECT_THAT(log.Lines(), ElementsAre(Message(L"421 Connection timed out - closing! \n")));
    }
    EXPECT_EQ(ReadLine(), 1);
    EXPECT_EQ(ReadLine(), 1);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSessionTest, WithoutConnectionThereIsNoLine) {
    EXPECT_EQ(ReadLine(), 0);
    EXPECT_EQ(ReadStr(), 0);
    EXPECT_EQ(Text(), L"former");
    ftp.Start();
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.End();
}

// ---- Replies --------------------------------------------------------------------------------------------

TEST_F(FtpSessionTest, OneLineIsAReply) {
    const char* const lines[] = {"200 yes", "200", "20", "2", "", "200x", "2000-", "200 -", "x"};
    for (const char* line : lines) {
        ftp.Say(line);
    }
    BeLoggedOn();
    for (const char* line : lines) {
        EXPECT_EQ(ReadStr(), 1);
        EXPECT_EQ(Text(), std::wstring(line, line + std::string_view(line).size()));
    }
    ftp.Finish();
}

TEST_F(FtpSessionTest, AReplyOfManyLinesEndsWithItsCodeAndABlank) {
    for (const char* line :
         {"150-a", "151 b", "150-c", "1500 d", "150", "", "15 e", "150e", "550-f", "150 end"}) {
        ftp.Say(line);
    }
    ftp.Say("226 next");
    BeLoggedOn();
    EXPECT_EQ(ReadStr(), 1);
    EXPECT_EQ(Text(), L"150 end");
    EXPECT_EQ(io->m_nReplyClass, 1);
    EXPECT_EQ(ReadStr(), 1);
    EXPECT_EQ(Text(), L"226 next");
    ftp.Finish();
}

TEST_F(FtpSessionTest, ACodeIsANumberAtTheHeadOfALine) {
    ftp.Say("ab-x").Say("00  y"); // no number is the number 0; the fourth character counts
    ftp.Say("7 --").Say("  7 z");
    ftp.Say("22x-").Say(" 22 z");
    ftp.Say("+22-").Say("022 z");
    BeLoggedOn();
    EXPECT_EQ(ReadStr(), 1);
    EXPECT_EQ(Text(), L"ab-x"); // the third is the minus sign here
    EXPECT_EQ(ReadStr(), 1);
    EXPECT_EQ(Text(), L"00  y");
    EXPECT_EQ(ReadStr(), 1);
    EXPECT_EQ(Text(), L"  7 z");
    EXPECT_EQ(ReadStr(), 1);
    EXPECT_EQ(Text(), L" 22 z");
    EXPECT_EQ(ReadStr(), 1);
    EXPECT_EQ(Text(), L"022 z");
    ftp.Finish();
}

TEST_F(FtpSessionTest, TheClassIsThatOfTheLastLine) {
    ftp.Say("200-a").Say("550 b").Say("x").Say("200 c");
    ftp.Say("0500-a").Say("zzz-a").Say("000 b");
    BeLoggedOn();
    EXPECT_EQ(ReadStr(), 1);
    EXPECT_EQ(io->m_nReplyClass, 2);
    EXPECT_EQ(ReadStr(), 1); // its fourth character is a digit
    EXPECT_EQ(io->m_nReplyClass, 0);
    EXPECT_EQ(ReadStr(), 1);
    EXPECT_EQ(Text(), L"000 b");
    ftp.Finish();
}

TEST_F(FtpSessionTest, EachLineOfAReplyHasTheWholeTime) {
    ftp.After(14000).Say("220-a").After(14000).Say("x").After(14000).Say("220 b");
    BeLoggedOn();
    EXPECT_EQ(ReadStr(), 1);
    EXPECT_EQ(ftp.Spent(), 3 * 14000);
    ftp.Finish();
}

TEST_F(FtpSessionTest, AReplyThatDoesNotEndIsNone) {
    ftp.Say("220-a").Say("x");
    BeLoggedOn();
    EXPECT_EQ(ReadStr(2000), 0);
    EXPECT_EQ(ftp.Spent(), 2000);
    EXPECT_EQ(Info(), L"x");
    ftp.Finish();
}

TEST_F(FtpSessionTest, TheLine421EndsAReply) {
    ftp.Say("220-a").Say("421 b").Say("220 c");
    BeLoggedOn();
    EXPECT_EQ(ReadStr(), 0);
    EXPECT_EQ(ReadStr(), 1);
    EXPECT_EQ(Text(), L"220 c");
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSessionTest, TheDelayStandsInFrontOfEachReplyOnce) {
    ftp.Say("200-a").Say("200 b").Say("226 c");
    BeLoggedOn(FTPMODE_DELAYED);
    EXPECT_EQ(ReadStr(), 1);
    EXPECT_EQ(ftp.Spent(), 300);
    EXPECT_EQ(ReadLine(), 1);
    EXPECT_EQ(ftp.Spent(), 300);
    ftp.Finish();
}

// ---- Modes ----------------------------------------------------------------------------------------------

TEST_F(FtpSessionTest, PassiveTransfersAreChosenInTheNormalModeAlone) {
    EXPECT_EQ(io->SetPASVMode(5), 1);
    EXPECT_EQ(io->m_bPASV, 5);
    EXPECT_EQ(io->SetPASVMode(0), 1);
    EXPECT_EQ(io->m_bPASV, 0);
    for (const int mode : {1, 2, 9, 7, -1}) {
        io->m_nFtpMode = mode;
        io->m_bPASV = 1;
        EXPECT_EQ(io->SetPASVMode(1), 0) << mode;
        EXPECT_EQ(io->m_bPASV, 0);
        io->m_bPASV = 1;
        EXPECT_EQ(io->SetPASVMode(0), 1) << mode;
        EXPECT_EQ(io->m_bPASV, 0);
    }
    ftp.Start();
    ftp.End();
}

TEST_F(FtpSessionTest, TheCallbackIsKeptAndNotCalled) {
    ftp.Expect("QUIT").Say("221");
    int context = 0;
    const PFN_INFO_CALLBACK callback = NeverCalled;
    io->SetInfoCallBack(callback, &context);
    EXPECT_EQ(io->m_pfnInfoCallBack, callback);
    EXPECT_EQ(io->m_pInfoCallBackContext, &context);
    BeLoggedOn();
    io->Close();
    ftp.Finish();
}

// ---- The end --------------------------------------------------------------------------------------------

TEST_F(FtpSessionTest, QuittingWaitsForTheAnswer) {
    ftp.Expect("QUIT").Say("200 x").Say("221-a").Say("221 b").ExpectClosed();
    BeLoggedOn();
    EXPECT_EQ(io->Close(), 1);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(io->m_Ctrlsok, nullptr);
    EXPECT_EQ(Info(), L" dada transfer is finished !");
    EXPECT_EQ(LastReply(), L"221 b");
    ftp.Finish();
}

TEST_F(FtpSessionTest, QuittingASilentServerTakes15Seconds) {
    ftp.Expect("QUIT").ExpectClosed();
    BeLoggedOn();
    EXPECT_EQ(io->Close(), 1);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpSessionTest, TheLine421EndsQuitting) {
    ftp.Expect("QUIT").Say("421 enough").ExpectClosed();
    BeLoggedOn();
    EXPECT_EQ(io->Close(), 1);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSessionTest, AServerThatGoesOnTalkingIsListenedTo) {
    ftp.Expect("QUIT");
    for (int i = 0; i < 5; ++i) {
        ftp.After(10000).Say("200 still here");
    }
    ftp.After(10000).Say("2210 is a head too").ExpectClosed();
    BeLoggedOn();
    EXPECT_EQ(io->Close(), 1);
    EXPECT_EQ(ftp.Spent(), 60000);
    ftp.Finish();
}

TEST_F(FtpSessionTest, AQuitThatCannotBeSentWaitsAsWell) {
    ftp.ExpectClosed();
    BeLoggedOn();
    ftp.FailNext(SocketCall::Send, 10054);
    EXPECT_EQ(io->Close(), 1);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpSessionTest, ClosingWhatWasNeverConnectedTakesNoTime) {
    ftp.Start();
    EXPECT_EQ(io->Close(), 1);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(Info(), L" dada transfer is finished !");
    EXPECT_THAT(log.Lines(), IsEmpty());
    ftp.End();
}

TEST_F(FtpSessionTest, AClosedSessionIsConnectedAgain) {
    ftp.Expect("QUIT").Say("221").ExpectClosed().AcceptControl().Logon("u", "p");
    BeLoggedOn();
    EXPECT_EQ(io->Close(), 1);
    EXPECT_EQ(io->Close(), 1);
    EXPECT_EQ(Connect(), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSessionTest, EachSocketIsShutDownAndClosedTwice) {
    ftp.Expect("QUIT").Say("221").ExpectClosed();
    BeLoggedOn();
    const SocketToken control = io->m_Ctrlsok->m_hSocket;
    io->Close();
    ftp.Finish();
    // By Close and by the destructor; the second time the token leads nowhere.
    EXPECT_EQ(ftp.Count(Verb::Shutdown, control), 2);
    EXPECT_EQ(ftp.Count(Verb::Close, control), 2);
}

TEST_F(FtpSessionTest, AnObjectThatIsFreedWithoutCloseLeavesItsConnection) {
    ftp.Quiet();
    BeLoggedOn();
    CFTPSocket* const control = io->m_Ctrlsok;
    io.Reset();
    ftp.Finish();
    EXPECT_EQ(ftp.Count(Verb::Close), 0);
    delete control;
}

TEST_F(FtpSessionTest, LackOfMemoryEndsInAStatus) {
    ftp.Start();
    int lacks = 0;
    for (int n = 1; n < 100; ++n) {
        MemoryLack lack(n);
        const uint32 status = io->Logon(); // no host: it does not get far
        EXPECT_TRUE(status == VXC_STATUS_FTP_CONNECT || status == VXC_STATUS_FTP_SOCKET) << n;
        if (!lack.Came()) {
            break;
        }
        ++lacks;
    }
    EXPECT_GT(lacks, 2);
    ftp.End();
}
