#include "support/Gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace vxcio::test;

TEST(GateTest, HoldsThreadsUntilItIsOpened) {
    Gate gate;
    std::atomic<int> through{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            gate.Pass();
            ++through;
        });
    }
    ASSERT_TRUE(gate.WaitUntilReached(3));
    EXPECT_EQ(gate.Standing(), 3);
    EXPECT_EQ(through, 0);
    gate.Open();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(through, 3);
    EXPECT_EQ(gate.Standing(), 0);
    EXPECT_EQ(gate.Arrived(), 3);
}

TEST(GateTest, AnOpenGateHoldsNobodyAndAClosedOneHoldsAgain) {
    Gate gate;
    gate.Open();
    gate.Pass();
    EXPECT_EQ(gate.Arrived(), 1);
    gate.Close();
    std::thread thread([&] { gate.Pass(); });
    ASSERT_TRUE(gate.WaitUntilReached());
    gate.Open();
    thread.join();
}

TEST(GateTest, ClosingAtOnceHoldsNobodyWhoStoodThere) {
    Gate gate;
    std::thread thread([&] { gate.Pass(); });
    ASSERT_TRUE(gate.WaitUntilReached());
    gate.Open();
    gate.Close();
    thread.join();
    EXPECT_EQ(gate.Standing(), 0);
}

TEST(GateTest, ItsEndLetsAllGo) {
    std::thread thread;
    {
        Gate gate;
        thread = std::thread([shared = gate.Share()] { Gate::Pass(*shared); });
        ASSERT_TRUE(gate.WaitUntilReached());
    }
    thread.join();
}
