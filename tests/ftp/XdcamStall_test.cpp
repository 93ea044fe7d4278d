// Devices that fall silent or break off while the head of a stretch is read.
#include "XdcamFixture.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;

namespace {

constexpr uint32 kTimeOut = 60000;

class XdcamStallTest : public XdcamFixture {
protected:
    ~XdcamStallTest() override {
        source.reset();
        EXPECT_EQ(OpenSocketCount() - m_before, 1) << "the one that was given up";
    }
    // The stream is lost, though the open has worked.
    void ExpectLost() {
        EXPECT_EQ(status, VXC_STATUS_OK);
        EXPECT_EQ(Inner().m_DataChannel, nullptr);
        EXPECT_FALSE(Inspector::HasReceiver(*source));
        EXPECT_EQ(Read(10), "");
        EXPECT_EQ(source->CloseFile(), 0U);
    }
    void LetTimePass(std::thread opener) {
        EXPECT_TRUE(ftp.Clock().WaitForSleepers(1));
        EXPECT_EQ(ftp.Clock().Advance(kTimeOut - 1), 0);
        EXPECT_EQ(ftp.Clock().Advance(1), 1);
        opener.join();
        EXPECT_EQ(ftp.Spent(), kTimeOut);
    }

private:
    const int m_before = OpenSocketCount();
};

} // namespace

TEST_F(XdcamStallTest, SilenceInFrontOfAStretchEndsWithTheTimeOfARead) {
    Device().DHold();
    Connect(FTPMODE_XDCAM);
    LogCapture log;
    LetTimePass(OpenUntilItStands());
    EXPECT_EQ(start, 100U);
    EXPECT_THAT(log.Lines(), Contains(Trace(L"Can't get data from ftp sever(wait 60000 ms), Time Out!!!")));
    EXPECT_EQ(Head(0, 10), "");
    ExpectLost();
    ftp.Finish();
}

TEST_F(XdcamStallTest, SilenceInTheFirstBlockEndsTheHeaderAsWell) {
    Device().DSend(mxf::Stretch(12).substr(0, 511)).DHold();
    Connect(FTPMODE_XDCAM);
    LetTimePass(OpenUntilItStands()); // once, as nothing is left to read from
    EXPECT_EQ(start, 100U);
    EXPECT_EQ(Head(0, 10), "") << "a read that failed has given nothing";
    ExpectLost();
    ftp.Finish();
}

// The bytes are there, though the read that brought them has failed.
TEST_F(XdcamStallTest, AnOriginThatCameBeforeTheSilenceCounts) {
    Device().DSend(mxf::Head(4096) + mxf::Track(12)).DHold();
    Connect(FTPMODE_XDCAM);
    LetTimePass(OpenUntilItStands());
    EXPECT_EQ(start, 88U);
    EXPECT_EQ(Head(0, 600), mxf::Head(4096));
    EXPECT_EQ(Head(512, 10), "");
    EXPECT_EQ(Inspector::Position(*source), 512U);
    EXPECT_EQ(Inspector::BackValid(*source), 4096);
    ExpectLost();
    ftp.Finish();
}

TEST_F(XdcamStallTest, AnOriginThatDidNotComeBeforeTheSilenceDoesNotCount) {
    Device().DSend(mxf::Head(4096) + mxf::Filler(30)).UntilTold().DSend(mxf::Track(12)).DHold();
    Connect(FTPMODE_XDCAM);
    LetTimePass(OpenUntilItStands());
    EXPECT_EQ(start, 100U);
    ftp.GoOn();
    EXPECT_EQ(start, 100U);
    ExpectLost();
    ftp.Finish();
}

TEST_F(XdcamStallTest, AnOriginThatCameBeforeAResetCounts) {
    Device().DSend(mxf::Head(4096) + mxf::Track(12)).UntilTold().DRst();
    Connect(FTPMODE_XDCAM);
    LogCapture log;
    std::thread opener = OpenUntilItStands();
    ftp.GoOn();
    opener.join();
    EXPECT_EQ(start, 88U);
    EXPECT_THAT(log.Lines(), Contains(Trace(L"Can't get data from ftp sever , Socket Error 10054 !!!")));
    EXPECT_EQ(Head(0, 600), mxf::Head(4096));
    EXPECT_EQ(ftp.Spent(), 0);
    ExpectLost();
    ftp.Finish();
}

TEST_F(XdcamStallTest, ASmallHeaderKeepsWhatCameBeforeAResetToo) {
    Device().DSend(mxf::Head(512) + mxf::Track(12)).UntilTold().DRst();
    Connect(FTPMODE_XDCAM);
    std::thread opener = OpenUntilItStands();
    ftp.GoOn();
    opener.join();
    EXPECT_EQ(start, 88U);
    EXPECT_EQ(Head(512, 10), "");
    ExpectLost();
    ftp.Finish();
}
