#include "bridge/ReceiverThread.h"

#include "bridge/InteracterTesting.h"
#include "support/FaultPlan.h"
#include "support/Gate.h"
#include "support/LeakChecks.h"
#include "support/LogCapture.h"
#include "support/TestClock.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr uint32 kLong = 30000;

class ReceiverThreadTest : public ::testing::Test {
protected:
    static Ref<InteracterEvent> Event() {
        return InteracterEvent::Take(VXC_CreateEventW(nullptr, 0, 0, nullptr));
    }
    static int Run(void* context) {
        (*static_cast<std::function<void()>*>(context))();
        return 0;
    }
    bool Start() { return thread.Start(Run, &callback, begin, end); }
    bool Call() {
        VXC_SetEvent(begin->handle);
        return WaitForEnd();
    }
    bool WaitForEnd() const {
        return VXC_WaitForSingleObject(end->handle, VXC_INFINITE) == VXC_WAIT_OBJECT_0;
    }
    std::future<bool> Stopping() {
        return std::async(std::launch::async, [this] { return thread.Stop(); });
    }

    NoLeakScope noLeak;
    const Ref<InteracterEvent> begin = Event();
    const Ref<InteracterEvent> end = Event();
    std::atomic<int> calls{0};
    std::function<void()> callback = [this] { ++calls; };
    ReceiverThread thread;
};

} // namespace

TEST_F(ReceiverThreadTest, ServesEachSignalAndSignalsItsEnd) {
    ASSERT_TRUE(Start());
    for (int i = 1; i <= 3; ++i) {
        ASSERT_TRUE(Call());
        EXPECT_EQ(calls.load(), i);
    }
    EXPECT_TRUE(thread.Stop());
    EXPECT_TRUE(thread.Stop());
    EXPECT_EQ(calls.load(), 3);
}

TEST_F(ReceiverThreadTest, ACallbackThatThrowsStillEndsItsCall) {
    callback = [this] {
        if (++calls == 1) {
            throw std::runtime_error("callback");
        }
    };
    ASSERT_TRUE(Start());
    EXPECT_TRUE(Call());
    EXPECT_TRUE(Call());
    EXPECT_EQ(calls.load(), 2);
    EXPECT_TRUE(thread.Stop());
}

TEST_F(ReceiverThreadTest, AFailedWaitRunsTheCallbackOnceAndDoesNotRunWild) {
    TestClock clock;
    clock.AutoAdvance(true);
    {
        FaultPlan plan;
        const auto rule = plan.Add(Fail(Op::VXC_WaitForMultipleObjects));
        ASSERT_TRUE(Start());
        EXPECT_TRUE(WaitForEnd());
        EXPECT_EQ(plan.Fired(rule), 1);
    }
    EXPECT_TRUE(thread.Stop());
    EXPECT_EQ(calls.load(), 1);
    EXPECT_THAT(clock.Sleeps(), ElementsAre(1u));
}

TEST_F(ReceiverThreadTest, QuitWaitsForTheCallbackUnderWayAndNeverCutsItOff) {
    Gate gate;
    callback = [&] {
        gate.Pass();
        ++calls;
    };
    ASSERT_TRUE(Start());
    VXC_SetEvent(begin->handle);
    ASSERT_TRUE(gate.WaitUntilReached());
    FaultPlan plan;
    Gate waiting;
    plan.Add(Hold(Op::VXC_WaitForSingleObject, waiting));
    std::future<bool> stop = Stopping();
    ASSERT_TRUE(waiting.WaitUntilReached()); // quit is signalled
    waiting.Open();
    EXPECT_EQ(calls.load(), 0);
    EXPECT_EQ(stop.wait_for(std::chrono::milliseconds(1)), std::future_status::timeout);
    gate.Open();
    EXPECT_TRUE(stop.get());
    EXPECT_EQ(calls.load(), 1);
    EXPECT_TRUE(WaitForEnd()); // whoever waits for the call gets its end
}

TEST_F(ReceiverThreadTest, ARequestThatStandsGoesBeforeQuit) {
    Gate gate;
    callback = [&] {
        gate.Pass();
        ++calls;
    };
    ASSERT_TRUE(Start());
    VXC_SetEvent(begin->handle);
    ASSERT_TRUE(gate.WaitUntilReached());
    VXC_SetEvent(begin->handle);
    FaultPlan plan;
    Gate waiting;
    plan.Add(Hold(Op::VXC_WaitForSingleObject, waiting));
    std::future<bool> stop = Stopping();
    ASSERT_TRUE(waiting.WaitUntilReached());
    waiting.Open();
    gate.Open();
    EXPECT_TRUE(stop.get());
    EXPECT_EQ(calls.load(), 2);
}

TEST_F(ReceiverThreadTest, ItsOwnStopOnlyTellsItToQuit) {
    std::atomic<bool> stopped{true};
    callback = [&] { stopped = thread.Stop(); };
    ASSERT_TRUE(Start());
    EXPECT_TRUE(Call());
    EXPECT_FALSE(stopped.load());
    EXPECT_TRUE(thread.Stop());
    VXC_SetEvent(begin->handle);
    EXPECT_EQ(VXC_WaitForSingleObject(end->handle, 0), VXC_WAIT_TIMEOUT);
}

TEST_F(ReceiverThreadTest, AStopThatCannotTellOrWaitMayBeTriedAgain) {
    ASSERT_TRUE(Start());
    for (const Op op : {Op::VXC_SetEvent, Op::VXC_WaitForSingleObject}) {
        FaultPlan plan;
        const auto rule = plan.Add(Fail(op).OnThisThread());
        EXPECT_FALSE(thread.Stop());
        EXPECT_EQ(plan.Fired(rule), 1);
    }
    EXPECT_TRUE(thread.Stop());
}

TEST_F(ReceiverThreadTest, WhereItCannotStartNothingIsLeftAndItMayBeTriedAgain) {
    for (const Op op : {Op::VXC_CreateEventW, Op::VXC_CreateThread}) {
        FaultPlan plan;
        plan.Add(Fail(op));
        EXPECT_FALSE(Start());
    }
    ASSERT_TRUE(Start());
    EXPECT_TRUE(Call());
    EXPECT_TRUE(thread.Stop());
}

TEST_F(ReceiverThreadTest, ASecondStartTakesThePlaceOfTheFirst) {
    ASSERT_TRUE(Start());
    ASSERT_TRUE(Start());
    EXPECT_TRUE(Call());
    EXPECT_TRUE(thread.Stop());
    EXPECT_EQ(calls.load(), 1);
}

TEST(InteracterReceiverThreadTest, AnotherCallbackHasNoEffectOnTheRunningThread) {
    std::atomic<int> calls{0};
    ChannelPair pair([&] { ++calls; });
    ASSERT_TRUE(pair.IsUp());
    EXPECT_EQ(pair.receiver.SetReceiverCallback(nullptr, nullptr), 0);
    EXPECT_EQ(pair.sender.RemoteCall(kLong), 0);
    EXPECT_EQ(calls.load(), 1);
}

TEST(InteracterReceiverThreadTest, ReleaseByItsOwnCallbackLeavesAllForALaterOne) {
    const SharedObjectsPlan plan;
    LogCapture log;
    std::atomic<ChannelPair*> self{nullptr};
    ChannelPair pair([&self] { self.load()->receiver.Release(); });
    self = &pair;
    ASSERT_TRUE(pair.IsUp());
    const int views = plan.Views();
    EXPECT_EQ(pair.sender.RemoteCall(kLong), 0);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                ElementsAre(L"Release() failed : the receiver thread does not end"));
    EXPECT_EQ(plan.Views(), views);
    EXPECT_NE(UsableSpaces(pair.receiver).reply, nullptr);
    pair.receiver.Release();
    EXPECT_EQ(UsableSpaces(pair.receiver).reply, nullptr);
    pair.sender.Release();
    EXPECT_THAT(NamesOf(pair.id), IsEmpty());
}

TEST(InteracterReceiverThreadTest, ReleaseWaitsForTheCallbackUnderWay) {
    Gate gate;
    std::atomic<bool> ended{false};
    std::atomic<ChannelPair*> self{nullptr};
    ChannelPair pair([&] {
        gate.Pass();
        const ChannelSpaces spaces = UsableSpaces(self.load()->receiver);
        spaces.reply[spaces.replyBytes - 1] = 1; // still mapped
        ended = true;
    });
    self = &pair;
    ASSERT_TRUE(pair.IsUp());
    std::future<int> call = std::async(std::launch::async, [&] { return pair.sender.RemoteCall(kLong); });
    ASSERT_TRUE(gate.WaitUntilReached());
    FaultPlan plan;
    Gate waiting;
    plan.Add(Hold(Op::VXC_WaitForSingleObject, waiting));
    std::future<void> release = std::async(std::launch::async, [&] { pair.receiver.Release(); });
    ASSERT_TRUE(waiting.WaitUntilReached());
    waiting.Open();
    EXPECT_FALSE(ended.load());
    gate.Open();
    release.get();
    EXPECT_TRUE(ended.load());
    EXPECT_EQ(call.get(), 0);
}
