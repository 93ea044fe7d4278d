// How an FTP source begins and ends its transfers.
#include "BrokenListener.h"
#include "FtpSourceFixture.h"

#include "support/FaultPlan.h"
#include "support/MemoryLack.h"

#include <thread>
#include <utility>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;
using ::testing::ElementsAre;

namespace {

class FtpSourceTest : public FtpSourceFixture {
protected:
    FtpScript& ActiveTransfer(const std::string& sizeReply, const std::string& reply) {
        return ftp.Active().Expect("SIZE f").Say(sizeReply).Expect("RETR f").Say(reply);
    }
};

} // namespace

// ---- Opening ------------------------------------------------------------------------------------------

TEST_F(FtpSourceTest, APassiveTransferFromItsOpenToItsClose) {
    Transfer("5").DSend("hello").DFin().DExpectClosed().Say("226 done");
    Connect();
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source->GetFileSize(), 5U);
    EXPECT_EQ(Read(5), "hello");
    EXPECT_EQ(Read(1), "");
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
    EXPECT_THAT(Lines(), ElementsAre("TYPE I", "PASV", "SIZE f", "RETR f"));
}

TEST_F(FtpSourceTest, APassiveConnectionIsMadeBehindTheCommand) {
    Transfer("5");
    Connect();
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    ftp.Finish();
    const auto story = ftp.Story();
    const auto place = [&](const std::string& what) {
        return std::find(story.begin(), story.end(), what) - story.begin();
    };
    EXPECT_LT(place("control send RETR f"), place("data connect"));
    EXPECT_LT(place("data connect"), std::ssize(story));
}

TEST_F(FtpSourceTest, AnActiveTransferIsDialledBehindTheReply) {
    ActiveTransfer("213 5", "150 here").Dial().DSend("hello").DFin().DExpectClosed().Say("226 done");
    Connect(FTPMODE_XDCAM);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Inner().m_bPASV, 0);
    EXPECT_EQ(Read(100), "hello");
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
    EXPECT_THAT(ftp.Story(), Contains("data accept"));
}

TEST_F(FtpSourceTest, AnOpenTurnsTheSessionPassiveAgain) {
    Transfer("5");
    Connect();
    EXPECT_EQ(source->SetPASVMode(0), 1);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Inner().m_bPASV, 1);
    ftp.Finish();
}

TEST_F(FtpSourceTest, AServerWithoutPassiveTransfersIsServedActively) {
    ftp.Expect("TYPE I").Say("200").Expect("PASV").Say("502 no").ExpectPort().Say("200").Expect("SIZE f");
    ftp.Say("213 2").Expect("RETR f").Say("150").Dial().DSend("ok").DFin();
    Connect();
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), "ok");
    ftp.Finish();
}

TEST_F(FtpSourceTest, OnlyTheNameOfTheArgumentsIsLookedAt) {
    Transfer("5");
    Connect();
    EXPECT_EQ(source->OpenFile(L"f", 0xFFFFFFFF, L"second", 77), VXC_STATUS_OK);
    ftp.Finish();
}

TEST_F(FtpSourceTest, AMissingNameIsAnEmptyOne) {
    ftp.Passive().Expect("SIZE ").Say("550").Expect("RETR ").AcceptData().Say("550");
    Connect();
    EXPECT_EQ(source->OpenFile(nullptr, 0, nullptr, 0), VXC_STATUS_FTP_RETR);
    ftp.Finish();
}

TEST_F(FtpSourceTest, WithoutAConnectionNothingOpens) {
    EXPECT_EQ(Open(), VXC_STATUS_FTP_TYPE);
    EXPECT_EQ(Read(10), "");
    EXPECT_EQ(source->CloseFile(), 0U);
}

// ---- The size -----------------------------------------------------------------------------------------

struct SizeCase {
    const char* name;
    const char* sizeReply;
    const char* reply;
    uint64 size;
    uint32 status = VXC_STATUS_OK;
};

class FtpSourceSizeTest : public FtpSourceFixture, public ::testing::WithParamInterface<SizeCase> {};

TEST_P(FtpSourceSizeTest, TheSizeIsThatOfTheReplies) {
    const SizeCase& the = GetParam();
    ftp.Passive().Expect("SIZE f").Say(the.sizeReply).Expect("RETR f").AcceptData().Say(the.reply);
    Connect();
    EXPECT_EQ(Open(), the.status);
    EXPECT_EQ(source->GetFileSize(), the.size);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

INSTANTIATE_TEST_SUITE_P(
    Replies, FtpSourceSizeTest,
    ::testing::Values(SizeCase{"OfSize", "213 12345678901", "150 here (7 bytes)", 12345678901},
                      SizeCase{"OfRetrWhereSizeIsRefused", "550 what", "150 Opening (12345 bytes)", 12345},
                      SizeCase{"UnknownWithoutABracket", "550 what", "150 Opening 12345 bytes", 0},
                      SizeCase{"OfRetrWhereItWas0", "213 0", "150 Opening (7 bytes)", 7},
                      SizeCase{"Of0", "213 0", "150 Opening (0 bytes)", 0},
                      SizeCase{"BehindTheLastBracket", "500", "150 Opening f (1 of 2) (34 bytes)", 34},
                      SizeCase{"AtTheEndOfTheReply", "500", "150 Opening (7", 7},
                      SizeCase{"OfFortyDigits", "500",
                               "150 x (1234567890123456789012345678901234567890 bytes)", 0x7FFFFFFFFFFFFFFF},
                      SizeCase{"NoNumber", "213 much", "150 Opening (many bytes)", 0},
                      SizeCase{"OfTheLastLine", "213-5\r\n213 7", "150", 7},
                      SizeCase{"WithoutABlankIsNone", "213", "150 (9 bytes)", 9},
                      SizeCase{"KeptWhereTheFileIsRefused", "213 5", "550 no", 5, VXC_STATUS_FTP_RETR},
                      SizeCase{"KeptWhereTheTransferIsSaidToBeOver", "213 5", "226 done", 5,
                               VXC_STATUS_FTP_RETR}),
    [](const auto& entry) { return std::string(entry.param.name); });

TEST_F(FtpSourceTest, WhereNothingTellsTheSizeThatOfTheFileBeforeStays) {
    Transfer("5").DFin().DExpectClosed().Say("226");
    ftp.Passive().Expect("SIZE g").Say("550").Expect("RETR g").AcceptData().Say("150 here (77 bytes)");
    Connect();
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    source->CloseFile();
    EXPECT_EQ(source->GetFileSize(), 5U);
    EXPECT_EQ(Open(L"g"), VXC_STATUS_OK);
    EXPECT_EQ(source->GetFileSize(), 5U);
    ftp.Finish();
}

// ---- Refusals -----------------------------------------------------------------------------------------

TEST_F(FtpSourceTest, SilenceAfterSizeFailsTheOpen) {
    ftp.Passive().Expect("SIZE f");
    Connect();
    EXPECT_EQ(Open(), VXC_STATUS_FTP_RETR);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpSourceTest, SilenceAfterRetrFailsTheOpen) {
    ftp.Passive().Expect("SIZE f").Say("213 5").Expect("RETR f").AcceptData();
    Connect();
    EXPECT_EQ(Open(), VXC_STATUS_FTP_RETR);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

// The commands go out one after the other: TYPE I, PASV, SIZE, RETR.
TEST_F(FtpSourceTest, ACommandThatCannotBeSentFailsTheOpen) {
    ftp.Passive();
    Connect();
    ftp.FailNext(SocketCall::Send, 10054, 2);
    EXPECT_EQ(Open(), VXC_STATUS_FTP_SEND);
    ftp.Finish();
}

TEST_F(FtpSourceTest, ARetrThatCannotBeSentFailsTheOpen) {
    ftp.Passive().Expect("SIZE f").Say("213 5");
    Connect();
    ftp.FailNext(SocketCall::Send, 10054, 3);
    EXPECT_EQ(Open(), VXC_STATUS_FTP_SEND);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceTest, WhereNoDataSocketCanBeMadeTheReadsTell) {
    ftp.Passive().Expect("SIZE f").Say("213 5").Expect("RETR f");
    Connect();
    ftp.FailNext(SocketCall::Open, 10024);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), "");
    EXPECT_EQ(Inner().m_DataChannel, nullptr);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

// Its reply is what counts; a server that gave one all the same is believed.
TEST_F(FtpSourceTest, ADataConnectionThatIsRefusedShowsInTheFirstRead) {
    ftp.Passive().Expect("SIZE f").Say("213 5").RefuseData().Expect("RETR f").Say("150 here");
    Connect();
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), "");
    EXPECT_EQ(Inner().m_DataChannel, nullptr);
    EXPECT_EQ(log.Count(L"Can't get data from ftp sever , Socket Error"), 1U);
    ftp.Finish();
}

TEST_F(FtpSourceTest, AnAcceptThatFailsShowsInTheFirstRead) {
    ActiveTransfer("213 5", "150 here");
    Connect(FTPMODE_XDCAM);
    ftp.FailNext(SocketCall::Accept, 10024);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(10), "");
    ftp.Finish();
}

// The listening socket itself is what the accept looks at.
TEST_F(FtpSourceTest, WithoutAListeningSocketTheAcceptFails) {
    ftp.Active().Expect("SIZE f").Say("213 5").Expect("RETR f").Say("150 here");
    Connect(FTPMODE_XDCAM);
    BreakListenerAt("RETR", Inner());
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_FTP_ACCEPT);
    EXPECT_THAT(log.Lines(),
                Contains(Trace(L"CFtpSource:: Accept inbound data connection from server Error!!!\n")));
    ftp.Finish();
}

// ---- What opening leaves in the log --------------------------------------------------------------------

TEST_F(FtpSourceTest, AnOpenIsLoggedFromItsBeginToItsEnd) {
    Transfer("5");
    Connect();
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    ftp.Finish();
    const LogLine begin = Trace(L"CFtpSource--SetStartPos Begin qwPos = 0\n");
    const LogLine end = Trace(L"CFtpSource--OpenFile End\n");
    ASSERT_FALSE(log.Lines().empty());
    EXPECT_EQ(log.Lines().front(), begin);
    EXPECT_EQ(log.Lines().back(), end);
}

TEST_F(FtpSourceTest, AnOpenThatFailsHasNoEndInTheLog) {
    ftp.Passive().Expect("SIZE f").Say("550").Expect("RETR f").AcceptData().Say("550");
    Connect();
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_FTP_RETR);
    EXPECT_TRUE(log.Contains(L"CFtpSource--SetStartPos Begin"));
    EXPECT_FALSE(log.Contains(L"CFtpSource--OpenFile End"));
    ftp.Finish();
}

TEST_F(FtpSourceTest, AChannelThatIsNotSetUpIsLogged) {
    ftp.Expect("TYPE I").Say("500").Expect("TYPE I").Say("500").Expect("REIN").Say("502");
    ftp.Expect("TYPE I").Say("500");
    Connect();
    LogCapture log;
    EXPECT_EQ(Open(), VXC_STATUS_FTP_TYPE);
    EXPECT_EQ(log.Lines().back(), (Trace(L"create ftp datachannel failed\n")));
    ftp.Finish();
}

// ---- The time-out ---------------------------------------------------------------------------------------

struct TimeOutCase {
    const char* name;
    const wchar_t* value; // null: not set
    uint32 timeOut;
};

class FtpSourceTimeOutTest : public FtpSourceFixture, public ::testing::WithParamInterface<TimeOutCase> {};

TEST_P(FtpSourceTimeOutTest, TheSettingIsReadByTheOpen) {
    if (GetParam().value != nullptr) {
        settings.Set(L"FtpTimeOut", GetParam().value);
    }
    EXPECT_EQ(Inspector::TimeOut(*source), 60000U);
    EXPECT_EQ(Open(), VXC_STATUS_FTP_TYPE);
    EXPECT_EQ(Inspector::TimeOut(*source), GetParam().timeOut);
}

INSTANTIATE_TEST_SUITE_P(Values, FtpSourceTimeOutTest,
                         ::testing::Values(TimeOutCase{"NotSet", nullptr, 60000},
                                           TimeOutCase{"TooShort", L"999", 60000},
                                           TimeOutCase{"Zero", L"0", 60000},
                                           TimeOutCase{"Shortest", L"1000", 1000},
                                           TimeOutCase{"Long", L"123456", 123456},
                                           TimeOutCase{"WithoutALimit", L"0xFFFFFFFF", VXC_INFINITE},
                                           TimeOutCase{"NoNumber", L"soon", 60000}),
                         [](const auto& entry) { return std::string(entry.param.name); });

// ---- CanSeek --------------------------------------------------------------------------------------------

TEST_F(FtpSourceTest, AServerThatTakesAPositionCanSeek) {
    ftp.Expect("REST 100").Say("350 on").Passive();
    // Nothing takes the probe back: what the server makes of it shows in the transfer.
    ftp.Expect("SIZE f").Say("213 5").Expect("RETR f").AcceptData().Say("150").DFin();
    Connect();
    EXPECT_EQ(source->CanSeek(), 1);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceTest, AServerThatRefusesAPositionCannotSeek) {
    ftp.Expect("REST 100").Say("500 what");
    Connect();
    EXPECT_EQ(source->CanSeek(), 0);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceTest, AServerThatSaysNothingOfAPositionCannotSeek) {
    ftp.Expect("REST 100");
    Connect();
    EXPECT_EQ(source->CanSeek(), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

// The reply is waited for even where the command did not go out.
TEST_F(FtpSourceTest, AProbeThatCannotBeSentWaitsForItsReply) {
    Connect();
    ftp.FailNext(SocketCall::Send, 10054);
    EXPECT_EQ(source->CanSeek(), 0);
    EXPECT_EQ(ftp.Spent(), 15000);
    ftp.Finish();
}

TEST_F(FtpSourceTest, AServerThatSaysGoodbyeToTheProbeCannotSeek) {
    ftp.Expect("REST 100").Say("350-on").Say("421 bye");
    Connect();
    EXPECT_EQ(source->CanSeek(), 0);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpSourceTest, ReadRepeatMeansNothingHere) {
    EXPECT_EQ(source->SetReadRepeat(1), 0U);
    EXPECT_EQ(source->SetReadRepeat(0), 0U);
}

TEST_F(FtpSourceTest, WithoutAThreadNoTransferIsBegun) {
    for (const Op op : {Op::VXC_CreateEventW, Op::VXC_CreateThread, Op::VXC_ResumeThread}) {
        for (int n = 1; n <= (op == Op::VXC_CreateEventW ? 3 : 1); ++n) {
            const NoLeakScope leaks;
            CFtpSource other;
            FaultPlan plan;
            auto rule = Fail(op).Nth(n);
            // To let a thread run is tried again.
            plan.Add(op == Op::VXC_ResumeThread ? rule.FromThenOn() : rule);
            EXPECT_EQ(other.OpenFile(L"f", 0, nullptr, 0), VXC_STATUS_OPEN_READ) << OpName(op);
            EXPECT_GE(plan.Fired(), 1);
            uint8 byte = 0;
            EXPECT_EQ(other.Read(&byte, 1), 0);
            EXPECT_EQ(other.CloseFile(), 0U);
        }
    }
}

TEST_F(FtpSourceTest, TheReceiveThreadHasThreeEventsAndIsLetRunOnce) {
    Transfer("5");
    Connect();
    FaultPlan plan;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateEventW), 3);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 1);
    EXPECT_EQ(plan.Calls(Op::VXC_ResumeThread), 1);
    source->CloseFile();
    EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), 4);
    ftp.End();
}
