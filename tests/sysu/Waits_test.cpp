#include "WaitHelpers.h"

#include <csignal>
#include <pthread.h>
#include <sys/time.h>

using namespace waittest;

namespace {

uint32 WaitAny(const std::vector<void*>& handles, uint32 milliseconds) {
    return VXC_WaitForMultipleObjects(static_cast<uint32>(handles.size()), handles.data(), 0, milliseconds);
}

uint32 WaitAll(const std::vector<void*>& handles, uint32 milliseconds) {
    return VXC_WaitForMultipleObjects(static_cast<uint32>(handles.size()), handles.data(), 1, milliseconds);
}

void ExpectFailure(uint32 result, uint32 error) {
    EXPECT_EQ(result, VXC_WAIT_FAILED);
    EXPECT_EQ(VXC_GetLastError(), error);
}

void OnAlarm(int) {}

// Interrupts this thread every millisecond while it lives.
class Interruptions {
public:
    Interruptions() {
        struct sigaction action = {};
        action.sa_handler = OnAlarm;
        sigaction(SIGALRM, &action, &m_before);
        const itimerval often = {{0, 1000}, {0, 1000}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    ~Interruptions() {
        const itimerval never = {};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &m_before, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;

private:
    struct sigaction m_before = {};
};

} // namespace

TEST(WaitTest, TimesOutNoSoonerThanAskedAndLeavesTheQueue) {
    const Handle event(AutoEvent());
    const Handle other(AutoEvent());
    EXPECT_GE(MillisecondsOf([&] { EXPECT_EQ(VXC_WaitForSingleObject(event, 3), VXC_WAIT_TIMEOUT); }), 3.0);
    EXPECT_GE(MillisecondsOf([&] { EXPECT_EQ(WaitAny({event, other}, 3), VXC_WAIT_TIMEOUT); }), 3.0);
    EXPECT_GE(MillisecondsOf([&] { EXPECT_EQ(WaitAll({event, other}, 3), VXC_WAIT_TIMEOUT); }), 3.0);
    EXPECT_EQ(QueueOf(event), 0u);
    EXPECT_EQ(QueueOf(other), 0u);
    VXC_SetEvent(event);
    EXPECT_TRUE(Poll(event));
}

TEST(WaitTest, GoesOnAfterASignalOfTheSystem) {
    const Handle event(AutoEvent());
    const Interruptions interruptions;
    EXPECT_GE(MillisecondsOf([&] { EXPECT_EQ(VXC_WaitForSingleObject(event, 5), VXC_WAIT_TIMEOUT); }), 5.0);
}

TEST(WaitTest, ALimitFarAheadDoesNotEndTheWait) {
    const Handle event(AutoEvent());
    auto waiting = WaitsForOne(event, VXC_INFINITE - 1);
    ASSERT_TRUE(AwaitQueue(event, 1));
    EXPECT_FALSE(waiting->IsDone());
    VXC_SetEvent(event);
    EXPECT_EQ(waiting->Result(), VXC_WAIT_OBJECT_0);
}

TEST(WaitTest, LowestSignalledIndexWinsAndOnlyItIsTaken) {
    const Handle a(AutoEvent());
    const Handle b(AutoEvent(true));
    const Handle c(AutoEvent(true));
    EXPECT_EQ(WaitAny({a, b, c}, VXC_INFINITE), 1u);
    EXPECT_FALSE(Poll(b));
    EXPECT_EQ(WaitAny({a, b, c}, 0), 2u);
    EXPECT_EQ(WaitAny({a, b, c}, 0), VXC_WAIT_TIMEOUT);
    VXC_SetEvent(a);
    VXC_SetEvent(c);
    EXPECT_EQ(WaitAny({a, b, c}, 0), 0u);
    EXPECT_TRUE(Poll(c));
}

TEST(WaitTest, SleepingWaitForAnyGetsTheIndexOfWhatWasSignalled) {
    const Handle a(AutoEvent());
    const Handle b(ManualEvent());
    const Handle c(AutoEvent());
    auto waiting = WaitsForMany({a, b, c}, false);
    ASSERT_TRUE(AwaitQueue(c, 1));
    VXC_SetEvent(c);
    EXPECT_EQ(waiting->Result(), 2u);
    EXPECT_FALSE(Poll(c));
    EXPECT_EQ(QueueOf(a), 0u);
    EXPECT_EQ(QueueOf(b), 0u);

    auto again = WaitsForMany({a, b, c}, false);
    ASSERT_TRUE(AwaitQueue(c, 1));
    VXC_SetEvent(b);
    VXC_ResetEvent(b);
    VXC_SetEvent(a); // comes too late
    EXPECT_EQ(again->Result(), 1u);
    EXPECT_TRUE(Poll(a));
}

TEST(WaitTest, AllAreTakenAtOnceOrNone) {
    const Handle a(AutoEvent(true));
    const Handle b(AutoEvent());
    const Handle c(ManualEvent(true));
    EXPECT_EQ(WaitAll({a, b, c}, 0), VXC_WAIT_TIMEOUT);
    EXPECT_EQ(WaitAll({a, b, c}, 2), VXC_WAIT_TIMEOUT);
    VXC_SetEvent(b);
    EXPECT_EQ(WaitAll({a, b, c}, 0), VXC_WAIT_OBJECT_0);
    EXPECT_FALSE(Poll(a));
    EXPECT_FALSE(Poll(b));
    EXPECT_TRUE(Poll(c));
}

TEST(WaitTest, SleepingWaitForAllTakesNothingUntilAllAreSignalled) {
    const Handle a(AutoEvent());
    const Handle b(AutoEvent());
    auto waiting = WaitsForMany({a, b}, true);
    ASSERT_TRUE(AwaitQueue(b, 1));
    VXC_SetEvent(a);
    EXPECT_TRUE(Poll(a)); // still there for others, who may take it
    VXC_SetEvent(b);
    EXPECT_EQ(QueueOf(b), 1u);
    EXPECT_FALSE(waiting->IsDone());
    VXC_SetEvent(a);
    EXPECT_EQ(waiting->Result(), VXC_WAIT_OBJECT_0);
    EXPECT_FALSE(Poll(a));
    EXPECT_FALSE(Poll(b));
}

TEST(WaitTest, ResetUnderAWaitForAllTakesTheSignalAway) {
    const Handle a(ManualEvent());
    const Handle b(AutoEvent());
    auto waiting = WaitsForMany({a, b}, true);
    ASSERT_TRUE(AwaitQueue(b, 1));
    VXC_SetEvent(a);
    VXC_ResetEvent(a);
    VXC_SetEvent(b);
    EXPECT_EQ(QueueOf(a), 1u);
    VXC_SetEvent(a);
    EXPECT_EQ(waiting->Result(), VXC_WAIT_OBJECT_0);
    EXPECT_TRUE(Poll(a));
    EXPECT_FALSE(Poll(b));
}

TEST(WaitTest, WaitForAllThatLacksSomethingIsPassedOver) {
    const Handle a(AutoEvent());
    const Handle b(AutoEvent());
    auto all = WaitsForMany({a, b}, true);
    ASSERT_TRUE(AwaitQueue(a, 1));
    auto one = WaitsForOne(a);
    ASSERT_TRUE(AwaitQueue(a, 2));
    VXC_SetEvent(a);
    EXPECT_EQ(one->Result(), VXC_WAIT_OBJECT_0);
    EXPECT_FALSE(all->IsDone());
    VXC_SetEvent(a);
    VXC_SetEvent(b);
    EXPECT_EQ(all->Result(), VXC_WAIT_OBJECT_0);
}

TEST(WaitTest, SignalledEventWithAQueueIsStillTakenByOneOnly) {
    const Handle a(AutoEvent());
    const Handle b(AutoEvent());
    auto all = WaitsForMany({a, b}, true);
    ASSERT_TRUE(AwaitQueue(b, 1));
    VXC_SetEvent(a);
    EXPECT_EQ(VXC_WaitForSingleObject(a, VXC_INFINITE), VXC_WAIT_OBJECT_0);
    EXPECT_EQ(VXC_WaitForSingleObject(a, 0), VXC_WAIT_TIMEOUT);
    VXC_SetEvent(a);
    VXC_SetEvent(b);
    EXPECT_EQ(all->Result(), VXC_WAIT_OBJECT_0);
}

TEST(WaitTest, CountsOutOfRangeGiveError87) {
    const Handle event(AutoEvent(true));
    const std::vector<void*> many(65, static_cast<void*>(event));
    ExpectFailure(VXC_WaitForMultipleObjects(0, many.data(), 0, 0), VXC_ERROR_INVALID_PARAMETER);
    ExpectFailure(VXC_WaitForMultipleObjects(65, many.data(), 0, 0), VXC_ERROR_INVALID_PARAMETER);
    ExpectFailure(VXC_WaitForMultipleObjects(1, nullptr, 0, 0), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(Poll(event));
}

TEST(WaitTest, OneBadHandleFailsTheWholeWait) {
    const Handle event(AutoEvent(true));
    for (void* bad : {static_cast<void*>(nullptr), VXC_INVALID_HANDLE}) {
        ExpectFailure(WaitAny({event, bad}, VXC_INFINITE), VXC_ERROR_INVALID_HANDLE);
        ExpectFailure(WaitAll({event, bad}, VXC_INFINITE), VXC_ERROR_INVALID_HANDLE);
    }
    EXPECT_TRUE(Poll(event));
}

TEST(WaitTest, TheSameHandleTwiceIsHarmlessInAWaitForAny) {
    const Handle event(AutoEvent(true));
    const Handle other(AutoEvent());
    EXPECT_EQ(WaitAny({other, event, event}, 0), 1u);
    EXPECT_FALSE(Poll(event));
    auto first = WaitsForMany({other, event, event}, false);
    ASSERT_TRUE(AwaitQueue(event, 2));
    auto second = WaitsForMany({event, event}, false);
    ASSERT_TRUE(AwaitQueue(event, 4));
    VXC_SetEvent(event);
    EXPECT_EQ(first->Result(), 1u);
    EXPECT_EQ(QueueOf(event), 2u);
    VXC_SetEvent(event);
    EXPECT_EQ(second->Result(), 0u);
    EXPECT_EQ(QueueOf(event), 0u);
    EXPECT_EQ(QueueOf(other), 0u);
}

TEST(WaitTest, TheSameHandleTwiceFailsAWaitForAll) {
    const Handle event(ManualEvent(true));
    const Handle other(ManualEvent(true));
    ExpectFailure(WaitAll({event, other, event}, 0), VXC_ERROR_INVALID_PARAMETER);
}

TEST(WaitTest, ManualResetEventFreesWaitsThatNameItTwice) {
    const Handle event(ManualEvent());
    auto first = WaitsForMany({event, event}, false);
    auto second = WaitsForMany({event, event}, false);
    ASSERT_TRUE(AwaitQueue(event, 4));
    VXC_SetEvent(event);
    EXPECT_EQ(first->Result(), 0u);
    EXPECT_EQ(second->Result(), 0u);
    EXPECT_EQ(QueueOf(event), 0u);
}

TEST(WaitTest, TakesSixtyFourObjects) {
    std::vector<std::unique_ptr<Handle>> owners;
    std::vector<void*> handles;
    for (uint32 i = 0; i < VXC_MAXIMUM_WAIT_OBJECTS; ++i) {
        owners.push_back(std::make_unique<Handle>(AutoEvent()));
        handles.push_back(*owners.back());
    }
    auto any = WaitsForMany(handles, false);
    ASSERT_TRUE(AwaitQueue(handles.back(), 1));
    VXC_SetEvent(handles.back());
    EXPECT_EQ(any->Result(), 63u);
    auto all = WaitsForMany(handles, true);
    ASSERT_TRUE(AwaitQueue(handles.back(), 1));
    for (void* handle : handles) {
        EXPECT_FALSE(all->IsDone());
        VXC_SetEvent(handle);
    }
    EXPECT_EQ(all->Result(), 0u);
    EXPECT_EQ(WaitAny(handles, 0), VXC_WAIT_TIMEOUT);
}

TEST(WaitTest, AnythingButZeroMeansAll) {
    const Handle set(AutoEvent(true));
    const Handle other(AutoEvent(false));
    void* const handles[] = {set, other};
    for (const int all : {2, -1}) {
        EXPECT_EQ(VXC_WaitForMultipleObjects(2, handles, all, 0), VXC_WAIT_TIMEOUT);
    }
    EXPECT_TRUE(Poll(set));
}

TEST(WaitTest, OneObjectAloneMayBeWaitedForAsAll) {
    const Handle event(AutoEvent(true));
    EXPECT_EQ(WaitAll({event}, VXC_INFINITE), 0u);
    EXPECT_EQ(WaitAll({event}, 0), VXC_WAIT_TIMEOUT);
}

TEST(WaitTest, LooksBeforeItSleepsOnlyWhereThePartnerCanRunMeanwhile) {
    const auto scoreAfterAWaitInVain = [](bool onOneCore) {
        const Handle event(AutoEvent());
        WaitingThread thread([&] {
            if (onOneCore) {
                cpu_set_t one;
                CPU_ZERO(&one);
                CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
                EXPECT_EQ(pthread_setaffinity_np(pthread_self(), sizeof one, &one), 0);
            }
            return VXC_WaitForSingleObject(event, 1);
        });
        EXPECT_EQ(thread.Result(), VXC_WAIT_TIMEOUT);
        return static_cast<vxcio::sysu::WaitObject*>(static_cast<void*>(event))->spin.Score();
    };
    const uint32 fresh = vxcio::sysu::SpinScore().Score();
    EXPECT_EQ(scoreAfterAWaitInVain(true), fresh);
    if (vxcio::sysu::UsableCores() > 1) {
        EXPECT_EQ(scoreAfterAWaitInVain(false), fresh - 1);
    }
}
