// The ring's nodes, its thread from start to end, and what the thread does with a node.
#include "sinks/RingOfNodes.h"

#include "frame/TransferDefaults.h"
#include "support/Bounded.h"
#include "support/LeakChecks.h"
#include "support/MemoryLack.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

using WriteBufferRingTest = RingOfNodes;
using Outcome = WriteBufferRing::Outcome;
using Order = WriteBufferRing::Order;

LogLine Trace(const wchar_t* text) {
    return {INFOTYPE_TRACE, L"VXCSoftCodecIO", text};
}

} // namespace

TEST_F(WriteBufferRingTest, NodesFormARingAndAllButTheFirstAreFree) {
    Start(3);
    EXPECT_EQ(Inspector::NodeCount(*ring), 3U);
    EXPECT_EQ(&ring->Node(), &Inspector::NodeAt(*ring, 0));
    EXPECT_EQ(Inspector::ThreadNode(*ring), &Inspector::NodeAt(*ring, 0));
    ring->Node().nFilePos = -1; // as it was made
    for (uint32 i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        const WriteBufferNode& node = Inspector::NodeAt(*ring, i);
        EXPECT_EQ(node.pNext, &Inspector::NodeAt(*ring, (i + 1) % 3));
        EXPECT_EQ(node.pBuffer.Size(), kNode);
        EXPECT_EQ(node.dwCapacity, kNode);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(node.pBuffer.Data()) % kTransferAlignment, 0U);
        EXPECT_EQ(node.dwUsed, 0U);
        EXPECT_EQ(node.bFlushRequest, 0U);
        EXPECT_EQ(node.nFilePos, -1);
        EXPECT_EQ(node.bWriteOK, 1U);
        EXPECT_FALSE(IsSet(node.hDataEvent));
        EXPECT_EQ(IsSet(node.hFreeEvent), i > 0);
        EXPECT_FALSE(IsSet(node.hFreeEvent)); // taken by the one who waited
    }
}

TEST_F(WriteBufferRingTest, TheThreadTellsOfItsStartAndItsEnd) {
    LogCapture log;
    Start(2);
    ASSERT_TRUE(log.WaitFor(L"Came into"));
    log.Clear();
    End();
    EXPECT_THAT(log.Lines(), ElementsAre(Trace(L"WriteFile: will exit WriteDataThread!\n")));
    Start(2);
    ASSERT_TRUE(log.WaitFor(L"Came into"));
    EXPECT_EQ(log.Lines().back(), Trace(L"WriteFile: Came into WriteDataThread!\n"));
}

TEST_F(WriteBufferRingTest, ARingOfNoNodesIsNone) {
    EXPECT_EQ(Ring::Start({&file, nullptr, kSector}, kNode, 0), nullptr);
}

TEST_F(WriteBufferRingTest, WhatLacksAtTheStartLeavesNothingBehind) {
    const NoLeakScope leaks;
    LogCapture log;
    const int events = 3 * 2 + 1;
    const WriterSetup setup{&file, nullptr, kSector};
    for (int nth = 1; nth <= events; ++nth) {
        FaultPlan plan;
        plan.Add(Fail(Op::VXC_CreateEventW).Nth(nth));
        EXPECT_EQ(Ring::Start(setup, kNode, 3), nullptr) << nth;
        EXPECT_EQ(plan.Fired(), 1) << nth;
        EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), nth - 1);
        EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 0);
    }
    for (const Op op : {Op::VXC_CreateThread, Op::VXC_ResumeThread}) {
        FaultPlan plan;
        plan.Add(Fail(op));
        EXPECT_EQ(Ring::Start(setup, kNode, 3), nullptr);
        EXPECT_EQ(plan.Fired(), 1);
        EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), events + (op == Op::VXC_ResumeThread ? 1 : 0));
    }
    for (const int nth : {1, 2, 3}) { // the ring, the list of its memory, its nodes
        const MemoryLack lack(nth);
        EXPECT_EQ(Ring::Start(setup, kNode, 3), nullptr) << nth;
        EXPECT_TRUE(lack.Came());
    }
    EXPECT_TRUE(log.Lines().empty()) << "no thread ever ran";
}

TEST_F(WriteBufferRingTest, ItsEndClosesAllHandles) {
    FaultPlan plan;
    Start(3);
    ring->AskToEnd();
    ring->WaitForEnd();
    EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), 0);
    ring->CloseThread();
    EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), 2);
    ring.reset();
    EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), 3 * 2 + 2);
}

TEST_F(WriteBufferRingTest, NodesGoOutWholeAndInOrderByTheThread) {
    Start(3);
    for (const uint32 seed : {1U, 2U, 3U, 4U, 5U}) {
        EXPECT_EQ(Pass(seed), Outcome::Good);
    }
    EXPECT_EQ(&ring->Node(), &Inspector::NodeAt(*ring, 2));
    EXPECT_TRUE(ring->Flush());
    EXPECT_EQ(Inspector::ThreadNode(*ring), &ring->Node());
    EXPECT_EQ(host.Content(), Row({1, 2, 3, 4, 5}));
    EXPECT_EQ(News(), std::vector<std::string>(5, "writer write 256"));
}

TEST_F(WriteBufferRingTest, AFlushWritesAPartialNodeAndStaysOnIt) {
    Start(2);
    Fill(Pattern(100, 1));
    EXPECT_TRUE(ring->Flush());
    EXPECT_THAT(News(), ElementsAre("writer write 100")); // nothing is padded here
    EXPECT_EQ(&ring->Node(), &Inspector::NodeAt(*ring, 0));
    EXPECT_EQ(Inspector::ThreadNode(*ring), &ring->Node());
    EXPECT_EQ(ring->Node().dwUsed, 0U);
    EXPECT_EQ(ring->Node().bFlushRequest, 0U);
    EXPECT_FALSE(IsSet(ring->Node().hFreeEvent)); // it stays the caller's
    EXPECT_EQ(Pass(2), Outcome::Good);            // full, and so handed over
    EXPECT_EQ(&ring->Node(), &Inspector::NodeAt(*ring, 1));
    EXPECT_TRUE(ring->Flush());
    EXPECT_THAT(News(), ElementsAre("writer write 256"));
}

TEST_F(WriteBufferRingTest, AnEmptyNodeIsFlushedWithoutTouchingTheFile) {
    Start(2);
    ring->Node().bWriteOK = 7; // not looked at
    EXPECT_TRUE(ring->Flush());
    EXPECT_TRUE(ring->Flush());
    EXPECT_TRUE(News().empty());
    EXPECT_EQ(ring->Node().bWriteOK, 7U);
}

TEST_F(WriteBufferRingTest, AFailureMarksItsNodeAndAllThatAreWrittenAfterIt) {
    Start(3, false, 1); // in thread mode a handle forgets a failed write with the next one
    host.Fail(HostFunction::Write, 112, 2);
    EXPECT_EQ(Pass(1), Outcome::Good);
    EXPECT_EQ(Pass(2), Outcome::Good); // the one that fails
    EXPECT_EQ(Pass(3), Outcome::Good);
    EXPECT_EQ(Pass(4), Outcome::WriteFailed); // a lap later
    EXPECT_EQ(Pass(5), Outcome::WriteFailed);
    EXPECT_EQ(Pass(6), Outcome::WriteFailed);
    EXPECT_TRUE(ring->Flush());
    for (uint32 i = 0; i < 3; ++i) {
        EXPECT_EQ(Inspector::NodeAt(*ring, i).bWriteOK, 0U);
    }
    EXPECT_EQ(host.Content(), Row({1, 3, 4, 5, 6}));
}

TEST_F(WriteBufferRingTest, TheEndDropsNodesThatTheThreadHasNotBegun) {
    Gate gate;
    host.Hold(HostFunction::Write, gate);
    Start(3);
    EXPECT_EQ(Pass(1), Outcome::Good);
    ASSERT_TRUE(gate.WaitUntilReached());
    EXPECT_EQ(Pass(2), Outcome::Good);
    Fill(Pattern(100, 3));
    ring->AskToEnd();
    gate.Open();
    ring->WaitForEnd();
    EXPECT_EQ(host.Content(), Row({1}));
}

// Whichever node the thread waits for when it is asked.
TEST_F(WriteBufferRingTest, TheEndFindsTheThreadAtAnyNode) {
    for (uint32 passed = 0; passed < 7; ++passed) {
        Start(3);
        for (uint32 i = 0; i < passed; ++i) {
            EXPECT_EQ(Pass(i), Outcome::Good);
        }
        End();
    }
}

TEST_F(WriteBufferRingTest, AnEventOrAWaitThatFailsOnceIsAskedAgain) {
    for (const Op op : {Op::VXC_SetEvent, Op::VXC_WaitForSingleObject}) {
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE(OpName(op) + (" " + std::to_string(nth)));
            host.AddFile(L"host.mxf", std::vector<uint8>());
            FaultPlan plan;
            plan.Add(Fail(op).Nth(nth));
            ASSERT_NO_FATAL_FAILURE(Start(2));
            for (const uint32 seed : {1U, 2U, 3U}) {
                ASSERT_EQ(Pass(seed), Outcome::Good);
            }
            Fill(Pattern(100, 4));
            ASSERT_TRUE(ring->Flush());
            Fill(Pattern(50, 5)); // never handed over
            End();
            auto expected = Row({1, 2, 3});
            const auto rest = Pattern(100, 4);
            expected.insert(expected.end(), rest.begin(), rest.end());
            ASSERT_EQ(host.Content(), expected);
            if (plan.Fired() == 0) {
                EXPECT_GT(nth, 10);
                break;
            }
            ASSERT_LT(nth, 200);
        }
    }
}

// The thread is ahead of the caller then, at a node that nobody will hand over, and ends all the same.
TEST_F(WriteBufferRingTest, AWaitThatCannotBeHadIsToldAndDelaysNoEnd) {
    Gate gate;
    host.Hold(HostFunction::Write, gate);
    Start(2);
    {
        FaultPlan plan;
        plan.Add(Fail(Op::VXC_WaitForSingleObject).FromThenOn().OnThisThread());
        EXPECT_EQ(Pass(1), Outcome::NoNode);
    }
    EXPECT_EQ(&ring->Node(), &Inspector::NodeAt(*ring, 0));
    ASSERT_TRUE(gate.WaitUntilReached());
    ring->AskToEnd();
    gate.Open();
    End();
    EXPECT_EQ(host.Content(), Row({1}));
}

TEST_F(WriteBufferRingTest, AFlushThatCannotBeWaitedForIsTold) {
    Start(2);
    Fill(Pattern(10, 1));
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_WaitForSingleObject).FromThenOn().OnThisThread());
    EXPECT_FALSE(ring->Flush());
}

TEST_F(WriteBufferRingTest, AThreadThatCannotWaitLeavesTheNodeToTheCaller) {
    FaultPlan plan;
    const auto failing = plan.Add(Fail(Op::VXC_WaitForSingleObject).FromThenOn().OnOtherThreads());
    Start(2);
    Fill(Pattern(100, 1));
    const auto limit = std::chrono::steady_clock::now() + kHangLimit;
    while (plan.Fired(failing) < 100 && std::chrono::steady_clock::now() < limit) {
        std::this_thread::yield();
    }
    EXPECT_GE(plan.Fired(failing), 100);
    EXPECT_EQ(ring->Node().dwUsed, 100U);
    EXPECT_TRUE(News().empty());
    plan.Remove(failing);
    EXPECT_TRUE(ring->Flush());
    EXPECT_THAT(News(), ElementsAre("writer write 100"));
}
