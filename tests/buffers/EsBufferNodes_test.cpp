// The circle of nodes: its growth, its buffers, and how long a pointer stays good.
#include "EsFrames.h"

#include <vector>

using namespace vxcio::test;

namespace {

using EsBufferNodesTest = EsFrames;

constexpr auto kData = PLUG_STREAMSTATE_DATA;
constexpr auto kEnd = PLUG_STREAMSTATE_END;

} // namespace

TEST_F(EsBufferNodesTest, ASteadyStreamTakesNoMemory) {
    std::vector<unsigned char> bytes(3000, 7);
    for (int i = 0; i < 3; ++i) { // both nodes grow to size
        buffer.PutDate(0, bytes.data(), 3000, bytes.data(), 40);
        Get(buffer);
    }
    const AllocationCount count;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(buffer.PutDate(0, bytes.data(), 3000 - i, bytes.data(), 40 - i % 40), 1);
        ASSERT_EQ(Get(buffer).result, 1);
    }
    EXPECT_EQ(count.Taken(), 0);
}

TEST_F(EsBufferNodesTest, AFreeNodeIsUsedAgainBeforeOneIsMade) {
    EXPECT_EQ(TakenByPut(buffer, "a"), 2); // a node and its data
    EXPECT_EQ(TakenByPut(buffer, "b"), 2);
    EXPECT_EQ(TakenByPut(buffer, "c"), 2);
    Get(buffer);
    Get(buffer);
    EXPECT_EQ(TakenByPut(buffer, "d"), 0);
    EXPECT_EQ(TakenByPut(buffer, "e"), 0);
    EXPECT_EQ(TakenByPut(buffer, "f"), 2); // the head itself is not free
    buffer.SetEndOfInput();
    for (const char* frame : {"c", "d", "e"}) {
        ExpectFrame(Get(buffer), 0, frame, kData);
    }
    ExpectFrame(Get(buffer), 0, "f", kEnd);
}

TEST_F(EsBufferNodesTest, AUsedNodeServesEveryStream) {
    Put(buffer, 3, "a");
    Put(buffer, 3, "b");
    Get(buffer);
    Put(buffer, 6, "c"); // into the node of a
    buffer.SetEndOfInput();
    ExpectFrame(Get(buffer), 3, "b", kEnd);
    ExpectFrame(Get(buffer), 6, "c", kEnd);
    EXPECT_EQ(buffer.GetFrameCount(3), 0u);
    EXPECT_EQ(buffer.GetFrameCount(6), 0u);
}

TEST_F(EsBufferNodesTest, WhereAllWasTakenTheCircleCountsAsFull) {
    Put(buffer, 0, "a");
    Put(buffer, 0, "b");
    TakeAll(2);
    EXPECT_EQ(TakenByPut(buffer, "c"), 2);
}

TEST_F(EsBufferNodesTest, ANewNodeStandsBehindTheNewest) {
    Put(buffer, 0, "a");
    Put(buffer, 0, "b");
    Get(buffer);
    Put(buffer, 0, "c"); // into the node of a
    Put(buffer, 0, "d"); // full: between c and b
    Put(buffer, 0, "e");
    for (const char* frame : {"b", "c", "d"}) {
        ExpectFrame(Get(buffer), 0, frame, kData);
    }
    buffer.SetEndOfInput();
    ExpectFrame(Get(buffer), 0, "e", kEnd);
}

TEST_F(EsBufferNodesTest, TheFirstBufferHasTheDefaultSizeAndALargerFrameReplacesIt) {
    buffer.Init(1000);
    const auto cycle = [this](std::size_t size) {
        const int taken = TakenByPut(buffer, std::string(size, 'x'));
        Get(buffer);
        return taken;
    };
    EXPECT_EQ(cycle(300), 2);
    EXPECT_EQ(cycle(300), 2);
    EXPECT_EQ(cycle(1000), 0);
    EXPECT_EQ(cycle(1000), 0);
    EXPECT_EQ(cycle(1001), 1);
    EXPECT_EQ(cycle(5000), 1);
    EXPECT_EQ(cycle(1001), 0);
    EXPECT_EQ(cycle(5000), 0);
    EXPECT_EQ(cycle(1002), 1); // the first one grew to its frame and no more
    EXPECT_EQ(cycle(300), 0);
}

TEST_F(EsBufferNodesTest, AUsedNodeAsksNoMoreForTheDefaultSize) {
    Put(buffer, 0, "a");
    Put(buffer, 0, "b");
    Get(buffer);
    buffer.Init(1000);
    EXPECT_EQ(TakenByPut(buffer, std::string(101, 'c')), 1); // into the node of a
    EXPECT_EQ(TakenByPut(buffer, "d"), 2);                   // a node with the new default size
    Get(buffer);
    EXPECT_EQ(TakenByPut(buffer, "e"), 0); // into the node of b
    EXPECT_EQ(Get(buffer).Data(), std::string(101, 'c'));
    EXPECT_EQ(TakenByPut(buffer, std::string(102, 'f')), 1); // into that of a and c
    Get(buffer);
    EXPECT_EQ(TakenByPut(buffer, std::string(1000, 'g')), 0); // into that of d
}

TEST_F(EsBufferNodesTest, TheDefaultSizeIsTakenWhole) {
    std::vector<unsigned char> bytes(100, 'x');
    EXPECT_EQ(TakenByPut(buffer, "a"), 2);
    EXPECT_EQ(TakenByPut(buffer, "b"), 2);
    Get(buffer);
    ASSERT_EQ(buffer.PutDate(0, bytes.data(), 100, nullptr, 0), 1);
    buffer.SetEndOfInput();
    Get(buffer);
    EXPECT_EQ(Get(buffer).Data(), std::string(100, 'x'));
}

TEST_F(EsBufferNodesTest, ASmallerSecondRunIsReportedAsTheLargestOfItsNode) {
    std::string large(100, 'L');
    Put(buffer, 0, "a", large);
    Put(buffer, 0, "b");
    EXPECT_EQ(Get(buffer).extraSize, 100);
    EXPECT_EQ(Put(buffer, 0, "c", std::string(40, 's')), 1); // into the node of a
    const EsGot b = Get(buffer);
    EXPECT_EQ(b.extraSize, 0);
    EXPECT_EQ(b.extra, nullptr);
    buffer.SetEndOfInput();
    const EsGot c = Get(buffer);
    EXPECT_EQ(c.extraSize, 100);
    EXPECT_EQ(c.Extra(), std::string(40, 's') + std::string(60, 'L'));
}

TEST_F(EsBufferNodesTest, ALargerSecondRunReplacesTheBuffer) {
    Put(buffer, 0, "a", "12");
    Put(buffer, 0, "b");
    Get(buffer);
    EXPECT_EQ(TakenByPut(buffer, "c", "123"), 1);
    buffer.SetEndOfInput();
    Get(buffer);
    const EsGot c = Get(buffer);
    EXPECT_EQ(c.Extra(), "123");
}

TEST_F(EsBufferNodesTest, AFrameWithoutSecondRunReportsTheOneOfItsNode) {
    Put(buffer, 0, "a", "old");
    Put(buffer, 0, "b");
    const unsigned char* const extra = Get(buffer).extra;
    Put(buffer, 0, "c");
    Get(buffer);
    buffer.SetEndOfInput();
    const EsGot c = Get(buffer);
    EXPECT_EQ(c.Extra(), "old");
    EXPECT_EQ(c.extra, extra);
}

TEST_F(EsBufferNodesTest, AFrameThatIsHeldBackShowsItsSecondRun) {
    Put(buffer, 0, "a", "extra");
    const EsGot got = Get(buffer);
    ExpectNone(got, 0, kData);
    EXPECT_EQ(got.Extra(), "extra");
}

TEST_F(EsBufferNodesTest, WhatWasGivenStaysUntilItsNodeComesRound) {
    for (const char* frame : {"aa", "bb", "cc", "dd"}) {
        Put(buffer, 0, frame, frame);
    }
    const EsGot a = Get(buffer);
    const EsGot b = Get(buffer);
    const EsGot c = Get(buffer);
    Put(buffer, 0, "x", "x"); // into the node of a
    EXPECT_EQ(a.data[0], 'x');
    EXPECT_EQ(a.Data(), "xa"); // the same buffer
    EXPECT_EQ(b.Data(), "bb");
    EXPECT_EQ(b.Extra(), "bb");
    Put(buffer, 0, "y", "y");
    EXPECT_EQ(b.Data(), "yb");
    EXPECT_EQ(c.Data(), "cc");
    EXPECT_EQ(c.Extra(), "cc");
    Put(buffer, 0, "z", "z");
    Put(buffer, 0, "v", "v"); // a new node; the head is d
    const EsGot d = Get(buffer);
    EXPECT_EQ(d.Data(), "dd");
    EXPECT_EQ(c.Data(), "zc");
}

TEST_F(EsBufferNodesTest, InitLeavesWhatWasGiven) {
    Put(buffer, 0, "a");
    Put(buffer, 0, "b");
    const EsGot a = Get(buffer);
    buffer.Init(100000);
    buffer.SetEndOfInput();
    EXPECT_EQ(a.Data(), "a");
}

TEST_F(EsBufferNodesTest, WhatWasGivenMayBePutAgain) {
    Put(buffer, 0, "frame", "extra");
    Put(buffer, 0, "b", "b");
    const EsGot a = Get(buffer);
    ASSERT_EQ(buffer.PutDate(0, a.data, 5, a.extra, 5), 1); // onto itself
    Get(buffer);
    Put(buffer, 0, "c", "c");
    const EsGot again = Get(buffer);
    EXPECT_EQ(again.Data(), "frame");
    EXPECT_EQ(again.Extra(), "extra");
    ASSERT_EQ(buffer.PutDate(0, again.data + 1, 4, again.extra + 2, 3), 1); // it overlaps
    Get(buffer);
    buffer.SetEndOfInput();
    const EsGot part = Get(buffer);
    EXPECT_EQ(part.Data(), "rame");
    EXPECT_EQ(part.Extra(), "trara");
}

TEST_F(EsBufferNodesTest, BytesOfTheBufferThatIsReplacedMayBePut) {
    buffer.Init(0);
    Put(buffer, 0, "12345");
    Put(buffer, 0, "b");
    const EsGot given = Get(buffer);
    std::string larger(4000, 'L');
    // The data buffer grows, and the second run comes from the one that it replaces.
    ASSERT_EQ(buffer.PutDate(0, reinterpret_cast<unsigned char*>(larger.data()), 4000, given.data, 5), 1);
    Get(buffer);
    buffer.SetEndOfInput();
    const EsGot got = Get(buffer);
    EXPECT_EQ(got.Data(), larger);
    EXPECT_EQ(got.Extra(), "12345");
}

TEST_F(EsBufferNodesTest, CloseFreesAllAndTheNextFrameMakesANode) {
    for (int i = 0; i < 5; ++i) {
        Put(buffer, 0, "a", "b");
    }
    Get(buffer);
    buffer.Close();
    EXPECT_EQ(TakenByPut(buffer, "a", "b"), 3);
}
