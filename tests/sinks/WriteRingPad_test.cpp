// The end of a partial node past the cache: filled up to whole sectors with what the disk holds.
#include "sinks/RingOfNodes.h"

#include <gmock/gmock.h>

#include <cstring>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

class WriteRingPadTest : public RingOfNodes {
protected:
    static constexpr uint32 kSize = 1000;

    WriteRingPadTest() : content(Pattern(kSize, 9)) { host.AddFile(L"host.mxf", content); }

    void Patch(std::size_t position, const std::vector<uint8>& bytes) {
        content.resize(std::max(content.size(), position + bytes.size()));
        std::copy(bytes.begin(), bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(position));
    }

    std::vector<uint8> content; // as it is to be
};

} // namespace

TEST_F(WriteRingPadTest, TheTailOfTheLastSectorKeepsWhatTheDiskHolds) {
    Start(2, true);
    ASSERT_EQ(file.SetFilePointer(128, VXC_FILE_BEGIN), 128);
    ring->Node().nFilePos = 128;
    News();
    Fill(Pattern(100, 1));
    EXPECT_TRUE(ring->Flush());
    EXPECT_THAT(News(),
                ElementsAre("writer seek 192", "writer read 64", "writer seek 128", "writer write 128"));
    Patch(128, Pattern(100, 1));
    EXPECT_EQ(host.Content(), content);
    EXPECT_EQ(ring->Node().bWriteOK, 1U);
}

TEST_F(WriteRingPadTest, BeyondTheEndOfTheFileThePadIsZero) {
    Start(2, true);
    std::memset(stage.Data(), 0xEE, kSector);
    ASSERT_EQ(file.SetFilePointer(960, VXC_FILE_BEGIN), 960);
    ring->Node().nFilePos = 960;
    std::memset(ring->Node().pBuffer.Data(), 0xDD, kNode);
    Fill(Pattern(10, 1));
    EXPECT_TRUE(ring->Flush());
    Patch(960, Pattern(10, 1));
    content.resize(1024, 0);
    EXPECT_EQ(host.Content(), content);
}

TEST_F(WriteRingPadTest, WholeSectorsAndFullNodesAreNotPadded) {
    Start(2, true);
    Fill(Pattern(2 * kSector, 1));
    EXPECT_TRUE(ring->Flush());
    EXPECT_EQ(Pass(2), Ring::Outcome::Good);
    EXPECT_TRUE(ring->Flush());
    EXPECT_THAT(News(), ElementsAre("writer write 128", "writer write 256"));
}

TEST_F(WriteRingPadTest, AFullNodeThatIsNoMultipleOfASectorGoesOutAsItIs) {
    ASSERT_EQ(file.CreateFile(host.Tagged().c_str(), VXC_GENERIC_READ | VXC_GENERIC_WRITE,
                              VXC_FILE_SHARE_READ, nullptr, VXC_OPEN_ALWAYS, 0, nullptr, 0),
              VXC_STATUS_OK);
    News();
    ring = Ring::Start({&file, &stage, kSector}, 100, 2);
    ASSERT_NE(ring, nullptr);
    ring->Node().nFilePos = 0;
    Fill(Pattern(100, 1));
    EXPECT_TRUE(ring->Flush());
    EXPECT_THAT(News(), ElementsAre("writer write 100"));
}

TEST_F(WriteRingPadTest, AFailedMoveKeepsTheNodeOffTheDisk) {
    for (const int nth : {1, 2}) {
        SCOPED_TRACE(nth);
        Start(2, true, 1);
        Fill(Pattern(10, 1));
        host.Fail(HostFunction::SetFilePointer, 5, nth);
        EXPECT_TRUE(ring->Flush());
        EXPECT_THAT(News(), ElementsAre("writer seek 0", "writer read 64", "writer seek 0"));
        EXPECT_EQ(ring->Node().bWriteOK, 0U);
        EXPECT_EQ(ring->Node().dwUsed, 0U);
        EXPECT_EQ(host.Content(), content);
        EXPECT_EQ(Pass(2), Ring::Outcome::Good); // the next node was written well the last time
        EXPECT_EQ(Pass(3), Ring::Outcome::WriteFailed);
        host.AddFile(L"host.mxf", content);
    }
}

TEST_F(WriteRingPadTest, AFailedReadIsNoFailureOfTheNode) {
    Start(2, true, 1);
    std::memset(stage.Data(), 0xEE, kSector);
    Fill(Pattern(10, 1));
    host.Fail(HostFunction::Read, 5, 1, true);
    EXPECT_TRUE(ring->Flush());
    EXPECT_EQ(ring->Node().bWriteOK, 1U);
    Patch(0, Pattern(10, 1));
    std::fill(content.begin() + 10, content.begin() + kSector, uint8{0});
    EXPECT_EQ(host.Content(), content);
}

TEST_F(WriteRingPadTest, AReadThatFailsOnceCostsNoByte) {
    for (const bool afterEffect : {false, true}) {
        Start(2, true, 1);
        Fill(Pattern(10, 1));
        if (afterEffect) {
            host.FailAfterEffect(HostFunction::Read, 5);
        } else {
            host.Fail(HostFunction::Read, 5);
        }
        EXPECT_TRUE(ring->Flush());
        EXPECT_EQ(ring->Node().bWriteOK, 1U);
        Patch(0, Pattern(10, 1));
        EXPECT_EQ(host.Content(), content);
    }
}

TEST_F(WriteRingPadTest, PositionsBeyond32BitsAreKept) {
    Start(2, true);
    ring->Node().nFilePos = int64{5} << 32;
    Fill(Pattern(70, 1));
    host.Fail(HostFunction::Write, 112); // the host's memory stays small
    EXPECT_TRUE(ring->Flush());
    const auto news = News();
    ASSERT_EQ(news.size(), 4U);
    EXPECT_EQ(news[0], "writer seek " + std::to_string((int64{5} << 32) + 64));
    EXPECT_EQ(news[2], "writer seek " + std::to_string(int64{5} << 32));
}
