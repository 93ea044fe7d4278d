// What the header of a stretch says, as the device sends it.
#include "XdcamFixture.h"

#include <limits>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;

namespace {

class XdcamHeaderTest : public XdcamFixture {
protected:
    // The start that comes back for a stretch that begins with these bytes and ends there.
    uint32 StartOf(const std::string& bytes, uint32 from = 100) {
        return StartOf(std::vector<std::string>{bytes}, from).front();
    }
    std::vector<uint32> StartOf(const std::vector<std::string>& all, uint32 from = 100) {
        for (const std::string& bytes : all) {
            Device("SITE REPF /clip " + std::to_string(from) + " 50").DSend(bytes).DFin().DExpectClosed();
            ftp.Say("226 done");
        }
        Connect(FTPMODE_XDCAM);
        std::vector<uint32> starts;
        for (std::size_t i = 0; i < all.size(); ++i) {
            EXPECT_EQ(OpenStretch(from, from + 50), VXC_STATUS_OK);
            starts.push_back(start);
            EXPECT_EQ(source->CloseFile(), 0U);
            // The next channel waits for a reply that CloseFile has taken.
            ftp.Mark();
        }
        ftp.Finish();
        return starts;
    }
};

// So many bytes behind the head, the last of which are those of a track.
std::string TrackAtTheEnd(std::size_t bytes, int64 origin = 12) {
    const std::string track = mxf::Track(origin);
    return mxf::Padded("", bytes - track.size()) + track;
}

constexpr uint64 kWrapped = uint64{1} << 32;

} // namespace

// ---- Origins ------------------------------------------------------------------------------------------

TEST_F(XdcamHeaderTest, TheStretchBeginsEarlierByTheOrigin) {
    EXPECT_EQ(StartOf(mxf::Stretch(12)), 88U);
}

TEST_F(XdcamHeaderTest, WithoutAnOriginItBeginsWhereItWasAskedFor) {
    const std::vector<std::string> all = {mxf::Head(1024) + mxf::Padded("", 1024), mxf::Stretch(0),
                                          mxf::Stretch(-12), mxf::Stretch(std::numeric_limits<int64>::min())};
    EXPECT_EQ(StartOf(all), std::vector<uint32>(4, 100));
}

TEST_F(XdcamHeaderTest, ATrackWithoutAnOriginLeavesTheWordToTheNext) {
    const std::string tracks = mxf::Track(0) + mxf::Track(7) + mxf::Track(12);
    EXPECT_EQ(StartOf(mxf::Head(1024) + mxf::Padded(tracks, 1024)), 93U);
}

TEST_F(XdcamHeaderTest, AnOriginBeyondTheStartWraps) {
    EXPECT_EQ(StartOf(mxf::Stretch(12), 5), 0xFFFFFFF9U);
}

TEST_F(XdcamHeaderTest, OfAnOriginThereAre32Bits) {
    LogCapture log;
    EXPECT_EQ(StartOf({mxf::Stretch(kWrapped + 12), mxf::Stretch(0x80000000)}),
              (std::vector<uint32>{88, 0x80000064}));
    EXPECT_THAT(log.Lines(), Contains(Trace(L"Find Xdcam ibp TrackPosition 12")));
    EXPECT_THAT(log.Lines(), Contains(Trace(L"Find Xdcam ibp TrackPosition -2147483648")));
}

TEST_F(XdcamHeaderTest, AnOriginThatIsNotFoundIsNotLogged) {
    LogCapture log;
    EXPECT_EQ(StartOf(mxf::Stretch(0)), 100U);
    EXPECT_FALSE(log.Contains(L"TrackPosition"));
}

// ---- Sizes --------------------------------------------------------------------------------------------

TEST_F(XdcamHeaderTest, AHeaderHasAtLeast512Bytes) {
    for (const uint64 count : {0U, 1U, 100U, 511U, 512U}) {
        Device().DSend(mxf::Head(count) + TrackAtTheEnd(512) + "body").DExpectClosed().Say("226");
    }
    Connect(FTPMODE_XDCAM);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
        EXPECT_EQ(start, 88U);
        EXPECT_EQ(Inspector::Position(*source), 1024U);
        EXPECT_EQ(Read(4), "body");
        EXPECT_EQ(source->CloseFile(), 0U);
    }
    ftp.Finish();
}

TEST_F(XdcamHeaderTest, ALargerHeaderIsReadWhole) {
    for (const std::size_t count : {513U, 4096U, 70000U}) {
        Device().DSend(mxf::Head(count) + TrackAtTheEnd(count) + "body").DExpectClosed().Say("226");
    }
    Connect(FTPMODE_XDCAM);
    for (const uint64 count : {513U, 4096U, 70000U}) {
        EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
        EXPECT_EQ(start, 88U) << count;
        EXPECT_EQ(Inspector::Position(*source), 512 + count);
        EXPECT_EQ(Read(4), "body");
        EXPECT_EQ(source->CloseFile(), 0U);
    }
    ftp.Finish();
}

TEST_F(XdcamHeaderTest, AHeaderOf3MiBIsReadWhole) {
    constexpr std::size_t kBytes = 3 << 20;
    Device().DSend(mxf::Head(kBytes) + TrackAtTheEnd(kBytes) + "body");
    OpenOk();
    EXPECT_EQ(start, 88U);
    EXPECT_EQ(Inspector::Position(*source), 512 + kBytes);
    EXPECT_EQ(Inspector::BackValid(*source), 1 << 20);
    EXPECT_EQ(source->Seek(-44, kFromCurrent), static_cast<int64>(512 + kBytes - 44));
    EXPECT_EQ(Read(44), mxf::Track(12));
    EXPECT_EQ(Read(4), "body");
    ftp.Finish();
}

TEST_F(XdcamHeaderTest, BehindTheToldSizeNoTrackIsFound) {
    EXPECT_EQ(StartOf({mxf::Head(512) + mxf::Padded("", 512) + mxf::Track(12),
                       mxf::Head(4096) + mxf::Padded("", 4096) + mxf::Track(12)}),
              (std::vector<uint32>{100, 100}));
}

TEST_F(XdcamHeaderTest, OfASizeThereAre32Bits) {
    Device().DSend(mxf::Head(kWrapped + 512) + TrackAtTheEnd(512) + "body");
    OpenOk();
    EXPECT_EQ(start, 88U);
    EXPECT_EQ(Inspector::Position(*source), 1024U);
    EXPECT_EQ(Read(4), "body");
    ftp.Finish();
}

TEST_F(XdcamHeaderTest, ASizeWithoutLow32BitsIsNone) {
    Device().DSend(mxf::Head(kWrapped) + "body");
    OpenOk();
    EXPECT_EQ(start, 100U);
    EXPECT_EQ(Inspector::Position(*source), 512U);
    EXPECT_EQ(Inspector::BackValid(*source), 0);
    EXPECT_EQ(Read(4), "body");
    ftp.Finish();
}

TEST_F(XdcamHeaderTest, AHeaderThatNoReadCanAskForIsNotRead) {
    const uint64 counts[] = {~uint64{0}, 0x80000000, 0xFFFFFFFF, kWrapped + 0x80000000};
    for (const uint64 count : counts) {
        Device().DSend(mxf::Head(count) + mxf::Track(12)).DExpectClosed().Say("226");
    }
    Connect(FTPMODE_XDCAM);
    for (std::size_t i = 0; i < std::size(counts); ++i) {
        EXPECT_EQ(OpenStretch(), VXC_STATUS_OK);
        EXPECT_EQ(start, 100U);
        EXPECT_EQ(Inspector::Position(*source), 512U);
        EXPECT_EQ(Inspector::BackValid(*source), 512);
        EXPECT_EQ(Read(44), mxf::Track(12));
        EXPECT_EQ(source->CloseFile(), 0U);
    }
    ftp.Finish();
}

// ---- Streams that end ---------------------------------------------------------------------------------

TEST_F(XdcamHeaderTest, AStretchOfTenBytesHasNoHeader) {
    Device().DSend(mxf::Stretch(12).substr(0, 10)).DFin();
    OpenOk();
    EXPECT_EQ(start, 100U);
    EXPECT_EQ(Inspector::Position(*source), 10U);
    EXPECT_EQ(Inspector::StreamPosition(*source), 10U);
    EXPECT_EQ(Inspector::BackValid(*source), 512);
    EXPECT_EQ(Head(0, 100), mxf::Stretch(12).substr(0, 10));
    EXPECT_EQ(Read(1), "");
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(XdcamHeaderTest, AStretchOfNoBytesHasNoHeader) {
    Device().DFin();
    OpenOk();
    EXPECT_EQ(start, 100U);
    EXPECT_EQ(Head(0, 100), "");
    EXPECT_EQ(Read(1), "");
    ftp.Finish();
}

TEST_F(XdcamHeaderTest, AHeaderThatEndsEarlyIsReadAsFarAsItGoes) {
    const std::string track = mxf::Track(12);
    const std::string whole = mxf::Head(4096) + mxf::Filler(30) + track;
    EXPECT_EQ(StartOf({whole, whole.substr(0, whole.size() - 1), whole.substr(0, 600)}),
              (std::vector<uint32>{88, 100, 100}));
}

TEST_F(XdcamHeaderTest, ASizeWhoseLastBytesDidNotComeIsReadWithZeros) {
    Device().DSend(mxf::Head(0x0102030405060708).substr(0, 58)).DFin();
    OpenOk(); // 0x05060000 bytes of memory, and nothing comes
    EXPECT_EQ(start, 100U);
    EXPECT_EQ(Inspector::BackValid(*source), 1 << 20);
    ftp.Finish();
}

// The bytes are there, though the read that brought them has thrown.
TEST_F(XdcamHeaderTest, AnOriginThatCameBeforeAReceiveThatThrowsCounts) {
    Device().DSend(mxf::Head(4096) + mxf::Track(12)).UntilTold().DSend("more");
    Connect(FTPMODE_XDCAM);
    std::thread opener = OpenUntilItStands();
    ftp.ThrowNext(SocketCall::ReceiveNow);
    ftp.GoOn();
    opener.join();
    EXPECT_EQ(status, VXC_STATUS_OK);
    EXPECT_EQ(start, 88U);
    EXPECT_EQ(Head(512, 10), "");
    EXPECT_EQ(Read(4), "more");
    ftp.Finish();
}

// A small header takes the place of the first block, and where it does not come that block stands there.
TEST_F(XdcamHeaderTest, WhereASmallHeaderEndsEarlyTheFirstBlockShows) {
    std::string head = mxf::Head(512);
    head.replace(120, mxf::Track(12).size(), mxf::Track(12)); // behind the partition pack
    std::string wrapped = mxf::Head(kWrapped + 512);
    wrapped.replace(120, mxf::Track(12).size(), mxf::Track(12));
    const std::string pack = head.substr(0, 20);
    EXPECT_EQ(StartOf({head, head + pack, head + mxf::Padded("", 512), wrapped}),
              (std::vector<uint32>{88, 88, 100, 100}));
}
