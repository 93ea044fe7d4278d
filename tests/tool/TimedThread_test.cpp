// The thread that works on servers: one piece of work after the other, whatever became of the one before.
#include "support/Bounded.h"
#include "support/Gate.h"

#include "TimedThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>

using namespace vxcio::test;
using vxcio::tool::TimedThread;

namespace {

// What work leaves behind that may outlive its test.
struct Trace {
    Gate gate;
    std::atomic<int> ended{0};
};

} // namespace

TEST(ToolTimedThreadTest, WhileWorkIsUnderWayNoOtherIsBegun) {
    const auto trace = std::make_shared<Trace>();
    TimedThread thread;
    ASSERT_TRUE(thread.Begin([trace] {
        trace->gate.Pass();
        ++trace->ended;
    }));
    ASSERT_TRUE(trace->gate.WaitUntilReached());
    bool isBegun = false;
    EXPECT_FALSE(thread.Begin([&] { isBegun = true; }));
    EXPECT_FALSE(thread.Do(kHangLimit, [&] { isBegun = true; }));
    EXPECT_FALSE(thread.IsLost());
    EXPECT_EQ(trace->ended, 0);
    trace->gate.Open();
    EXPECT_TRUE(thread.Wait(kHangLimit));
    EXPECT_EQ(trace->ended, 1);
    EXPECT_FALSE(isBegun);
    EXPECT_TRUE(thread.Do(kHangLimit, [&] { isBegun = true; }));
    EXPECT_TRUE(isBegun);
}

TEST(ToolTimedThreadTest, BehindWorkThatWasLeftNoneIsBegunEvenWhenItComesBack) {
    const auto trace = std::make_shared<Trace>();
    TimedThread thread;
    ASSERT_TRUE(thread.Begin([trace] {
        trace->gate.Pass();
        ++trace->ended;
    }));
    ASSERT_TRUE(trace->gate.WaitUntilReached());
    EXPECT_FALSE(thread.Wait(std::chrono::milliseconds(0)));
    EXPECT_TRUE(thread.IsLost());
    trace->gate.Open();
    bool isBegun = false;
    EXPECT_FALSE(thread.Begin([&] { isBegun = true; }));
    EXPECT_FALSE(thread.Do(kHangLimit, [&] { isBegun = true; }));
    EXPECT_FALSE(isBegun);
}

TEST(ToolTimedThreadTest, WhatWorkThrowsComesThroughOnce) {
    TimedThread thread;
    EXPECT_THROW(thread.Do(kHangLimit, [] { throw std::runtime_error("no"); }), std::runtime_error);
    EXPECT_TRUE(thread.Wait(kHangLimit));
    EXPECT_TRUE(thread.Do(kHangLimit, [] {}));
}
