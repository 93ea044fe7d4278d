// The ring's start and end, its thread and the hand-shake that stops it.
#include "frame/TransferDefaults.h"
#include "sources/RingFixture.h"

#include "support/MemoryLack.h"

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using Inspector = PreReadRingInspector;

namespace {

class PreReadRingTest : public PreReadRingFixture {
protected:
    // The ring is full, three of its blocks have become free, and the fill of the first hangs at the gate.
    void HangInFifthFill(Gate& gate) {
        gate.Open();
        Start(false);
        Fetch(0, 1);
        ASSERT_TRUE(feed.WaitForFills(4));
        {
            const PreReadRing::Standstill standstill(*ring);
            feed.gate = gate.Share();
            gate.Close();
        }
        Fetch(3 * kBlock + 1, 1);
        ASSERT_TRUE(gate.WaitUntilReached());
    }
};

// Both kinds of reader.
class PreReadRingReaderTest : public PreReadRingFixture, public ::testing::WithParamInterface<bool> {};

// Waits until somebody waits for one object, having set what he had to set before.
bool WaitForWaiter(const FaultPlan& plan) {
    const auto limit = std::chrono::steady_clock::now() + kHangLimit;
    while (plan.Calls(Op::VXC_WaitForSingleObject) == 0) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

std::wstring Address(const void* pointer) {
    wchar_t text[16];
    std::swprintf(text, 16, L"%x", static_cast<uint32>(reinterpret_cast<std::uintptr_t>(pointer)));
    return text;
}

} // namespace

TEST_F(PreReadRingTest, NothingIsReadBeforeTheFirstFetch) {
    Start(false);
    EXPECT_TRUE(Calls().empty());
    EXPECT_EQ(ring->PreReadSize(), 4 * kBlock);
    EXPECT_EQ(Inspector::Blocks(*ring), 4U);
    EXPECT_EQ(Inspector::OldestPosition(*ring), ~uint64{0});
}

TEST_F(PreReadRingTest, BlocksFormARingInAlignedMemoryOfTheirOwn) {
    Start(false, 3);
    for (uint32 i = 0; i < 3; ++i) {
        const SReadBlock& block = Inspector::Block(*ring, i);
        EXPECT_EQ(block.pNext, &Inspector::Block(*ring, (i + 1) % 3));
        EXPECT_EQ(block.data.Size(), kBlock);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block.data.Data()) % kTransferAlignment, 0U);
    }
}

TEST_F(PreReadRingTest, TheFirstFetchReadsOneBlockItselfAndTheThreadTheRest) {
    Start(false);
    EXPECT_EQ(Fetch(0, 10), Bytes(0, 10));
    ASSERT_TRUE(feed.WaitForFills(4));
    const auto calls = Calls();
    ASSERT_EQ(calls.size(), 4U);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(calls[i].position, static_cast<int64>(i * kBlock));
        EXPECT_EQ(calls[i].thread == std::this_thread::get_id(), i == 0);
    }
}

TEST_F(PreReadRingTest, ThePositionIsRoundedDownToItsSector) {
    Start(false);
    EXPECT_EQ(Fetch(5 * kSector + 3, 10), Bytes(5 * kSector + 3, 10));
    EXPECT_EQ(Calls().front().position, 5 * kSector);
    EXPECT_EQ(Inspector::OldestPosition(*ring), 5 * kSector);
}

TEST_F(PreReadRingTest, TheThreadTellsOfItsStartAndItsEnd) {
    LogCapture log;
    Start(false);
    ASSERT_TRUE(log.WaitFor(L"FileSource: Came into ReadThread!"));
    ring.reset();
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO", L"FileSource: Came into ReadThread!\n"},
                    LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO",
                            L"this->0x" + Address(this) + L":CFileSource: ReadThread Quit!"}));
}

TEST_F(PreReadRingTest, ShapesThatMakeNoRingAreRefused) {
    const NoLeakScope leaks;
    for (const RingShape& shape :
         {RingShape{0, 64, 16, false}, RingShape{64, 64, 16, false}, RingShape{130, 64, 16, false},
          RingShape{128, 0, 16, false}, RingShape{128, 64, 0, false},
          RingShape{0x80000002u, 0x40000001u, 16, false}}) {
        EXPECT_EQ(PreReadRing::Start(feed, shape, this), nullptr);
    }
}

TEST_F(PreReadRingTest, WhatLacksAtTheStartLeavesNothingBehind) {
    const NoLeakScope leaks;
    LogCapture log;
    const RingShape shape{4 * kBlock, kBlock, kSector, false};
    const int events = 4 * 2 + 4;
    for (int nth = 1; nth <= events; ++nth) {
        FaultPlan plan;
        plan.Add(Fail(Op::VXC_CreateEventW).Nth(nth));
        EXPECT_EQ(PreReadRing::Start(feed, shape, this), nullptr) << nth;
        EXPECT_EQ(plan.Fired(), 1) << nth;
        EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), nth - 1);
        EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 0);
    }
    for (const Op op : {Op::VXC_CreateThread, Op::VXC_ResumeThread}) {
        FaultPlan plan;
        plan.Add(Fail(op));
        EXPECT_EQ(PreReadRing::Start(feed, shape, this), nullptr);
        EXPECT_EQ(plan.Fired(), 1);
        EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), events + (op == Op::VXC_ResumeThread ? 1 : 0));
    }
    for (const int nth : {1, 2}) { // the ring, its blocks
        const MemoryLack lack(nth);
        EXPECT_EQ(PreReadRing::Start(feed, shape, this), nullptr) << nth;
        EXPECT_TRUE(lack.Came());
    }
    EXPECT_TRUE(log.Lines().empty()) << "no thread ever ran";
}

TEST_F(PreReadRingTest, TheEndWaitsForTheBlockThatIsBeingFilled) {
    Gate gate;
    ASSERT_NO_FATAL_FAILURE(HangInFifthFill(gate));
    FaultPlan plan;
    std::atomic<bool> ended{false};
    std::thread end([&] {
        ring.reset();
        ended = true;
    });
    const bool asked = WaitForWaiter(plan);
    EXPECT_FALSE(ended);
    gate.Open();
    end.join();
    EXPECT_TRUE(asked);
    EXPECT_EQ(feed.calls.size(), 5U); // and for no other
}

TEST_F(PreReadRingTest, AStandstillWaitsForTheBlockAndLeavesTheRingAsItIs) {
    Gate gate;
    feed.gate = gate.Share();
    gate.Open();
    Start(false);
    EXPECT_EQ(Fetch(0, 10), Bytes(0, 10));
    ASSERT_TRUE(feed.WaitForFills(4));
    for (int i = 0; i < 10; ++i) {
        const PreReadRing::Standstill standstill(*ring);
        EXPECT_EQ(feed.Fills(), 4);
        EXPECT_EQ(feed.FeedPosition(), 4 * kBlock);
    }
    EXPECT_EQ(Fetch(0, 300), Bytes(0, 300));
    EXPECT_EQ(Repositions(), 1);
}

TEST_F(PreReadRingTest, AStandstillWaitsForNoMoreThanTheBlockThatIsBeingFilled) {
    Gate gate;
    ASSERT_NO_FATAL_FAILURE(HangInFifthFill(gate));
    FaultPlan plan;
    int fills = 0;
    std::thread other([&] {
        const PreReadRing::Standstill standstill(*ring);
        fills = feed.Fills();
    });
    const bool asked = WaitForWaiter(plan);
    gate.Open();
    other.join();
    EXPECT_TRUE(asked);
    EXPECT_EQ(fills, 5);
}

TEST_F(PreReadRingTest, AFillThatHangsHoldsUpOnlyWhoNeedsIt) {
    Gate gate;
    gate.Open();
    feed.gate = gate.Share();
    Start(false);
    EXPECT_EQ(Fetch(0, 10), Bytes(0, 10));
    ASSERT_TRUE(feed.WaitForFills(4));
    gate.Close();
    EXPECT_EQ(Fetch(kBlock, 10), Bytes(kBlock, 10)); // ends in the first block's successor: releases one
    EXPECT_EQ(Fetch(3 * kBlock, 64), Bytes(3 * kBlock, 64));
    ASSERT_TRUE(gate.WaitUntilReached());
    EXPECT_EQ(feed.Fills(), 4);
    gate.Open();
    EXPECT_EQ(Fetch(4 * kBlock, 64), Bytes(4 * kBlock, 64)); // within reach, so it is waited for
    EXPECT_EQ(Repositions(), 1);
}

TEST_F(PreReadRingTest, ACountBeyondTheBlockIsCut) {
    feed.claimMore = 1000;
    feed.mostPerFill = kBlock;
    for (const bool keepWindow : {false, true}) {
        Start(keepWindow);
        std::vector<uint8> buffer(300);
        EXPECT_EQ(ring->Fetch(0, buffer.data(), 300), 300U);
        EXPECT_TRUE(std::equal(buffer.begin(), buffer.end(), feed.content.begin()));
    }
}

TEST_F(PreReadRingTest, AnEventOrAWaitThatFailsOnceIsAskedAgain) {
    for (const bool keepWindow : {false, true}) {
        for (const Op op : {Op::VXC_SetEvent, Op::VXC_ResetEvent, Op::VXC_WaitForSingleObject,
                            Op::VXC_WaitForMultipleObjects}) {
            for (int nth = 1;; ++nth) {
                const NoLeakScope leaks;
                FaultPlan plan;
                plan.Add(Fail(op).Nth(nth));
                Start(keepWindow);
                ASSERT_EQ(Fetch(0, 300), Bytes(0, 300)) << OpName(op) << " " << nth;
                ASSERT_EQ(Fetch(700, 100), Bytes(700, 100)) << OpName(op) << " " << nth;
                ring.reset();
                if (plan.Fired() == 0) {
                    EXPECT_GT(nth, 3);
                    break;
                }
                ASSERT_LT(nth, 200);
            }
        }
    }
}

TEST_P(PreReadRingReaderTest, TheHandShakeHoldsAThousandTimes) {
    Start(GetParam());
    for (uint32 i = 0; i < 1000; ++i) {
        const uint64 position = i % 2 == 0 ? 600 + i % 97 : i % 89; // to and fro, out of the ring's reach
        ASSERT_EQ(Fetch(position, 100), Bytes(position, 100)) << i;
    }
    EXPECT_EQ(Repositions(), 1000);
}

TEST_P(PreReadRingReaderTest, StandstillsAmongReadsDisturbNothing) {
    Start(GetParam());
    for (uint32 round = 0; round < 20; ++round) {
        for (uint64 position = 0; position < kSize; position += 37) {
            ASSERT_EQ(Fetch(position, 37), Bytes(position, 37));
            const PreReadRing::Standstill standstill(*ring);
        }
    }
    EXPECT_EQ(Repositions(), 20);
}

TEST_P(PreReadRingReaderTest, ReadsWithinTheBlockInHandTouchNoEvent) {
    Start(GetParam());
    EXPECT_EQ(Fetch(0, 1), Bytes(0, 1));
    ASSERT_TRUE(feed.WaitForFills(4));
    Calls();
    FaultPlan plan;
    const auto own = plan.Add(FailAny().OnThisThread().FromThenOn()); // the ring's thread goes on meanwhile
    for (uint32 i = 0; i < kBlock; ++i) {
        EXPECT_EQ(Fetch(i, kBlock - i), Bytes(i, kBlock - i));
    }
    EXPECT_EQ(plan.Fired(own), 0);
}

TEST_P(PreReadRingReaderTest, ReadsThatFollowEachOtherReadTheFileOnce) {
    for (const uint32 blocks : {2U, 3U, 4U, 7U}) {
        for (const uint32 bytes : {1U, 16U, 63U, 64U, 65U, 200U, 999U, 2000U}) {
            Start(GetParam(), blocks);
            uint64 position = 0;
            while (position < kSize) {
                const auto got = Fetch(position, bytes);
                ASSERT_EQ(got, Bytes(position, bytes)) << blocks << " " << bytes << " " << position;
                position += got.size();
            }
            EXPECT_TRUE(Fetch(position, bytes).empty());
            EXPECT_TRUE(Fetch(position, bytes).empty());
            ring.reset();
            int64 next = 0;
            for (const auto& call : feed.calls) {
                ASSERT_EQ(call.position, next);
                next += call.got;
            }
            EXPECT_EQ(feed.OwnFills(), 1);
        }
    }
}

TEST_P(PreReadRingReaderTest, PositionsOutsideTheFileGiveNothingAndTheRingGoesOn) {
    for (const uint64 position :
         {uint64{kSize} + 5, uint64{1} << 40, ~uint64{0}, ~uint64{0} - 1, uint64{1} << 63, ~uint64{511}}) {
        Start(GetParam());
        EXPECT_EQ(Fetch(100, 300), Bytes(100, 300));
        EXPECT_TRUE(Fetch(position, 10).empty()) << position;
        EXPECT_TRUE(Fetch(position, 10).empty()) << position;
        EXPECT_EQ(Fetch(100, 300), Bytes(100, 300)) << position;
        EXPECT_EQ(Fetch(kSize - 5, 300), Bytes(kSize - 5, 300)) << position;
    }
}

TEST_P(PreReadRingReaderTest, ARepositionThatGivesNothingIsToldOnceAndNotMadeAgain) {
    for (const uint64 position : {uint64{2048}, uint64{2048} + 5}) { // on a sector, and in one
        Start(GetParam());
        EXPECT_EQ(Fetch(0, 300), Bytes(0, 300)); // leaves filled blocks
        LogCapture log;
        for (int i = 0; i < 20; ++i) {
            ASSERT_TRUE(Fetch(position, 10).empty());
        }
        EXPECT_EQ(log.Texts(INFOTYPE_TRACE),
                  std::vector<std::wstring>{L"Get Zero bytes from ReadFileWithTwoHandle()"});
        EXPECT_EQ(Repositions(), 2);
        ForgetCalls();
        EXPECT_EQ(Fetch(290, 5), Bytes(290, 5)); // and nothing stale is delivered
        EXPECT_EQ(Repositions(), 1);
        EXPECT_EQ(Fetch(300, 300), Bytes(300, 300));
        EXPECT_EQ(Repositions(), 1);
    }
}

TEST_P(PreReadRingReaderTest, AfterARepositionOfNothingTheThreadGoesOnThere) {
    Start(GetParam());
    EXPECT_TRUE(Fetch(2048 + 5, 10).empty());
    ASSERT_TRUE(feed.WaitForFills(4));
    for (const auto& call : Calls()) {
        EXPECT_EQ(call.position, 2048);
    }
}

TEST_P(PreReadRingReaderTest, ABlockThatDoesNotFollowIsNotTakenForOneThatDoes) {
    for (const int64 jump : {int64{32}, int64{-32}, int64{300}}) {
        feed.jumps = {{kBlock, jump}, {5 * kBlock, jump}};
        for (const uint32 bytes : {1000U, 100U, 7U}) {
            Start(GetParam());
            for (uint64 position = 0; position < kSize; position += bytes) {
                ASSERT_EQ(Fetch(position, bytes), Bytes(position, bytes)) << jump << " " << position;
            }
            ring.reset();
        }
    }
}

TEST_P(PreReadRingReaderTest, AJumpIntoAStretchThatTheFeedPassedOverGoesThere) {
    feed.jumps = {{kBlock, 300}}; // the third block begins at 428
    Start(GetParam());
    EXPECT_EQ(Fetch(0, 1), Bytes(0, 1));
    EXPECT_EQ(Fetch(200, 10), Bytes(200, 10));
    EXPECT_EQ(Repositions(), 2);
}

TEST_P(PreReadRingReaderTest, APlaceThatTheFeedNeverReachesGivesNothing) {
    feed.cuts = {{496, 1}};
    feed.jumps = {{496, 300}};
    Start(GetParam());
    EXPECT_TRUE(Fetch(500, 10).empty());
    EXPECT_EQ(Repositions(), 1); // and is not tried for ever
    EXPECT_EQ(Fetch(100, 10), Bytes(100, 10));
}

TEST_P(PreReadRingReaderTest, AskingForNothingGivesNothingButGoesThere) {
    Start(GetParam());
    EXPECT_EQ(ring->Fetch(500, nullptr, 0), 0U);
    EXPECT_EQ(Repositions(), 1);
    EXPECT_EQ(Inspector::OldestPosition(*ring), 496U);
    EXPECT_EQ(ring->Fetch(500, nullptr, 0), 0U);
    EXPECT_EQ(Fetch(500, 100), Bytes(500, 100));
    EXPECT_EQ(ring->Fetch(595, nullptr, 0), 0U);
    EXPECT_EQ(Repositions(), 1);
}

INSTANTIATE_TEST_SUITE_P(Readers, PreReadRingReaderTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& entry) {
                             return std::string(entry.param ? "Window" : "Forward");
                         });
