// A stretch of a clip once it is open.
#include "XdcamFixture.h"

#include "support/Digests.h"

#include <memory>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class XdcamStretchTest : public XdcamFixture {
protected:
    static constexpr uint32 kHeader = 1024;
    static constexpr uint32 kWhole = 512 + kHeader;

    static std::string Body(uint64 from, uint64 bytes) { return FtpScript::Pattern(bytes, 3, from); }
    // Opens a stretch with a body of so many bytes.
    void OpenWithBody(uint64 bytes) {
        Device().DSend(m_head + Body(0, bytes));
        OpenOk();
    }

    const std::string m_head = mxf::Stretch(12, kHeader);
};

} // namespace

// ---- Positions ----------------------------------------------------------------------------------------

TEST_F(XdcamStretchTest, PositionsCountFromTheStartOfTheStretch) {
    OpenWithBody(1000);
    EXPECT_EQ(Inspector::Position(*source), kWhole);
    EXPECT_EQ(Inspector::StreamPosition(*source), kWhole);
    EXPECT_EQ(Inspector::BackValid(*source), static_cast<int>(kHeader));
    EXPECT_EQ(Inspector::BackPending(*source), 0);
    EXPECT_EQ(source->Seek(0, kFromCurrent), static_cast<int64>(kWhole));
    EXPECT_EQ(Read(1000), Body(0, 1000));
    EXPECT_EQ(Inspector::Position(*source), kWhole + 1000);
    ftp.Finish();
}

TEST_F(XdcamStretchTest, TheHeaderIsReadAgainOutOfTheBackBuffer) {
    OpenWithBody(1000);
    EXPECT_EQ(source->Seek(512, kFromStart), 512);
    EXPECT_EQ(Inspector::Position(*source), kWhole);
    EXPECT_EQ(Read(kHeader), m_head.substr(512));
    EXPECT_EQ(Read(10), Body(0, 10));
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamStretchTest, ALittleOnIsReadOn) {
    OpenWithBody(1000);
    EXPECT_EQ(source->Seek(kWhole + 500, kFromStart), static_cast<int64>(kWhole + 500));
    EXPECT_EQ(Read(10), Body(500, 10));
    ftp.Finish();
}

// The clip in place of the stretch: a server has no other way to the first block.
TEST_F(XdcamStretchTest, TheFirstBlockIsSoughtInTheWholeClip) {
    Device().DSend(m_head + Body(0, 100)).DExpectClosed().Say("426 cut");
    ftp.Active().Expect("SIZE /clip").Say("213 9000").Expect("RETR /clip").Say("150 here").Dial();
    ftp.DSend("the clip").DExpectClosed().Say("226");
    OpenOk();
    EXPECT_EQ(source->Seek(0, kFromStart), 0);
    EXPECT_EQ(source->GetFileSize(), 9000U);
    EXPECT_EQ(Read(8), "the clip");
    EXPECT_EQ(Head(0, kWhole), m_head.substr(0, 512)) << "the head of the stretch is still told";
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamStretchTest, AFarPlaceIsSoughtInTheWholeClip) {
    Device().DSend(m_head).DExpectClosed().Say("426 cut");
    ftp.Active().Expect("SIZE /clip").Say("550").Expect("REST 50000000").Say("350");
    ftp.Expect("RETR /clip").Say("150 here").Dial().DSend("far");
    OpenOk();
    EXPECT_EQ(source->Seek(50000000, kFromStart), 50000000);
    EXPECT_EQ(Read(3), "far");
    ftp.Finish();
}

TEST_F(XdcamStretchTest, ADeviceMayRefuseTheWholeClip) {
    Device().DSend(m_head).DExpectClosed().Say("426 cut");
    ftp.Active().Expect("SIZE /clip").Say("550").Expect("RETR /clip").Say("550");
    OpenOk();
    EXPECT_EQ(source->Seek(0, kFromStart), 0);
    EXPECT_EQ(Inspector::StreamPosition(*source), 0U);
    ftp.Finish();
}

// ---- The head that was read ---------------------------------------------------------------------------

TEST_F(XdcamStretchTest, TheHeadIsGivenFromAnyPosition) {
    OpenWithBody(10);
    std::string whole;
    for (std::string piece = "x"; !piece.empty(); whole += piece) {
        piece = Head(whole.size(), 100);
    }
    EXPECT_EQ(whole, m_head);
    EXPECT_EQ(whole + Read(10), m_head + Body(0, 10));
    for (const uint64 position : {0U, 1U, 511U}) {
        EXPECT_EQ(Head(position, 5000), m_head.substr(position, 512 - position)) << "the first block";
        EXPECT_EQ(Head(position, 1), m_head.substr(position, 1));
    }
    for (const uint64 position : {uint64{512}, uint64{513}, uint64{kWhole - 1}}) {
        EXPECT_EQ(Head(position, 5000), m_head.substr(position)) << "the header";
        EXPECT_EQ(Head(position, 1), m_head.substr(position, 1));
    }
    ftp.Finish();
}

TEST_F(XdcamStretchTest, BehindTheHeadThereIsNothing) {
    OpenWithBody(10);
    for (const uint64 position : {uint64{kWhole}, uint64{kWhole + 1}, uint64{1} << 32, (uint64{1} << 32) + 5,
                                  uint64{1} << 63, ~uint64{0}}) {
        EXPECT_EQ(Head(position, 100), "");
    }
    EXPECT_EQ(Head(0, 0), "");
    EXPECT_EQ(StretchHead(*source, 0, nullptr, 100), 0);
    uint8 byte = 0;
    EXPECT_EQ(StretchHead(*source, kWhole - 1, &byte, 0xFFFFFFFF), 1);
    ftp.Finish();
}

TEST_F(XdcamStretchTest, ASmallHeaderIsGivenToo) {
    const std::string bytes = mxf::Head(100) + mxf::Padded(mxf::Track(12), 512);
    Device().DSend(bytes + "body");
    OpenOk();
    EXPECT_EQ(Head(0, 512) + Head(512, 1000) + Read(4), bytes + "body");
    ftp.Finish();
}

TEST_F(XdcamStretchTest, OfAHeaderThatEndsEarlyThereIsWhatCame) {
    const std::string bytes = m_head.substr(0, 700);
    Device().DSend(bytes).DFin();
    OpenOk();
    EXPECT_EQ(Head(0, 512) + Head(512, 1000), bytes);
    EXPECT_EQ(Head(700, 10), "");
    ftp.Finish();
}

TEST_F(XdcamStretchTest, AHeaderThatCannotBeReadIsNotGiven) {
    Device().DSend(mxf::Head(~uint64{0}) + "rest");
    OpenOk();
    EXPECT_EQ(Head(0, 1000), mxf::Head(~uint64{0}));
    EXPECT_EQ(Head(512, 10), "");
    EXPECT_EQ(Read(4), "rest");
    ftp.Finish();
}

TEST_F(XdcamStretchTest, OtherSourcesHaveNoHead) {
    uint8 byte = 0;
    for (const auto mode : {IOWORKMODE_FILE, IOWORKMODE_FTP}) {
        const std::unique_ptr<CSoftDataSource> other(CSoftDataSource::Construct(mode));
        EXPECT_EQ(StretchHead(*other, 0, &byte, 1), 0);
    }
    EXPECT_EQ(StretchHead(*source, 0, &byte, 1), 0) << "nothing was opened";
}

TEST_F(XdcamStretchTest, TheHeadGoesWithTheStretch) {
    Device().DSend(m_head).DExpectClosed().Say("226");
    Device().DSend(m_head).DExpectClosed().Say("426");
    ftp.Active().Expect("SIZE f").Say("213 5").Expect("RETR f").Say("150 here").Dial().DSend("hello");
    ftp.DExpectClosed().Say("426");
    Device().DSend(m_head).DExpectClosed().Say("426");
    ftp.Active().Expect("SITE REPF /clip 100 50").Say("550 no");
    OpenOk();
    EXPECT_EQ(Head(0, 10), m_head.substr(0, 10));
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(Head(0, 10), "");
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(Head(0, 10), "") << "a whole file";
    EXPECT_EQ(Inspector::Position(*source), 0U);
    EXPECT_EQ(Read(5), "hello");
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(Head(0, 10), m_head.substr(0, 10));
    EXPECT_EQ(OpenStretch(), VXC_STATUS_FTP_RETR);
    EXPECT_EQ(Head(0, 10), "") << "a stretch that was refused";
    ftp.Finish();
}

// ---- Opened and closed --------------------------------------------------------------------------------

TEST_F(XdcamStretchTest, OpenedAgainItBeginsAnew) {
    const std::string second = mxf::Head(600) + mxf::Padded(mxf::Track(7), 600);
    Device().DSend(m_head + Body(0, 1000)).DExpectClosed().Say("426 cut");
    Device("SITE REPF /clip 10 5").DSend(second + "body").DExpectClosed().Say("226");
    OpenOk();
    const int threads = ThreadCount();
    EXPECT_EQ(Read(500), Body(0, 500));
    EXPECT_EQ(source->Seek(-100, kFromCurrent), static_cast<int64>(kWhole + 400)); // put up, and not read
    EXPECT_EQ(OpenStretch(10, 15), VXC_STATUS_OK);
    EXPECT_EQ(start, 3U);
    EXPECT_EQ(ThreadCount(), threads);
    EXPECT_EQ(Inspector::Position(*source), 1112U);
    EXPECT_EQ(Inspector::StreamPosition(*source), 1112U);
    EXPECT_EQ(Head(0, 512) + Head(512, 1000) + Read(4), second + "body");
    EXPECT_EQ(ftp.Spent(), 0);
    EXPECT_EQ(source->CloseFile(), 0U);
    ftp.Finish();
}

TEST_F(XdcamStretchTest, ClosedItIsAsBefore) {
    Device().DSend(m_head + Body(0, 1000)).DExpectClosed().Say("226 done");
    Connect(FTPMODE_XDCAM);
    const int threads = ThreadCount();
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(ThreadCount(), threads + 1);
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ThreadCount(), threads);
    EXPECT_FALSE(Inspector::HasReceiver(*source));
    EXPECT_EQ(Inspector::Position(*source), 0U);
    EXPECT_EQ(Inspector::StreamPosition(*source), 0U);
    EXPECT_EQ(Read(1), "");
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamStretchTest, ADeviceThatDoesNotAnswerTheCloseCosts2Seconds) {
    Device().DSend(m_head).DExpectClosed();
    OpenOk();
    EXPECT_EQ(source->CloseFile(), 0U);
    EXPECT_EQ(ftp.Spent(), 2000);
    ftp.Finish();
}

TEST_F(XdcamStretchTest, ItsDigestIsOfAllThatWasRead) {
    Device().DSend(m_head + Body(0, 1000)).DFin();
    Connect(FTPMODE_XDCAM);
    source->EnableMD5_Check(0);
    source->BeginMD5_Check(0);
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(Read(1000), Body(0, 1000));
    const std::string whole = m_head + Body(0, 1000);
    EXPECT_EQ(DigestOf(*source), DigestOf(std::vector<uint8>(whole.begin(), whole.end())));
    ftp.Finish();
}

// ---- Read-ahead ---------------------------------------------------------------------------------------

TEST_F(XdcamStretchTest, SwitchedOnBehindTheOpenTheReadAheadBeginsBehindTheHead) {
    Device().DSend(m_head + Body(0, 5000)).DFin();
    OpenOk();
    source->EnablePreRead(1000, 500);
    EXPECT_EQ(Read(100), Body(0, 100));
    EXPECT_EQ(ReadAt(kWhole + 100, 400), Body(100, 400));
    for (uint64 at = 500; at < 5000; at += 500) {
        EXPECT_EQ(Read(500), Body(at, 500)) << at;
    }
    EXPECT_EQ(Read(1), "");
    source->DisablePreRead();
    ftp.Finish();
}

// Its thread has looked for data when there were none, and the head is read like anything else.
TEST_F(XdcamStretchTest, SwitchedOnBeforeTheOpenTheReadAheadFindsNoHead) {
    Device().DSend(m_head + Body(0, 1000));
    Connect(FTPMODE_XDCAM);
    source->EnablePreRead(1000, 500);
    EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
    EXPECT_EQ(start, 100U);
    EXPECT_EQ(Head(0, 10), "");
    EXPECT_EQ(Inspector::Position(*source), 0U);
    EXPECT_EQ(Read(10), "");
    source->DisablePreRead();
    EXPECT_EQ(Read(kWhole), m_head);
    EXPECT_EQ(Read(1000), Body(0, 1000));
    ftp.Finish();
}
