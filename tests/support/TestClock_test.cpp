#include "support/TestClock.h"

#include "support/FaultPlan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace vxcio::test;

namespace {

// An event for the scope of a test.
class Event {
public:
    explicit Event(bool manualReset = false)
        : m_handle(VXC_CreateEventW(nullptr, manualReset ? 1 : 0, 0, nullptr)) {}
    ~Event() { VXC_CloseHandle(m_handle); }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    operator void*() const { return m_handle; }
    void Set() const { EXPECT_EQ(VXC_SetEvent(m_handle), 1); }
    bool IsSet() const { return real::VXC_WaitForSingleObject(m_handle, 0) == VXC_WAIT_OBJECT_0; }

private:
    void* m_handle;
};

TEST(TestClockTest, TimeMovesOnlyWhenTold) {
    TestClock clock(5000);
    EXPECT_EQ(VXC_GetTickCount(), 5000u);
    _VXC_LARGE_INTEGER before{};
    _VXC_LARGE_INTEGER after{};
    _VXC_LARGE_INTEGER frequency{};
    EXPECT_EQ(VXC_QueryPerformanceCounter(&before), 1);
    EXPECT_EQ(VXC_QueryPerformanceFrequency(&frequency), 1);
    EXPECT_EQ(clock.Advance(1500), 0);
    EXPECT_EQ(VXC_GetTickCount(), 6500u);
    EXPECT_EQ(clock.Now(), 6500u);
    VXC_QueryPerformanceCounter(&after);
    EXPECT_EQ((after.QuadPart - before.QuadPart) * 1000 / frequency.QuadPart, 1500);
}

TEST(TestClockTest, TheTickCountWraps) {
    TestClock clock(0xFFFFFFFFu);
    EXPECT_EQ(VXC_GetTickCount(), 0xFFFFFFFFu);
    clock.Advance(2);
    EXPECT_EQ(VXC_GetTickCount(), 1u);
    EXPECT_EQ(clock.Now(), 0x1'0000'0001u);
}

TEST(TestClockTest, TheRealTimeIsBackAfterwards) {
    const uint32 before = real::VXC_GetTickCount();
    { TestClock clock(before + 1'000'000'000u); }
    EXPECT_LT(VXC_GetTickCount() - before, 60'000u);
}

TEST(TestClockTest, ASleepEndsWhenItsTimeHasCome) {
    TestClock clock(0);
    std::atomic<bool> awake{false};
    std::thread thread([&] {
        VXC_Sleep(1000);
        awake = true;
    });
    ASSERT_TRUE(clock.WaitForSleepers(1));
    EXPECT_EQ(clock.NextDeadline(), 1000u);
    EXPECT_EQ(clock.Advance(999), 0);
    EXPECT_EQ(clock.Sleepers(), 1);
    EXPECT_FALSE(awake);
    EXPECT_EQ(clock.Advance(1), 1);
    thread.join();
    EXPECT_EQ(clock.Sleepers(), 0);
    EXPECT_EQ(clock.NextDeadline(), std::nullopt);
    EXPECT_THAT(clock.Sleeps(), testing::ElementsAre(1000u));
}

TEST(TestClockTest, ASleepOfNothingReturnsAtOnce) {
    TestClock clock;
    VXC_Sleep(0);
    EXPECT_EQ(clock.Begun(), 0);
    EXPECT_THAT(clock.Sleeps(), testing::ElementsAre(0u));
}

TEST(TestClockTest, AWaitEndsByItsLimit) {
    TestClock clock;
    Event event;
    uint32 result = 1;
    std::thread thread([&] { result = VXC_WaitForSingleObject(event, 15'000); });
    ASSERT_TRUE(clock.WaitForSleepers(1));
    EXPECT_EQ(clock.Advance(15'000), 1);
    thread.join();
    EXPECT_EQ(result, VXC_WAIT_TIMEOUT);
    EXPECT_THAT(clock.Waits(), testing::ElementsAre(15'000u));
}

TEST(TestClockTest, AWaitEndsByItsObjectAndConsumesIt) {
    TestClock clock;
    Event event;
    uint32 result = 1;
    std::thread thread([&] { result = VXC_WaitForSingleObject(event, 15'000); });
    ASSERT_TRUE(clock.WaitForSleepers(1));
    event.Set();
    thread.join();
    EXPECT_EQ(result, VXC_WAIT_OBJECT_0);
    EXPECT_FALSE(event.IsSet());
    EXPECT_EQ(clock.Sleepers(), 0);
}

TEST(TestClockTest, WhatIsSignalledAlreadyDoesNotStand) {
    TestClock clock;
    Event event;
    event.Set();
    EXPECT_EQ(VXC_WaitForSingleObject(event, 100), VXC_WAIT_OBJECT_0);
    EXPECT_EQ(clock.Begun(), 0);
}

TEST(TestClockTest, WaitsWithoutALimitAreTheRealOnes) {
    TestClock clock;
    Event event;
    EXPECT_EQ(VXC_WaitForSingleObject(event, 0), VXC_WAIT_TIMEOUT);
    std::thread thread([&] { EXPECT_EQ(VXC_WaitForSingleObject(event, VXC_INFINITE), VXC_WAIT_OBJECT_0); });
    event.Set();
    thread.join();
    EXPECT_EQ(clock.Begun(), 0);
}

TEST(TestClockTest, TheLowestOfSeveralObjectsEndsTheWait) {
    TestClock clock;
    Event events[3];
    void* const handles[] = {events[0], events[1], events[2]};
    uint32 result = 99;
    std::thread thread([&] { result = VXC_WaitForMultipleObjects(3, handles, 0, 500); });
    ASSERT_TRUE(clock.WaitForSleepers(1));
    events[2].Set();
    thread.join();
    EXPECT_EQ(result, 2u);
    std::thread late([&] { result = VXC_WaitForMultipleObjects(3, handles, 0, 500); });
    ASSERT_TRUE(clock.WaitForBegun(2));
    clock.Advance(500);
    late.join();
    EXPECT_EQ(result, VXC_WAIT_TIMEOUT);
}

TEST(TestClockTest, AnObjectComesBeforeTheLimit) {
    TestClock clock;
    Event first;
    Event second;
    void* const handles[] = {first, second};
    FaultPlan plan;
    uint32 result = 99;
    Gate gate;
    // Signalled and out of time before the thread runs: it stands in the plan behind its real wait.
    plan.Add(Hold(Op::VXC_WaitForMultipleObjects, gate));
    std::thread thread([&] { result = VXC_WaitForMultipleObjects(2, handles, 0, 500); });
    ASSERT_TRUE(gate.WaitUntilReached());
    second.Set();
    clock.Advance(500);
    gate.Open();
    thread.join();
    EXPECT_EQ(result, 1u);
}

TEST(TestClockTest, AWaitForAllConsumesNothingUntilAllAreSignalled) {
    TestClock clock;
    Event first;
    Event second;
    void* const handles[] = {first, second};
    uint32 result = 99;
    std::thread thread([&] { result = VXC_WaitForMultipleObjects(2, handles, 1, 500); });
    ASSERT_TRUE(clock.WaitForSleepers(1));
    first.Set();
    EXPECT_EQ(clock.Advance(499), 0);
    EXPECT_EQ(clock.Advance(1), 1);
    thread.join();
    EXPECT_EQ(result, VXC_WAIT_TIMEOUT);
    EXPECT_TRUE(first.IsSet());

    first.Set();
    std::thread again([&] { result = VXC_WaitForMultipleObjects(2, handles, 1, 500); });
    ASSERT_TRUE(clock.WaitForBegun(2));
    second.Set();
    again.join();
    EXPECT_EQ(result, VXC_WAIT_OBJECT_0);
    EXPECT_FALSE(first.IsSet());
    EXPECT_FALSE(second.IsSet());
}

TEST(TestClockTest, AsManyObjectsAsTheLayerTakesCanBeWaitedFor) {
    TestClock clock;
    std::vector<Event> events(VXC_MAXIMUM_WAIT_OBJECTS);
    std::vector<void*> handles(events.begin(), events.end());
    uint32 result = 99;
    const auto wait = [&] {
        result = VXC_WaitForMultipleObjects(VXC_MAXIMUM_WAIT_OBJECTS, handles.data(), 0, 500);
    };
    std::thread thread(wait);
    ASSERT_TRUE(clock.WaitForSleepers(1));
    events[63].Set();
    thread.join();
    EXPECT_EQ(result, 63u);
    std::thread late(wait);
    ASSERT_TRUE(clock.WaitForBegun(2));
    clock.Advance(500);
    late.join();
    EXPECT_EQ(result, VXC_WAIT_TIMEOUT);
}

TEST(TestClockTest, WhatTheLayerRefusesIsRefusedAtOnce) {
    TestClock clock;
    void* const handles[] = {nullptr, nullptr};
    EXPECT_EQ(VXC_WaitForSingleObject(nullptr, 500), VXC_WAIT_FAILED);
    EXPECT_EQ(VXC_WaitForMultipleObjects(2, handles, 0, 500), VXC_WAIT_FAILED);
    EXPECT_EQ(VXC_WaitForMultipleObjects(0, handles, 0, 500), VXC_WAIT_FAILED);
    EXPECT_EQ(VXC_WaitForMultipleObjects(65, handles, 0, 500), VXC_WAIT_FAILED);
    EXPECT_EQ(VXC_WaitForMultipleObjects(2, nullptr, 0, 500), VXC_WAIT_FAILED);
    EXPECT_EQ(clock.Begun(), 0);
}

TEST(TestClockTest, SleepersWakeByTheirDeadlines) {
    TestClock clock(0);
    Event event;
    std::thread sleeper([] { VXC_Sleep(300); });
    std::thread waiter([&] { EXPECT_EQ(VXC_WaitForSingleObject(event, 100), VXC_WAIT_TIMEOUT); });
    ASSERT_TRUE(clock.WaitForSleepers(2));
    EXPECT_EQ(clock.NextDeadline(), 100u);
    EXPECT_EQ(clock.Advance(100), 1);
    waiter.join();
    EXPECT_EQ(clock.NextDeadline(), 300u);
    EXPECT_EQ(clock.Advance(1000), 1);
    sleeper.join();
}

TEST(TestClockTest, ALoopOfSleepsMovesTheClockItself) {
    TestClock clock(0);
    clock.AutoAdvance(true);
    for (int i = 0; i < 10; ++i) {
        VXC_Sleep(1000);
    }
    EXPECT_EQ(VXC_GetTickCount(), 10'000u);
    EXPECT_EQ(clock.Sleeps(), std::vector<uint32>(10, 1000));
    Event event;
    EXPECT_EQ(VXC_WaitForSingleObject(event, 500), VXC_WAIT_TIMEOUT);
    EXPECT_EQ(VXC_GetTickCount(), 10'500u);
    event.Set();
    EXPECT_EQ(VXC_WaitForSingleObject(event, 500), VXC_WAIT_OBJECT_0);
    EXPECT_EQ(VXC_GetTickCount(), 10'500u);
}

TEST(TestClockTest, SleepsAloneMoveTheClockWhileWaitsStand) {
    TestClock clock(0);
    clock.AutoAdvanceSleeps(true);
    Event event;
    std::thread waiter([&] { EXPECT_EQ(VXC_WaitForSingleObject(event, 1000), VXC_WAIT_TIMEOUT); });
    ASSERT_TRUE(clock.WaitForSleepers(1));
    VXC_Sleep(999);
    EXPECT_EQ(clock.Now(), 999u);
    EXPECT_EQ(clock.Sleepers(), 1);
    VXC_Sleep(1);
    waiter.join();
    EXPECT_EQ(clock.Now(), 1000u);
}

TEST(TestClockTest, SleepsAreWaitedForByTheirNumber) {
    TestClock clock(0);
    std::thread sleeper([] {
        VXC_Sleep(0); // stands never, and counts
        VXC_Sleep(700);
    });
    ASSERT_TRUE(clock.WaitForSleeps(2));
    EXPECT_EQ(clock.Sleeps(), (std::vector<uint32>{0, 700}));
    ASSERT_TRUE(clock.WaitForSleepers(1));
    clock.Advance(700);
    sleeper.join();
    std::thread late([&] { EXPECT_TRUE(clock.WaitForSleeps(3)); });
    clock.AutoAdvance(true);
    VXC_Sleep(1);
    late.join();
}

TEST(TestClockTest, AClockThatMovesItselfWakesWhatStood) {
    TestClock clock(0);
    std::thread sleeper([] { VXC_Sleep(800); });
    ASSERT_TRUE(clock.WaitForSleepers(1));
    clock.AutoAdvance(true);
    VXC_Sleep(500);
    EXPECT_EQ(clock.Sleepers(), 1);
    VXC_Sleep(500);
    sleeper.join();
}

TEST(TestClockTest, ItsEndLetsAllGo) {
    Event event;
    std::thread sleeper;
    std::thread forEver;
    std::thread waiter;
    {
        TestClock clock;
        sleeper = std::thread([] { VXC_Sleep(1'000'000); });
        forEver = std::thread([] { VXC_Sleep(VXC_INFINITE); });
        waiter = std::thread([&] { EXPECT_EQ(VXC_WaitForSingleObject(event, 1'000'000), VXC_WAIT_TIMEOUT); });
        ASSERT_TRUE(clock.WaitForSleepers(3));
    }
    sleeper.join();
    forEver.join();
    waiter.join();
}

TEST(TestClockTest, ThePlanStandsBeforeTheClock) {
    TestClock clock;
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_WaitForSingleObject).WithError(6));
    Event event;
    EXPECT_EQ(VXC_WaitForSingleObject(event, 500), VXC_WAIT_FAILED);
    EXPECT_EQ(VXC_GetLastError(), 6u);
    EXPECT_EQ(clock.Begun(), 0);
    // The clock's own calls are none of the logic's.
    clock.AutoAdvance(true);
    EXPECT_EQ(VXC_WaitForSingleObject(event, 500), VXC_WAIT_TIMEOUT);
    EXPECT_EQ(plan.Calls(Op::VXC_WaitForMultipleObjects), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateEventW), 1);
}

} // namespace
