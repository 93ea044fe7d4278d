// The space that an XDCAM device tells.
#include "BrokenListener.h"
#include "FtpSessionFixture.h"

#include <cstring>
#include <string>
#include <utility>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

const std::string kReport = "total 100 others 123456789 x";
const wchar_t* const kNoChannel = L"create ftp datachannel failed\n";
const wchar_t* const kNoAccept = L"CFtpSource:: Accept inbound data connection from server Error!!!\n";

class XdcamSpaceTest : public FtpSessionFixture {
protected:
    XdcamSpaceTest() { ftp.Logon("u", "p"); }

    // Adds a question whose report comes over a connection that the device has made.
    FtpScript& Report(const std::string& report) {
        return ftp.Active().Expect("SITE DF").Say("150 here").Dial().DSend(report);
    }
    uint64 SpaceOf(const std::string& report) {
        Report(report).DFin().DExpectClosed().Say("226 done");
        BeLoggedOn(FTPMODE_XDCAM);
        const uint64 space = io->GetXDCAMFreeSpace();
        ftp.Finish();
        return space;
    }
    // The report of a device whose report is of no use: nothing is closed, and its last reply is not read.
    void ExpectNone(const std::string& report) {
        Report(report);
        BeLoggedOn(FTPMODE_XDCAM);
        EXPECT_EQ(io->GetXDCAMFreeSpace(), 0u);
        EXPECT_EQ(ftp.Count(Verb::Close, io->m_DataChannel->m_hSocket), 0);
        EXPECT_EQ(LastReply(), L"150 here");
        EXPECT_EQ(ftp.Spent(), 0);
        ftp.Finish();
    }
};

} // namespace

// ---- Reports ------------------------------------------------------------------------------------------

TEST_F(XdcamSpaceTest, TheDeviceSendsAReportOnAConnectionOfItsOwn) {
    EXPECT_EQ(SpaceOf(kReport), 123456789u);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(LastReply(), L"226 done");
    const auto lines = ftp.Lines();
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[2], "TYPE I");
    EXPECT_THAT(lines[3], StartsWith("PORT "));
    EXPECT_EQ(lines[4], "SITE DF");
    EXPECT_THAT(ftp.Story(), Contains("data accept"));
    EXPECT_FALSE(log.Contains(kNoChannel));
    EXPECT_FALSE(log.Contains(kNoAccept));
}

TEST_F(XdcamSpaceTest, AnyServerIsAsked) {
    Report(kReport).DExpectClosed().Say("226 done");
    BeLoggedOn();
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 123456789u);
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, ALargeNumberIsTheEndOfItsRange) {
    EXPECT_EQ(SpaceOf("others 99999999999999999999 "), 0x7FFFFFFFFFFFFFFFu);
}

TEST_F(XdcamSpaceTest, AReportOf512BytesIsLookedAtToItsEnd) {
    EXPECT_EQ(SpaceOf(std::string(503, 'x') + "others77 "), 77u);
}

TEST_F(XdcamSpaceTest, WhatStandsBehind512BytesIsNotReceived) {
    ExpectNone(std::string(504, 'x') + "others77 ");
}

TEST_F(XdcamSpaceTest, AReportWithoutTheWordTellsNone) {
    ExpectNone("total 100 free 5 ");
}

TEST_F(XdcamSpaceTest, AReportThatEndsWithTheNumberTellsNone) {
    ExpectNone("others 5");
}

TEST_F(XdcamSpaceTest, ANumberOf31DigitsIsNone) {
    ExpectNone("others 0000000000000000000000000000001 ");
}

TEST_F(XdcamSpaceTest, TheReportMustComeInOnePiece) {
    Report("total 100 oth").UntilTold().DSend("ers 5 x");
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 0u);
    ftp.GoOn();
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, AConnectionThatEndsAtOnceTellsNone) {
    ftp.Active().Expect("SITE DF").Say("150 here").Dial().DFin();
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 0u);
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, AConnectionThatIsResetTellsNone) {
    ftp.Active().Expect("SITE DF").Say("150 here").Dial().DRst();
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 0u);
    EXPECT_NE(io->m_DataChannel->m_nErr, 0);
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, AReceiveThatThrowsTellsNone) {
    Report(kReport);
    BeLoggedOn(FTPMODE_XDCAM);
    // The replies are received by the same call: to TYPE I, PORT and the question.
    ftp.ThrowNext(SocketCall::Receive, 3);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 0u);
    EXPECT_EQ(LastReply(), L"150 here");
    ftp.Finish();
}

// ---- The session afterwards ---------------------------------------------------------------------------

TEST_F(XdcamSpaceTest, TheConnectionIsClosedBeforeTheLastReplyIsRead) {
    Report(kReport).DExpectClosed().Say("226 done");
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 123456789u);
    ASSERT_NE(io->m_DataChannel, nullptr);
    EXPECT_EQ(ftp.Count(Verb::Close, io->m_DataChannel->m_hSocket), 1);
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, TheNextTransferWaitsForOneMoreReplyInVain) {
    Report(kReport).DExpectClosed().Say("226 done");
    Report("others 7 ").DExpectClosed().Say("226 done");
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 123456789u);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 7u);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, WhateverTheLastReplySaysTheSpaceIsTold) {
    Report(kReport).DExpectClosed().Say("550 no");
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 123456789u);
    EXPECT_EQ(LastReply(), L"550 no");
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, ALastReplyThatDoesNotComeCostsItsTime) {
    Report(kReport).DExpectClosed();
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 123456789u);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, EachReplyIsWaitedForAsTheModeSays) {
    Report(kReport).DExpectClosed().Say("226 done");
    BeLoggedOn(FTPMODE_DELAYED);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 123456789u);
    EXPECT_EQ(ftp.Spent(), 4 * 300) << "TYPE I, PORT, SITE DF, the end";
    ftp.Finish();
}

// ---- Failures -----------------------------------------------------------------------------------------

TEST_F(XdcamSpaceTest, WithoutADataChannelNothingIsAsked) {
    ftp.Expect("TYPE I").Say("200").ExpectPort().Say("500 no");
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 0u);
    EXPECT_THAT(log.Lines(), Contains(Message(kNoChannel)));
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, WithoutASessionNothingIsAsked) {
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 0u);
    EXPECT_THAT(log.Lines(), Contains(Message(kNoChannel)));
}

TEST_F(XdcamSpaceTest, AQuestionThatCannotBeSentGivesAStatusInPlaceOfASize) {
    ftp.Active();
    BeLoggedOn(FTPMODE_XDCAM);
    ftp.FailNext(SocketCall::Send, 10054, 2); // TYPE I and PORT pass
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 0x80000708u);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, AServerThatDoesNotKnowTheQuestionIsNotAwaited) {
    for (const char* reply : {"550 no", "226 done", "350 more", "0", "x"}) {
        ftp.Active().Expect("SITE DF").Say(reply);
    }
    BeLoggedOn(FTPMODE_XDCAM);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(io->GetXDCAMFreeSpace(), 0u);
    }
    EXPECT_EQ(ftp.Count(Verb::Accept), 0);
    // Each but the first waits for the end of a transfer that was none.
    EXPECT_EQ(ftp.Spent(), 4 * 15000);
    EXPECT_THAT(log.Lines(), Not(Contains(Message(kNoAccept))));
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, AQuestionThatIsNotAnsweredCosts15Seconds) {
    ftp.Active().Expect("SITE DF");
    BeLoggedOn(FTPMODE_XDCAM);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 0u);
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_EQ(ftp.Count(Verb::Accept), 0);
    ftp.Finish();
}

// Nobody listens, so that nobody is awaited.
TEST_F(XdcamSpaceTest, APassiveSessionAsksAndDoesNotGetTheReport) {
    ftp.Passive().Expect("SITE DF").Say("150 here");
    BeLoggedOn();
    ASSERT_EQ(io->SetPASVMode(1), 1);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 0u);
    EXPECT_EQ(io->m_SockSvr, nullptr);
    EXPECT_THAT(log.Lines(), Contains(Message(kNoAccept)));
    EXPECT_EQ(ftp.Count(Verb::Accept), 0);
    EXPECT_EQ(ftp.Count(Verb::Connect), 1);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, WithoutAListeningSocketTheAcceptFails) {
    ftp.Active().Expect("SITE DF").Say("150 here");
    BeLoggedOn(FTPMODE_XDCAM);
    BreakListenerAt("SITE", *io.Get());
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 0u);
    EXPECT_THAT(log.Lines(), Contains(Message(kNoAccept)));
    ftp.Finish();
}

TEST_F(XdcamSpaceTest, AConnectionThatIsNotAcceptedShowsInItsReceive) {
    ftp.Active().Expect("SITE DF").Say("150 here");
    BeLoggedOn(FTPMODE_XDCAM);
    ftp.FailNext(SocketCall::Accept, 10024);
    EXPECT_EQ(io->GetXDCAMFreeSpace(), 0u);
    EXPECT_THAT(log.Lines(), Not(Contains(Message(kNoAccept))));
    EXPECT_EQ(io->m_DataChannel->m_hSocket, kNoSocket);
    ftp.Finish();
}
