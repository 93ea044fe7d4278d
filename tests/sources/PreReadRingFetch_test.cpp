// What each of the two readers keeps of the ring and gives back, and both against a plain model.
#include "sources/RingFixture.h"

#include <random>

using namespace vxcio;
using namespace vxcio::test;
using Inspector = PreReadRingInspector;

namespace {

using PreReadRingForwardTest = PreReadRingFixture;
using PreReadRingWindowTest = PreReadRingFixture;

struct RandomCase {
    bool keepWindow;
    uint32 blocks;
    uint32 mostPerFill;
    uint32 size;
};

class PreReadRingRandomTest : public PreReadRingFixture, public ::testing::WithParamInterface<RandomCase> {};

} // namespace

TEST_F(PreReadRingForwardTest, AJumpIntoTheReachCostsNothing) {
    Start(false);
    EXPECT_EQ(Fetch(0, 1), Bytes(0, 1));
    EXPECT_EQ(Fetch(4 * kBlock, 10), Bytes(4 * kBlock, 10)); // the very end of the reach
    EXPECT_EQ(Repositions(), 1);
    EXPECT_EQ(Inspector::OldestPosition(*ring), 4 * kBlock);
    EXPECT_EQ(Fetch(8 * kBlock + 1, 10), Bytes(8 * kBlock + 1, 10)); // one byte beyond it
    EXPECT_EQ(Repositions(), 2);
}

TEST_F(PreReadRingForwardTest, BlocksBehindTheReaderAreGone) {
    Start(false);
    EXPECT_EQ(Fetch(0, kBlock + 1), Bytes(0, kBlock + 1));
    EXPECT_EQ(Fetch(kBlock, 10), Bytes(kBlock, 10));
    EXPECT_EQ(Repositions(), 1);
    EXPECT_EQ(Fetch(kBlock - 1, 10), Bytes(kBlock - 1, 10));
    EXPECT_EQ(Repositions(), 2);
}

TEST_F(PreReadRingForwardTest, TheBlockInWhichAReadEndsStaysHeld) {
    Start(false);
    EXPECT_EQ(Fetch(0, kBlock), Bytes(0, kBlock));
    EXPECT_EQ(Inspector::OldestPosition(*ring), 0U);
    EXPECT_EQ(Fetch(kBlock, 1), Bytes(kBlock, 1));
    EXPECT_EQ(Inspector::OldestPosition(*ring), kBlock);
}

TEST_F(PreReadRingForwardTest, AShortBlockEndsTheCopy) {
    feed.cuts = {{kBlock, 20}};
    Start(false);
    EXPECT_EQ(Fetch(0, 300), Bytes(0, kBlock + 20));
    EXPECT_TRUE(Fetch(kBlock + 20, 10).empty()); // it cannot be told from the end
    EXPECT_EQ(Fetch(kBlock + 21, 100), Bytes(kBlock + 21, 100));
    EXPECT_EQ(Repositions(), 1);
}

TEST_F(PreReadRingForwardTest, AnEmptyBlockIsTheEnd) {
    feed.content.resize(4 * kBlock);
    Start(false);
    EXPECT_EQ(Fetch(3 * kBlock, 300), Bytes(3 * kBlock, kBlock));
    EXPECT_TRUE(Fetch(4 * kBlock, 10).empty());
    EXPECT_TRUE(Fetch(4 * kBlock + 1, 10).empty());
    EXPECT_TRUE(Fetch(4 * kBlock + 60, 10).empty());
    EXPECT_EQ(Repositions(), 1);
}

TEST_F(PreReadRingForwardTest, AFileThatGrewIsReadOnOnceItsEndIsPassed) {
    const auto whole = Pattern(kSize, 7);
    feed.content.resize(0);
    Start(false);
    EXPECT_TRUE(Fetch(3, 10).empty());
    ASSERT_TRUE(feed.WaitForFills(4));
    {
        const PreReadRing::Standstill standstill(*ring);
        feed.content = whole;
    }
    std::vector<uint8> got;
    for (int i = 0; i < 10 && got.empty(); ++i) { // the empty blocks go first
        got = Fetch(3, 10);
    }
    EXPECT_EQ(got, Bytes(3, 10));
    EXPECT_EQ(Repositions(), 1);
}

TEST_F(PreReadRingWindowTest, TheReaderMayGoBackInsideTheRing) {
    Start(true);
    EXPECT_EQ(Fetch(0, 150), Bytes(0, 150)); // ends in the third block of four
    for (const uint32 position : {0U, 140U, 63U, 64U, 1U, 130U}) {
        EXPECT_EQ(Fetch(position, 10), Bytes(position, 10)) << position;
    }
    EXPECT_EQ(Inspector::OldestPosition(*ring), 0U);
    EXPECT_EQ(Repositions(), 1);
}

TEST_F(PreReadRingWindowTest, TheOldestBlockGoesWhenTheRoomInFrontIsNoMoreThanTheRequest) {
    for (const bool walked : {false, true}) { // also when the block was in hand already
        Start(true);
        EXPECT_EQ(Fetch(0, 1), Bytes(0, 1));
        if (walked) {
            EXPECT_EQ(Fetch(150, 1), Bytes(150, 1));
        }
        EXPECT_EQ(Fetch(181, 10), Bytes(181, 10)); // room 11
        EXPECT_EQ(Inspector::OldestPosition(*ring), 0U);
        EXPECT_EQ(Fetch(182, 10), Bytes(182, 10)); // room 10
        EXPECT_EQ(Inspector::OldestPosition(*ring), kBlock);
        EXPECT_EQ(Fetch(kBlock, 10), Bytes(kBlock, 10));
        EXPECT_EQ(Repositions(), 1);
        EXPECT_EQ(Fetch(kBlock - 1, 10), Bytes(kBlock - 1, 10));
        EXPECT_EQ(Repositions(), 2);
    }
}

TEST_F(PreReadRingWindowTest, APositionAtTheEndOfTheOldestBlockDoesNotMakeRoom) {
    Start(true, 2);
    EXPECT_EQ(Fetch(0, 1), Bytes(0, 1));
    EXPECT_EQ(ring->Fetch(kBlock, nullptr, 0), 0U);
    EXPECT_EQ(Inspector::OldestPosition(*ring), 0U);
    EXPECT_EQ(Fetch(kBlock + 1, 63), Bytes(kBlock + 1, 63)); // one byte further it does
    EXPECT_EQ(Inspector::OldestPosition(*ring), kBlock);
}

TEST_F(PreReadRingWindowTest, ACopyAcrossTheWholeRingGivesBlocksBackOneByOne) {
    Start(true);
    EXPECT_EQ(Fetch(10, 3 * kBlock), Bytes(10, 3 * kBlock)); // ends in the fourth block of four
    EXPECT_EQ(Inspector::OldestPosition(*ring), kBlock);
    EXPECT_EQ(Fetch(0, 800), Bytes(0, 800));
    EXPECT_EQ(Inspector::OldestPosition(*ring), 10 * kBlock); // 12 is in hand, three are in use
}

TEST_F(PreReadRingWindowTest, SmallReadsKeepAsMuchBehindThemAsLargeOnes) {
    Start(true);
    for (uint32 position = 0; position < 500; ++position) {
        ASSERT_EQ(Fetch(position, 1), Bytes(position, 1));
        // The oldest block goes as soon as the room in front of the position is one byte.
        const uint32 gone = position < 3 * kBlock - 1 ? 0 : (position + 1 - 3 * kBlock) / kBlock + 1;
        ASSERT_EQ(Inspector::OldestPosition(*ring), gone * kBlock) << position;
    }
    EXPECT_EQ(Repositions(), 1);
}

TEST_F(PreReadRingWindowTest, AWalkOverShortBlocksComesToItsEnd) {
    feed.mostPerFill = 16; // four blocks hold no more than one
    for (const uint32 blocks : {2U, 3U, 4U}) {
        for (uint64 position = 0; position <= blocks * kBlock; position += 5) {
            Start(true, blocks);
            EXPECT_EQ(Fetch(0, 1), Bytes(0, 1));
            ASSERT_EQ(Fetch(position, 100), Bytes(position, 16 - position % 16)) << blocks << " " << position;
            EXPECT_EQ(Repositions(), 1);
        }
    }
}

TEST_F(PreReadRingWindowTest, AShortBlockEndsTheCopyAndTheNextReadGoesOn) {
    feed.cuts = {{kBlock, 20}};
    Start(true);
    EXPECT_EQ(Fetch(0, 300), Bytes(0, kBlock + 20));
    EXPECT_EQ(Fetch(kBlock + 20, 40), Bytes(kBlock + 20, 40));
    EXPECT_EQ(Fetch(5, 10), Bytes(5, 10)); // back over the short block
    EXPECT_EQ(Fetch(kBlock + 30, 10), Bytes(kBlock + 30, 10));
    EXPECT_EQ(Repositions(), 1);
}

TEST_F(PreReadRingWindowTest, AnEmptyBlockIsTheEndAndTheWindowStays) {
    feed.content.resize(2 * kBlock);
    Start(true);
    EXPECT_EQ(Fetch(0, 300), Bytes(0, 2 * kBlock));
    EXPECT_TRUE(Fetch(2 * kBlock, 10).empty());
    EXPECT_TRUE(Fetch(2 * kBlock + 1, 10).empty());
    EXPECT_EQ(Fetch(0, 300), Bytes(0, 2 * kBlock));
    EXPECT_EQ(Repositions(), 1);
}

// A request's room is counted in 32 bits with a sign.
TEST_F(PreReadRingWindowTest, InRingsBeyondTwoGibibytesTheOldestBlockGoesEarly) {
    feed.mostPerFill = 16;
    const uint32 blockSize = 0x3FFFFFF0;
    for (const uint32 blocks : {3U, 4U}) { // rooms of just under 2 and 3 GiB
        ring.reset();
        ring = PreReadRing::Start(feed, {blocks * blockSize, blockSize, kSector, true}, this);
        ASSERT_NE(ring, nullptr);
        EXPECT_EQ(Fetch(0, 1), Bytes(0, 1));
        EXPECT_EQ(Fetch(20, 1), Bytes(20, 1));
        EXPECT_EQ(Inspector::OldestPosition(*ring), blocks == 3 ? 0U : 16U);
        EXPECT_EQ(Fetch(40, 1), Bytes(40, 1));
        EXPECT_EQ(Fetch(41, 1), Bytes(41, 1)); // in the block in hand, but not without a look at the room
        EXPECT_EQ(Inspector::OldestPosition(*ring), blocks == 3 ? 0U : 32U);
        EXPECT_EQ(Fetch(41, 1), Bytes(41, 1));
        ring.reset();
        ring = PreReadRing::Start(feed, {blocks * blockSize, blockSize, kSector, true}, this);
        ASSERT_NE(ring, nullptr);
        EXPECT_EQ(Fetch(0, 1), Bytes(0, 1));
        EXPECT_EQ(Fetch(40, 1), Bytes(40, 1)); // the oldest block goes, the next is walked over
        EXPECT_EQ(Inspector::OldestPosition(*ring), blocks == 3 ? 0U : 16U);
        EXPECT_EQ(Fetch(41, 1), Bytes(41, 1));
        EXPECT_EQ(Inspector::OldestPosition(*ring), blocks == 3 ? 0U : 32U);
    }
}

TEST_F(PreReadRingWindowTest, AnEmptyBlockIsTheEndHoweverOftenTheReaderComesThere) {
    feed.cuts = {{kBlock, 0}};
    feed.jumps = {{kBlock, kBlock}}; // behind it there are bytes again
    Start(true);
    EXPECT_EQ(Fetch(0, 1), Bytes(0, 1));
    ASSERT_TRUE(feed.WaitForFills(4));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(Fetch(2 * kBlock + 2, 10).empty()) << i;
    }
    EXPECT_EQ(Fetch(10, 10), Bytes(10, 10));
    EXPECT_EQ(Repositions(), 1);
}

TEST_F(PreReadRingWindowTest, BlocksThatWereSeenAreNotWaitedForAgain) {
    Start(true);
    EXPECT_EQ(Fetch(0, 150), Bytes(0, 150));
    FaultPlan plan;
    for (const uint32 position : {100U, 10U, 60U, 120U, 0U}) { // most go from one block into the next
        EXPECT_EQ(Fetch(position, 50), Bytes(position, 50));
    }
    EXPECT_EQ(plan.Calls(Op::VXC_WaitForSingleObject), 0);
}

TEST_P(PreReadRingRandomTest, AnySequenceDeliversTheFilesBytes) {
    const RandomCase& shape = GetParam();
    feed.content.resize(shape.size);
    feed.mostPerFill = shape.mostPerFill;
    const bool whole = shape.mostPerFill >= kBlock;
    Start(shape.keepWindow, shape.blocks);
    std::mt19937 random(5);
    uint64 position = 0;
    for (int i = 0; i < 5000; ++i) {
        const uint32 kind = static_cast<uint32>(random() % 10);
        if (kind == 0) {
            position = random() % (shape.size + 100);
        } else if (kind == 1) {
            position -= std::min<uint64>(position, random() % 150);
        } else if (kind == 2) {
            position += random() % 300;
        }
        const auto bytes = static_cast<uint32>(random() % (kind == 3 ? 500 : 40));
        const auto got = Fetch(position, bytes);
        // A feed that comes up short ends a read early.
        const auto expected = Bytes(position, whole ? bytes : got.size());
        ASSERT_EQ(got, expected) << i << " at " << position << " of " << bytes;
        position += got.size();
    }
}

INSTANTIATE_TEST_SUITE_P(Rings, PreReadRingRandomTest,
                         ::testing::Values(RandomCase{false, 2, 1000, 1000}, RandomCase{false, 3, 1000, 960},
                                           RandomCase{false, 8, 1000, 1000}, RandomCase{true, 2, 1000, 1000},
                                           RandomCase{true, 3, 1000, 960}, RandomCase{true, 4, 1000, 1000},
                                           RandomCase{true, 8, 1000, 1000}, RandomCase{false, 3, 40, 1000},
                                           RandomCase{true, 2, 40, 1000}, RandomCase{true, 4, 40, 1000},
                                           RandomCase{true, 8, 17, 1000}),
                         [](const ::testing::TestParamInfo<RandomCase>& entry) {
                             const RandomCase& shape = entry.param;
                             return std::string(shape.keepWindow ? "Window" : "Forward") +
                                    std::to_string(shape.blocks) + "BlocksOf" +
                                    std::to_string(shape.mostPerFill) + "In" + std::to_string(shape.size);
                         });
