// The hand-over of a full node: it waits for its successor, but not for long.
#include "sinks/RingOfNodes.h"

#include "support/TestClock.h"

#include <gmock/gmock.h>

#include <future>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

using Outcome = WriteBufferRing::Outcome;
using Order = WriteBufferRing::Order;

// Two nodes: the first stands in its write, the second is full and being handed over.
class WriteRingPatienceTest : public RingOfNodes {
protected:
    void HandOverSecond(Order order) {
        host.Hold(HostFunction::Write, gate);
        Start(2);
        ASSERT_EQ(Pass(1), Outcome::Good);
        EXPECT_TRUE(clock.Waits().empty()); // its successor was free
        ASSERT_TRUE(gate.WaitUntilReached());
        second = &ring->Node();
        handOver = std::async(std::launch::async, [this, order] { return Pass(2, order); });
    }
    bool IsHandedOver() const { return IsSet(second->hDataEvent); } // takes the signal away
    void Finish() {
        gate.Open();
        EXPECT_EQ(handOver.get(), Outcome::Good);
        EXPECT_EQ(&ring->Node(), &Inspector::NodeAt(*ring, 0));
        EXPECT_TRUE(ring->Flush());
        EXPECT_EQ(host.Content(), Row({1, 2}));
    }

    TestClock clock;
    const WriteBufferNode* second = nullptr;
    Gate gate;
    std::future<Outcome> handOver;
};

} // namespace

TEST_F(WriteRingPatienceTest, AFullNodeWaitsUntilItsSuccessorIsFree) {
    ASSERT_NO_FATAL_FAILURE(HandOverSecond(Order::WaitFirst));
    ASSERT_TRUE(clock.WaitForSleepers(1));
    clock.Advance(99);
    EXPECT_FALSE(IsHandedOver());
    EXPECT_EQ(clock.Sleepers(), 1);
    Finish();
    EXPECT_THAT(clock.Waits(), ElementsAre(100U));
}

TEST_F(WriteRingPatienceTest, AfterTheLimitItGoesOverAllTheSame) {
    ASSERT_NO_FATAL_FAILURE(HandOverSecond(Order::WaitFirst));
    ASSERT_TRUE(clock.WaitForSleepers(1));
    EXPECT_FALSE(IsHandedOver());
    EXPECT_EQ(clock.Advance(100), 1);
    ASSERT_TRUE(second->hDataEvent.Wait()); // while the first still stands in its write
    EXPECT_EQ(gate.Standing(), 1);
    EXPECT_EQ(handOver.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    second->hDataEvent.Set(); // back to the thread
    Finish();
    EXPECT_THAT(clock.Waits(), ElementsAre(100U)); // the second wait has no limit
}

TEST_F(WriteRingPatienceTest, TheFirstNodeOfARunGoesOverAtOnce) {
    ASSERT_NO_FATAL_FAILURE(HandOverSecond(Order::HandOverFirst));
    ASSERT_TRUE(second->hDataEvent.Wait());
    EXPECT_EQ(gate.Standing(), 1);
    second->hDataEvent.Set();
    Finish();
    EXPECT_TRUE(clock.Waits().empty());
}

TEST_F(WriteRingPatienceTest, ARingOfOneNodeLosesTheLimitWithEachNode) {
    clock.AutoAdvance(true);
    Start(1);
    for (const uint32 seed : {1U, 2U, 3U}) {
        EXPECT_EQ(Pass(seed), Outcome::Good);
        EXPECT_EQ(&ring->Node(), &Inspector::NodeAt(*ring, 0));
    }
    Fill(Pattern(10, 4));
    EXPECT_TRUE(ring->Flush());
    EXPECT_THAT(clock.Waits(), ElementsAre(100U, 100U, 100U));
    auto expected = Row({1, 2, 3});
    const auto rest = Pattern(10, 4);
    expected.insert(expected.end(), rest.begin(), rest.end());
    EXPECT_EQ(host.Content(), expected);
}
