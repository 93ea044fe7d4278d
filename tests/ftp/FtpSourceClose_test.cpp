// How an FTP source ends its transfers, and begins others.
#include "FtpSourceFixture.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

class FtpSourceCloseTest : public FtpSourceFixture {};

} // namespace

struct CloseCase {
    const char* name;
    std::function<void(FtpScript&)> replies;
    int64 spent;
};

class FtpSourceCloseReplyTest : public FtpSourceFixture, public ::testing::WithParamInterface<CloseCase> {};

TEST_P(FtpSourceCloseReplyTest, TheClosingReplyIsWaitedFor) {
    Transfer("5").DExpectClosed();
    GetParam().replies(ftp);
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), GetParam().spent);
    ftp.Finish();
}

INSTANTIATE_TEST_SUITE_P(
    Replies, FtpSourceCloseReplyTest,
    ::testing::Values(CloseCase{"Done", [](FtpScript& ftp) { ftp.Say("226 done"); }, 0},
                      CloseCase{"Aborted", [](FtpScript& ftp) { ftp.Say("426 aborted"); }, 0},
                      CloseCase{"BehindAnother",
                                [](FtpScript& ftp) { ftp.Say("150 0.001 seconds").Say("426 aborted"); }, 0},
                      CloseCase{"AnotherAlone", [](FtpScript& ftp) { ftp.Say("225 open"); }, 2000},
                      CloseCase{"InSeveralLines", [](FtpScript& ftp) { ftp.Say("226-a").Say("226 b"); }, 0},
                      CloseCase{"Never", [](FtpScript&) {}, 2000},
                      CloseCase{"LinesDrip",
                                [](FtpScript& ftp) {
                                    ftp.After(1900).Say("150 a").After(1900).Say("150 b").After(1900).Say(
                                        "226");
                                },
                                5700},
                      CloseCase{"LinesOfOneReplyDrip",
                                [](FtpScript& ftp) { ftp.After(1900).Say("226-a").After(1900).Say("226 b"); },
                                3800},
                      CloseCase{"TheServerLeaves", [](FtpScript& ftp) { ftp.Say("421 bye").Fin(); }, 0},
                      CloseCase{"TooLate", [](FtpScript& ftp) { ftp.After(2000).Say("226"); }, 2000}),
    [](const auto& entry) { return std::string(entry.param.name); });

TEST_F(FtpSourceCloseTest, AClosedSourceHasNoThreadAndNoPosition) {
    Transfer("5").DSend("hello").DExpectClosed().Say("226");
    Connect();
    const int threads = ThreadCount();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(3), "hel");
    EXPECT_EQ(source->Seek(0, kFromCurrent), 3);
    EXPECT_EQ(ThreadCount(), threads + 1);
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(source->Seek(0, kFromCurrent), 0);
    EXPECT_EQ(Read(3), "");
    EXPECT_FALSE(Inspector::HasReceiver(*source));
    EXPECT_EQ(source->GetFileSize(), 5U);
    EXPECT_NE(Inner().m_DataChannel, nullptr); // it is the next transfer that looks after it
    ftp.Finish();
}

TEST_F(FtpSourceCloseTest, ASecondCloseDoesNothing) {
    Transfer("5").DExpectClosed().Say("226");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source->CloseFile();
    LogCapture log;
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_TRUE(log.Lines().empty());
    ftp.Finish();
}

TEST_F(FtpSourceCloseTest, ACloseLogsItsSteps) {
    Transfer("5").DExpectClosed().Say("226 done");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LogCapture log;
    source->CloseFile();
    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace(L"CFtpSource::CloseFile()-m_DataChannel->Close()-1"),
                            Trace(L"CFtpSource::CloseFile()-m_DataChannel->Close()-2"),
                            Trace(L"CFtpSource::CloseFile()-m_pInner->ReadStr(m_pInner->m_retmsg, 2000)-1"),
                            Trace(L"226 done\n"),
                            Trace(L"CFtpSource::CloseFile()-m_pInner->ReadStr(m_pInner->m_retmsg, 2000)-2")));
    ftp.Finish();
}

TEST_F(FtpSourceCloseTest, AnOpenThatFailedIsClosedLikeAnyOther) {
    ftp.Passive().Expect("SIZE f").Say("550").Expect("RETR f").AcceptData().Say("550 no").DExpectClosed();
    Connect();
    EXPECT_EQ(Open(), VXC_STATUS_FTP_RETR);
    EXPECT_TRUE(Inspector::HasReceiver(*source));
    source->CloseFile();
    EXPECT_EQ(ftp.Spent(), 2000); // nothing more is said of the file
    ftp.Finish();
}

// The session's Close ends the data channel as well.
TEST_F(FtpSourceCloseTest, AfterTheSessionIsClosedThereIsNothingToReadAndNothingToWaitFor) {
    Transfer("5").DSend("hello").DExpectClosed().Expect("QUIT").Say("221 bye");
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(source->Close(), 1);
    EXPECT_EQ(Read(5), "");
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

// ---- Opening again --------------------------------------------------------------------------------------

// The closing reply was read already, and the next transfer waits for it.
TEST_F(FtpSourceCloseTest, AnOpenAfterACloseStands15SecondsInFrontOfItsFirstCommand) {
    Transfer("5").DExpectClosed().Say("226").Quiet(14900);
    ftp.Passive()
        .Expect("SIZE g")
        .Say("213 6")
        .Expect("RETR g")
        .AcceptData()
        .Say("150")
        .DSend("second")
        .DFin();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    source->CloseFile();
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(Open(L"g"), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 15000);
    EXPECT_EQ(source->GetFileSize(), 6U);
    EXPECT_EQ(Read(10), "second");
    ftp.Finish();
}

TEST_F(FtpSourceCloseTest, AnOpenWithoutACloseReadsTheClosingReplyItself) {
    Transfer("5").DSend("first").DExpectClosed().Say("426 aborted");
    ftp.Passive()
        .Expect("SIZE g")
        .Say("213 6")
        .Expect("RETR g")
        .AcceptData()
        .Say("150")
        .DSend("second")
        .DFin();
    Connect();
    const int threads = ThreadCount();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(2), "fi");
    EXPECT_EQ(Open(L"g"), VXC_STATUS_OK);
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(source->Seek(0, kFromCurrent), 0);
    EXPECT_EQ(Read(10), "second");
    EXPECT_EQ(ThreadCount(), threads + 1);
    ftp.Finish();
}

TEST_F(FtpSourceCloseTest, AnOpenForgetsWhatStoodInTheBackBuffer) {
    Transfer("5").DSend("first").DExpectClosed().Say("226");
    ftp.Passive()
        .Expect("SIZE g")
        .Say("213 6")
        .Expect("RETR g")
        .AcceptData()
        .Say("150")
        .DSend("second")
        .DFin();
    Connect();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(5), "first");
    EXPECT_EQ(source->Seek(2, kFromStart), 2);
    ASSERT_EQ(Open(L"g"), VXC_STATUS_OK);
    EXPECT_EQ(Read(6), "second");
    ftp.Finish();
}

TEST_F(FtpSourceCloseTest, ADeletedSourceQuitsWithoutWaitingForTheTransfer) {
    Transfer("5").DSend("hello").DExpectClosed().Expect("QUIT").Say("221 bye").ExpectClosed();
    const int sockets = OpenSocketCount();
    Connect();
    const int threads = ThreadCount();
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Read(2), "he");
    source.reset();
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(ThreadCount(), threads);
    EXPECT_EQ(OpenSocketCount(), sockets);
    ftp.Finish();
}
