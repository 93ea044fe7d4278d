// Writing through the ring: what reaches the file, when, and by which thread.
#include "sinks/HostSinkFixture.h"
#include "support/TestClock.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <future>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using RingInspector = WriteBufferRingInspector;

namespace {

class WriteThreadedTest : public HostSinkFixture {
protected:
    static constexpr uint32 kSize = 10'000;

    WriteThreadedTest() : content(Pattern(kSize, 1)) {}

    // On a file with content.
    void Start(uint32 flags = 0, uint32 mode = kUpdate) {
        host.AddFile(L"full.mxf", content);
        ASSERT_EQ(sink.OpenFile(host.Tagged(L"full.mxf").c_str(), 1, 0, mode, flags, 0, 0, 0, 0, nullptr),
                  VXC_STATUS_OK);
        News();
    }
    std::vector<uint8> Content() const { return host.Content(L"full.mxf"); }
    // Writes, and notes what the file is to hold then. wentOut, or 7 where it was not told.
    uint32 Put(const std::vector<uint8>& bytes) {
        const std::size_t position = Inspector::Position(sink);
        content.resize(std::max(content.size(), position + bytes.size()));
        std::copy(bytes.begin(), bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(position));
        uint32 wentOut = 7;
        EXPECT_EQ(Write(bytes, &wentOut), static_cast<int>(bytes.size()));
        EXPECT_EQ(Inspector::Position(sink), position + bytes.size());
        return wentOut;
    }
    WriteBufferNode& Node() const { return Inspector::Ring(sink)->Node(); }
    uint32 NodeIndex() const {
        return static_cast<uint32>(&Node() - &RingInspector::NodeAt(*Inspector::Ring(sink), 0));
    }

    std::vector<uint8> content; // as it is to be
};

} // namespace

TEST_F(WriteThreadedTest, BytesGatherUntilTheNodeIsFull) {
    Start();
    EXPECT_EQ(Put(Pattern(1000, 2)), 0U);
    EXPECT_EQ(Put(Pattern(kNode - 1001, 3)), 0U);
    EXPECT_THAT(News(), ElementsAre("seek 0"));
    EXPECT_EQ(Node().dwUsed, kNode - 1);
    EXPECT_EQ(NodeIndex(), 0U);
    EXPECT_EQ(Put(Pattern(1, 4)), 1U); // ends at the node's end: over it goes
    EXPECT_EQ(NodeIndex(), 1U);
    EXPECT_EQ(Node().dwUsed, 0U);
    EXPECT_EQ(Node().nFilePos, kNode);
    EXPECT_EQ(Put(Pattern(5, 5)), 0U);
    EXPECT_EQ(Node().dwUsed, 5U);
    sink.Seek(0, 1);
    EXPECT_THAT(News(), ElementsAre("writer write 524288", "writer write 5"));
    EXPECT_TRUE(Content() == content);
}

TEST_F(WriteThreadedTest, TheFirstWriteOfARunMayFillTheNodeExactly) {
    Start();
    EXPECT_EQ(Put(Pattern(kNode, 2)), 1U);
    EXPECT_EQ(NodeIndex(), 1U);
    EXPECT_EQ(Node().dwUsed, 0U);
    EXPECT_EQ(Node().nFilePos, kNode);
    sink.Seek(0, 1);
    EXPECT_THAT(News(), ElementsAre("seek 0", "writer write 524288"));
    EXPECT_TRUE(Content() == content);
}

TEST_F(WriteThreadedTest, AWriteLargerThanTheRingGoesRoundInIt) {
    Start();
    EXPECT_EQ(Put(Pattern(5 * kNode + 17, 2)), 1U);
    EXPECT_EQ(NodeIndex(), 1U);
    EXPECT_EQ(Node().dwUsed, 17U);
    EXPECT_EQ(Node().nFilePos, 5 * kNode);
    EXPECT_EQ(Put(Pattern(4 * kNode, 3)), 1U); // and from within a node
    sink.Seek(0, 1);
    EXPECT_TRUE(Content() == content);
    EXPECT_EQ(sink.GetFileSize(), 9U * kNode + 17);
}

TEST_F(WriteThreadedTest, AFlushWritesAsManyBytesAsThereAreWhereTheCacheIsUsed) {
    Start();
    sink.Seek(700, 1);
    News();
    EXPECT_EQ(Put(Pattern(10, 2)), 0U);
    EXPECT_EQ(Node().nFilePos, 700);
    EXPECT_THAT(News(), ElementsAre("seek 700"));
    sink.Seek(0, 1);
    EXPECT_THAT(News(), ElementsAre("writer write 10"));
    EXPECT_EQ(Content(), content);
}

TEST_F(WriteThreadedTest, PastTheCacheAWriteTakesUpInTheSectorOfItsPosition) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    sink.Seek(1000, 1);
    EXPECT_EQ(Put(Pattern(10, 2)), 0U);
    EXPECT_THAT(News(), ElementsAre("seek 512", "read 512", "seek 512"));
    EXPECT_EQ(Node().nFilePos, 512);
    EXPECT_EQ(Node().dwUsed, 498U);
    sink.Seek(0, 1);
    EXPECT_THAT(News(),
                ElementsAre("writer seek 512", "writer read 512", "writer seek 512", "writer write 512"));
    EXPECT_EQ(Content(), content);
}

TEST_F(WriteThreadedTest, PastTheCacheOnASectorNothingIsReadFirst) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    sink.Seek(1024, 1);
    Put(Pattern(512, 2));
    sink.Seek(0, 1);
    EXPECT_THAT(News(), ElementsAre("seek 1024", "writer write 512"));
    EXPECT_EQ(Content(), content);
}

TEST_F(WriteThreadedTest, PastTheCacheAFirstWriteIsCutAtTheNodesEnd) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    sink.Seek(1000, 1);
    EXPECT_EQ(Put(Pattern(kNode, 2)), 1U);
    EXPECT_EQ(Node().nFilePos, kNode + 512);
    EXPECT_EQ(Node().dwUsed, 488U);
    sink.Seek(0, 1);
    EXPECT_EQ(sink.GetFileSize(), kNode + 1000);
    content.resize(kNode + 1024, 0); // padded
    EXPECT_TRUE(Content() == content);
}

TEST_F(WriteThreadedTest, BytesBeyondTheEndAreZeroWhateverTheNodeHeld) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    Put(Pattern(30'000, 2)); // leaves old bytes in the node
    sink.Seek(40'100, 1);
    Put(Pattern(5, 3));
    sink.Seek(0, 1);
    content.resize(40'448, 0);
    EXPECT_TRUE(Content() == content);
}

TEST_F(WriteThreadedTest, WrittenBytesAreTakenUpAgainInTheirSector) {
    Start(VXC_FILE_FLAG_NO_BUFFERING, kCreate);
    content.clear();
    host.AddFile(L"empty.mxf", std::vector<uint8>());
    ASSERT_EQ(sink.OpenFile(host.Tagged(L"empty.mxf").c_str(), 1, 0, kCreate, VXC_FILE_FLAG_NO_BUFFERING, 0,
                            0, 0, 0, nullptr),
              VXC_STATUS_OK);
    Put(Pattern(100, 2));
    News();
    sink.Seek(50, 1);
    EXPECT_THAT(News(), ElementsAre("writer seek 0", "writer read 512", "writer seek 0", "writer write 512"));
    Put(Pattern(10, 3));
    EXPECT_THAT(News(), ElementsAre("seek 0", "read 512", "seek 0"));
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(host.Content(L"empty.mxf"), content);
}

TEST_F(WriteThreadedTest, TheCallerGoesOnWhileTheDiskWrites) {
    Gate gate;
    host.Hold(HostFunction::Write, gate);
    Start();
    Put(Pattern(kNode, 2));
    ASSERT_TRUE(gate.WaitUntilReached());
    Put(Pattern(kNode - 1, 3)); // room is left: nothing to wait for
    EXPECT_EQ(gate.Standing(), 1);
    gate.Open();
    Put(Pattern(1, 4));
    sink.Seek(0, 1);
    EXPECT_TRUE(Content() == content);
}

TEST_F(WriteThreadedTest, ASeekWaitsForAllThatWasWritten) {
    Gate gate;
    host.Hold(HostFunction::Write, gate);
    Start();
    Put(Pattern(kNode + 100, 2));
    auto seek = std::async(std::launch::async, [this] { return sink.Seek(0, 1); });
    ASSERT_TRUE(gate.WaitUntilReached());
    EXPECT_EQ(seek.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    gate.Open();
    EXPECT_EQ(seek.get(), 0);
    EXPECT_TRUE(Content() == content);
}

TEST_F(WriteThreadedTest, OnlyAWriteOrASeekLeavesSomethingToFlush) {
    Start();
    std::vector<uint8> head(10);
    FaultPlan plan;
    EXPECT_EQ(sink.ReadBack(head.data(), 10), 10); // behind an open
    EXPECT_EQ(sink.ReadBack(head.data(), 10), 10); // behind a read
    EXPECT_EQ(plan.Calls(Op::VXC_SetEvent), 0);
    sink.Seek(0, 1);
    EXPECT_EQ(plan.Calls(Op::VXC_SetEvent), 2); // the node and its answer
    EXPECT_EQ(sink.ReadBack(head.data(), 10), 10);
    EXPECT_EQ(plan.Calls(Op::VXC_SetEvent), 4);
    EXPECT_EQ(head, Slice(content, 0, 10));
}

TEST_F(WriteThreadedTest, AWriteOfNothingTakesUpThePlaceAndStoresNothing) {
    for (const uint32 flags : {0U, VXC_FILE_FLAG_NO_BUFFERING}) {
        Start(flags);
        sink.Seek(700, 1);
        News();
        uint32 wentOut = 7;
        EXPECT_EQ(sink.Write(nullptr, 0, &wentOut), 0);
        EXPECT_EQ(wentOut, 0U);
        EXPECT_TRUE(Inspector::IsGood(sink));
        EXPECT_EQ(Inspector::LastOperation(sink), 1);
        if (flags == 0) {
            EXPECT_THAT(News(), ElementsAre("seek 700"));
        } else {
            EXPECT_THAT(News(), ElementsAre("seek 512", "read 512", "seek 512"));
        }
        EXPECT_EQ(sink.Write(nullptr, 0, nullptr), 0);
        EXPECT_TRUE(News().empty());
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(Content(), content);
    }
}

TEST_F(WriteThreadedTest, ANodeThatIsNotEmptyWhereARunBeginsIsToldAndKept) {
    Start();
    Node().dwUsed = 3; // nothing does that
    LogCapture log;
    EXPECT_EQ(Write(Pattern(10, 2)), 10);
    EXPECT_EQ(log.Count(L"Find error size11111111111111111111111\n"), 1U);
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_EQ(log.Lines()[0].text, L"Find error size11111111111111111111111\n");
    EXPECT_EQ(Node().dwUsed, 13U);
}

TEST_F(WriteThreadedTest, AnOrdinaryRunIsNotToldOf) {
    LogCapture log;
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    Put(Pattern(100, 2));
    sink.Seek(7, 1);
    Put(Pattern(100, 2));
    std::vector<uint8> head(10);
    sink.ReadBack(head.data(), 10);
    Put(Pattern(100, 2));
    EXPECT_FALSE(log.Contains(L"Find error"));
}

TEST_F(WriteThreadedTest, RowsOfNodesOfAWantedSize) {
    ASSERT_EQ(Open(3 * kNode, 0, kCreate, kNode), VXC_STATUS_OK);
    EXPECT_EQ(RingInspector::NodeCount(*Inspector::Ring(sink)), 3U);
    Put(Pattern(2 * kNode, 2));
    EXPECT_EQ(NodeIndex(), 2U);
    Put(Pattern(kNode, 3));
    EXPECT_EQ(NodeIndex(), 0U);
}

// Only the first node of a run is handed over before its successor is waited for.
TEST_F(WriteThreadedTest, ABlockLargerThanTheBufferMakesARingOfOneNode) {
    TestClock clock;
    clock.AutoAdvance(true);
    ASSERT_EQ(Open(1048577, 0, kCreate, 2'000'000), VXC_STATUS_OK);
    ASSERT_EQ(RingInspector::NodeCount(*Inspector::Ring(sink)), 1U);
    content.clear();
    const uint32 block = Inspector::BlockSize(sink);
    EXPECT_EQ(Put(Pattern(block, 2)), 1U);
    EXPECT_TRUE(clock.Waits().empty());
    EXPECT_EQ(Put(Pattern(block + 1000, 3)), 1U);
    EXPECT_THAT(clock.Waits(), ElementsAre(100U));
    sink.Seek(7, 1);
    EXPECT_EQ(Put(Pattern(2 * block, 4)), 1U);
    EXPECT_THAT(clock.Waits(), ElementsAre(100U, 100U)); // for the second of them
    sink.Seek(0, 1);
    EXPECT_TRUE(host.Content() == content);
}
