// How a stretch of a clip is asked for.
#include "BrokenListener.h"
#include "XdcamFixture.h"

#include "support/FaultPlan.h"

#include <string_view>
#include <utility>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

const wchar_t* const kNoChannel = L"create ftp datachannel failed\n";
const wchar_t* const kNoAccept = L"CFtpSource:: Accept inbound data connection from server Error!!!\n";

// Made before the server and ended behind it.
struct Watched {
    NoLeakScope leaks;
};

class XdcamOpenTest : protected Watched, public XdcamFixture {
protected:
    // No stretch is open, and nothing of it is there.
    void ExpectNothingRead() {
        EXPECT_EQ(start, 100U);
        EXPECT_EQ(end, 150U);
        EXPECT_EQ(Head(0, 10), "");
        EXPECT_EQ(Inspector::Position(*source), 0U);
        EXPECT_EQ(Inspector::StreamPosition(*source), 0U);
    }
};

} // namespace

// ---- The conversation ---------------------------------------------------------------------------------

TEST_F(XdcamOpenTest, AStretchFromItsOpenToItsClose) {
    Device().DSend(mxf::Stretch(12) + "body").DFin().DExpectClosed().Say("226 done");
    Connect(FTPMODE_XDCAM);
    LogCapture log;
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(start, 88U);
    EXPECT_EQ(end, 150U);
    EXPECT_THAT(log.Lines(), Contains(Trace(L"Find Xdcam ibp TrackPosition 12")));
    EXPECT_THAT(log.Lines(), Not(Contains(Trace(L"CFtpSource--OpenFile End\n"))));
    EXPECT_EQ(Read(10), "body");
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], "TYPE I");
    EXPECT_THAT(lines[1], StartsWith("PORT "));
    EXPECT_EQ(lines[2], "SITE REPF /clip 100 50");
    EXPECT_THAT(ftp.Story(), Contains("data accept"));
    source->Close();
}

TEST_F(XdcamOpenTest, TheSessionGoesOnFromAnAskedClipToItsStretch) {
    ftp.Expect("STAT /clip").Say("213 none");
    Device().DSend(mxf::Stretch(0));
    Connect(FTPMODE_XDCAM);
    PLUG_VIDEO_TYPE_ type{};
    uint32 number = 0;
    EXPECT_EQ(source->GetXDCAMMXFInfo(L"/clip", type, number, number, number, number), 1);
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(start, 100U);
    ftp.Finish();
}

TEST_F(XdcamOpenTest, TheThirdFieldIsACountOfFrames) {
    struct Frames {
        uint32 from;
        uint32 to;
        const char* question;
    };
    const Frames all[] = {{0, 1, "SITE REPF /clip 0 1"},
                          {7, 7, "SITE REPF /clip 7 0"},
                          {100, 50, "SITE REPF /clip 100 -50"},
                          {0, 0xFFFFFFFF, "SITE REPF /clip 0 -1"},
                          {0x80000000, 0x80000001, "SITE REPF /clip -2147483648 1"},
                          {0x7FFFFFFF, 0xFFFFFFFE, "SITE REPF /clip 2147483647 2147483647"}};
    for (const Frames& frames : all) {
        ftp.Active().Expect(frames.question).Say("550 no");
    }
    Connect(FTPMODE_XDCAM);
    for (const Frames& frames : all) {
        EXPECT_EQ(OpenStretch(frames.from, frames.to), VXC_STATUS_FTP_RETR);
        EXPECT_EQ(start, frames.from);
        EXPECT_EQ(end, frames.to);
    }
    ftp.Finish();
}

TEST_F(XdcamOpenTest, ThePathGoesOutAsItIs) {
    ftp.Active().Expect("SITE REPF /Clip/\xC3\xA4 %d %s.MXF 100 50").Say("550");
    ftp.Active().Expect("SITE REPF  100 50").Say("550");
    Connect(FTPMODE_XDCAM);
    start = 100;
    end = 150;
    EXPECT_NE(source->OpenXDCAMFtpMXF(L"/Clip/\u00E4 %d %s.MXF", start, end, L"ignored"), 0);
    EXPECT_STREQ(Inner().m_strFileName, L"/Clip/\u00E4 %d %s.MXF");
    EXPECT_NE(source->OpenXDCAMFtpMXF(nullptr, start, end, L"ignored"), 0);
    EXPECT_STREQ(Inner().m_strFileName, L"");
    ftp.Finish();
}

TEST_F(XdcamOpenTest, AllRepliesAreWaitedForAsTheSessionSays) {
    Device().DSend(mxf::Stretch(12));
    Connect(FTPMODE_XDCAM);
    Inner().m_nReplyDelay = 300;
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 3 * 300) << "TYPE I, PORT, SITE REPF";
    Inner().m_nReplyDelay = 0;
    ftp.Finish();
}

// ---- What stays as it was -----------------------------------------------------------------------------

TEST_F(XdcamOpenTest, TheTimeForAReadIsNotLookedUp) {
    settings.Set(L"FtpTimeOut", L"2000");
    Device().DSend(mxf::Stretch(12)).DExpectClosed().Say("226");
    Connect(FTPMODE_XDCAM);
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::TimeOut(*source), 60000U);
    source->CloseFile();
    ftp.Finish();
}

TEST_F(XdcamOpenTest, TheTimeForAReadIsThatOfTheLastFile) {
    settings.Set(L"FtpTimeOut", L"1000");
    ftp.Active().Expect("SIZE f").Say("213 5").Expect("RETR f").Say("550");
    Device().DSend(mxf::Stretch(12));
    Connect(FTPMODE_XDCAM);
    EXPECT_EQ(Open(), VXC_STATUS_FTP_RETR);
    settings.Set(L"FtpTimeOut", L"2000");
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::TimeOut(*source), 1000U);
    ftp.Finish();
}

TEST_F(XdcamOpenTest, TheSizeOfTheFileStays) {
    Device().DSend(mxf::Stretch(12) + "body");
    Connect(FTPMODE_XDCAM);
    Inner().m_qwFileSize = 1030;
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(source->GetFileSize(), 1030U);
    EXPECT_EQ(source->Seek(-6, kFromEnd), 1024); // back by its own measure
    ftp.Finish();
}

// ---- Other modes --------------------------------------------------------------------------------------

TEST_F(XdcamOpenTest, AnotherServerSendsTheWholeFile) {
    ftp.Active().Expect("SIZE /clip").Say("213 2000").Expect("RETR /clip").Say("150 here").Dial();
    ftp.DSend(mxf::Stretch(12) + "body").DFin().DExpectClosed().Say("226");
    Connect();
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(start, 100U);
    EXPECT_EQ(source->GetFileSize(), 2000U);
    EXPECT_EQ(Inner().m_bPASV, 0) << "it is as passive as the session is";
    EXPECT_EQ(Head(0, 10), "");
    EXPECT_EQ(Read(2000), mxf::Stretch(12) + "body");
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamOpenTest, AnotherServerMayBePassive) {
    ftp.Passive().Expect("SIZE /clip").Say("213 5").Expect("RETR /clip").AcceptData().Say("150 here");
    ftp.DSend("hello");
    Connect();
    ASSERT_EQ(source->SetPASVMode(1), 1);
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(Read(5), "hello");
    ftp.Finish();
}

TEST_F(XdcamOpenTest, AnotherServerMayRefuseTheFile) {
    ftp.Active().Expect("SIZE /clip").Say("550").Expect("RETR /clip").Say("550");
    Connect(FTPMODE_DELAYED);
    EXPECT_EQ(OpenStretch(), VXC_STATUS_FTP_RETR);
    ExpectNothingRead();
    ftp.Finish();
}

TEST_F(XdcamOpenTest, ThePathHasNoPrefixWhereOthersHaveOne) {
    ftp.Active().Expect("SIZE /clip").Say("213 5").Expect("RETR /clip").Say("550");
    Connect();
    Inner().m_nFtpMode = FTPMODE_EXPLODED;
    EXPECT_EQ(OpenStretch(), VXC_STATUS_FTP_RETR);
    EXPECT_STREQ(Inner().m_strFileName, L"/clip");
    ftp.Finish();
}

// ---- Refusals -----------------------------------------------------------------------------------------

TEST_F(XdcamOpenTest, ADeviceThatRefusesIsNotAwaited) {
    for (const char* reply : {"550 no", "226 done", "350 more", "0"}) {
        ftp.Active().Expect("SITE REPF /clip 100 50").Say(reply);
    }
    Connect(FTPMODE_XDCAM);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(OpenStretch(), VXC_STATUS_FTP_RETR);
        ExpectNothingRead();
    }
    EXPECT_EQ(ftp.Count(Verb::Accept), 0);
    EXPECT_EQ(ftp.Spent(), 3 * 15000) << "each further one waits for the end of a transfer that was none";
    ftp.Finish();
}

TEST_F(XdcamOpenTest, ADeviceThatDoesNotAnswerCosts15Seconds) {
    ftp.Active().Expect("SITE REPF /clip 100 50");
    Connect(FTPMODE_XDCAM);
    EXPECT_EQ(OpenStretch(), VXC_STATUS_FTP_RETR);
    ExpectNothingRead();
    EXPECT_EQ(ftp.Count(Verb::Accept), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(XdcamOpenTest, WithoutADataChannelNothingIsAsked) {
    ftp.Expect("TYPE I").Say("200").ExpectPort().Say("500 no");
    Connect(FTPMODE_XDCAM);
    LogCapture log;
    EXPECT_EQ(OpenStretch(), VXC_STATUS_FTP_PORT);
    ExpectNothingRead();
    EXPECT_THAT(log.Lines(), Contains(Trace(kNoChannel)));
    ftp.Finish();
}

TEST_F(XdcamOpenTest, WithoutASessionThereIsNoDataChannel) {
    LogCapture log;
    Inner().m_nFtpMode = FTPMODE_XDCAM;
    EXPECT_EQ(OpenStretch(), VXC_STATUS_FTP_TYPE);
    ExpectNothingRead();
    EXPECT_THAT(log.Lines(), Contains(Trace(kNoChannel)));
}

TEST_F(XdcamOpenTest, AQuestionThatCannotBeSentIsNotWaitedFor) {
    ftp.Active();
    Connect(FTPMODE_XDCAM);
    ftp.FailNext(SocketCall::Send, 10054, 2); // TYPE I and PORT pass
    EXPECT_EQ(OpenStretch(), VXC_STATUS_FTP_SEND);
    ExpectNothingRead();
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamOpenTest, WithoutAListeningSocketTheAcceptFails) {
    ftp.Active().Expect("SITE REPF /clip 100 50").Say("150 here");
    Connect(FTPMODE_XDCAM);
    BreakListenerAt("SITE", Inner());
    LogCapture log;
    EXPECT_EQ(OpenStretch(), VXC_STATUS_FTP_ACCEPT);
    ExpectNothingRead();
    EXPECT_THAT(log.Lines(), Contains(Trace(kNoAccept)));
    ftp.Finish();
}

TEST_F(XdcamOpenTest, AConnectionThatIsNotAcceptedIsAStretchWithoutBytes) {
    ftp.Active().Expect("SITE REPF /clip 100 50").Say("150 here");
    Connect(FTPMODE_XDCAM);
    ftp.FailNext(SocketCall::Accept, 10024);
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    ExpectNothingRead();
    EXPECT_EQ(Read(10), "");
    ftp.Finish();
}

TEST_F(XdcamOpenTest, WithoutAThreadOrItsEventsNothingIsAsked) {
    Connect(FTPMODE_XDCAM);
    for (const Op op : {Op::VXC_CreateThread, Op::VXC_CreateEventW}) {
        FaultPlan plan;
        plan.Add(Fail(op));
        EXPECT_EQ(OpenStretch(), VXC_STATUS_OPEN_READ);
        ExpectNothingRead();
        EXPECT_EQ(plan.Fired(), 1);
    }
    ftp.Finish();
}

TEST_F(XdcamOpenTest, AFailureLeavesASourceThatCloses) {
    ftp.Active().Expect("SITE REPF /clip 100 50").Say("550 no");
    Connect(FTPMODE_XDCAM);
    EXPECT_EQ(OpenStretch(), VXC_STATUS_FTP_RETR);
    EXPECT_TRUE(Inspector::HasReceiver(*source));
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_FALSE(Inspector::HasReceiver(*source));
    EXPECT_EQ(ftp.Spent(), 2000) << "for a closing reply";
    ftp.Finish();
}

// ---- Passive transfers, which a device is never asked for ----------------------------------------------

TEST_F(XdcamOpenTest, APassiveSessionDialsBehindTheQuestion) {
    ftp.Passive().Expect("SITE REPF /clip 100 50").AcceptData().Say("150 here");
    ftp.DSend(mxf::Stretch(12) + "body");
    Connect(FTPMODE_XDCAM);
    Inner().m_bPASV = 1;
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(start, 88U);
    EXPECT_EQ(Read(4), "body");
    ftp.Finish();
}

TEST_F(XdcamOpenTest, APassiveSessionWithoutASocketTellsNoFailure) {
    ftp.Passive().Expect("SITE REPF /clip 100 50").Say("150 here");
    Connect(FTPMODE_XDCAM);
    Inner().m_bPASV = 1;
    ftp.FailNext(SocketCall::Open, 10024);
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    ExpectNothingRead();
    EXPECT_EQ(Inner().m_nReplyClass, 2) << "of PASV: no further reply was read";
    EXPECT_NE(Inner().m_DataChannel, nullptr) << "nothing was read, and so nothing has failed";
    EXPECT_EQ(Inspector::BackValid(*source), 0);
    EXPECT_EQ(Read(1), "");
    ftp.Finish();
}

TEST_F(XdcamOpenTest, APassiveSessionMayBeRefused) {
    ftp.Passive().Expect("SITE REPF /clip 100 50").AcceptData().Say("550 no").DExpectNothing();
    Connect(FTPMODE_XDCAM);
    Inner().m_bPASV = 1;
    EXPECT_EQ(OpenStretch(), VXC_STATUS_FTP_RETR);
    ExpectNothingRead();
    ftp.Finish();
}
