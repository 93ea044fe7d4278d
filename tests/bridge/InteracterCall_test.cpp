// One call: reset, signal, wait; and what becomes of a signal that comes too late.
#include "bridge/InteracterTesting.h"
#include "support/FaultPlan.h"
#include "support/Gate.h"
#include "support/LogCapture.h"
#include "support/TestClock.h"

#include <atomic>
#include <cstring>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr int kTimeOut = static_cast<int>(0x8000000Du);
constexpr const wchar_t* kTimeOutText = L"Wait for Child Process function's return, but time is out!";

// A host's end with nobody behind it; the test holds the far ends of the events.
class InteracterCallTest : public ::testing::Test {
protected:
    InteracterCallTest() {
        sender.Assign(0, id.c_str(), 100, 100);
        EXPECT_EQ(sender.InitSenderFirst(), 0);
        begin = SharedObjects().openEvent((id + L"_EvtBegin").c_str());
        end = SharedObjects().openEvent((id + L"_EvtEnd").c_str());
        log.Clear();
    }
    ~InteracterCallTest() override {
        VXC_CloseHandle(begin);
        VXC_CloseHandle(end);
    }
    std::future<int> Call(unsigned int timeoutMs) {
        return std::async(std::launch::async, [this, timeoutMs] { return sender.RemoteCall(timeoutMs); });
    }
    static bool Take(void* event) { return VXC_WaitForSingleObject(event, 0) == VXC_WAIT_OBJECT_0; }

    const std::wstring id = UniqueId();
    LogCapture log;
    CVXCInteracterImpl sender{VXC_INTERACTER_SENDER};
    void* begin = nullptr;
    void* end = nullptr;
};

uint32 Word(const void* space) {
    uint32 word = 0;
    std::memcpy(&word, space, sizeof word);
    return word;
}

} // namespace

TEST_F(InteracterCallTest, ResetsThenSignalsThenWaits) {
    FaultPlan plan;
    Gate reset;
    Gate wait;
    plan.Add(Hold(Op::VXC_ResetEvent, reset).OnOtherThreads());
    plan.Add(Hold(Op::VXC_WaitForSingleObject, wait).OnOtherThreads());
    std::future<int> call = Call(30000);
    ASSERT_TRUE(reset.WaitUntilReached());
    EXPECT_FALSE(Take(begin));
    reset.Open();
    ASSERT_TRUE(wait.WaitUntilReached());
    EXPECT_TRUE(Take(begin));
    VXC_SetEvent(end);
    wait.Open();
    EXPECT_EQ(call.get(), 0);
    EXPECT_FALSE(Take(end));
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(InteracterCallTest, ASilentReceiverEndsTheCallBehindItsTime) {
    TestClock clock;
    std::future<int> call = Call(200);
    ASSERT_TRUE(clock.WaitForSleepers(1));
    EXPECT_EQ(clock.Advance(199), 0);
    EXPECT_EQ(clock.Advance(1), 1);
    EXPECT_EQ(call.get(), kTimeOut);
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO", kTimeOutText}));
}

TEST_F(InteracterCallTest, ALateSignalIsWipedByTheNextCall) {
    VXC_SetEvent(end);
    TestClock clock;
    clock.AutoAdvance(true);
    EXPECT_EQ(sender.RemoteCall(100), kTimeOut);
    EXPECT_THAT(clock.Waits(), ElementsAre(100u));
}

TEST_F(InteracterCallTest, ALateSignalBehindTheResetEndsTheNextCall) {
    FaultPlan plan;
    Gate set;
    plan.Add(Hold(Op::VXC_SetEvent, set).OnOtherThreads());
    std::future<int> call = Call(30000);
    ASSERT_TRUE(set.WaitUntilReached()); // the reset is done
    VXC_SetEvent(end);
    set.Open();
    EXPECT_EQ(call.get(), 0);
    EXPECT_TRUE(Take(begin)); // nobody has seen the new request
}

TEST_F(InteracterCallTest, AFailedWaitIsATimeOut) {
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_WaitForSingleObject));
    VXC_SetEvent(end);
    EXPECT_EQ(sender.RemoteCall(30000), kTimeOut);
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO", kTimeOutText}));
}

TEST_F(InteracterCallTest, NoTimeAtAllIsATimeOut) {
    EXPECT_EQ(sender.RemoteCall(0), kTimeOut);
    EXPECT_TRUE(Take(begin));
}

TEST_F(InteracterCallTest, AChannelThatIsNotUpGivesATimeOutAtOnce) {
    CVXCInteracterImpl other(VXC_INTERACTER_SENDER);
    EXPECT_EQ(other.RemoteCall(VXC_INFINITE), kTimeOut);
    sender.Release();
    EXPECT_EQ(sender.RemoteCall(VXC_INFINITE), kTimeOut);
}

TEST(InteracterCallPairTest, ALateReplyIsTakenForThatOfTheNextCall) {
    Gate late;
    std::atomic<int> calls{0};
    ChannelPair pair([&] {
        if (++calls == 1) {
            late.Pass();
        }
    });
    ASSERT_TRUE(pair.IsUp());
    {
        TestClock clock;
        std::future<int> first = std::async(std::launch::async, [&] { return pair.sender.RemoteCall(100); });
        ASSERT_TRUE(late.WaitUntilReached());
        ASSERT_TRUE(clock.WaitForSleepers(1));
        clock.Advance(100);
        EXPECT_EQ(first.get(), kTimeOut);
    }
    FaultPlan plan;
    Gate wait;
    plan.Add(Hold(Op::VXC_WaitForSingleObject, wait).OnOtherThreads());
    std::future<int> second = std::async(std::launch::async, [&] { return pair.sender.RemoteCall(30000); });
    ASSERT_TRUE(wait.WaitUntilReached()); // behind its reset and its signal
    late.Open();
    wait.Open();
    EXPECT_EQ(second.get(), 0); // by the first one's end, or its own
    pair.receiver.Release();
    EXPECT_EQ(calls.load(), 2); // the request that stood was carried out too
}

TEST(InteracterCallPairTest, TenThousandCallsOfTwoThreadsGetTheirOwnReplies) {
    std::atomic<ChannelPair*> self{nullptr};
    ChannelPair pair([&self] {
        const ChannelSpaces spaces = UsableSpaces(self.load()->receiver);
        const uint32 reply = Word(spaces.request) * 3 + 1;
        std::memcpy(spaces.reply, &reply, sizeof reply);
    });
    self = &pair;
    ASSERT_TRUE(pair.IsUp());
    std::atomic<int> wrong{0};
    const auto call = [&](uint32 from) {
        for (uint32 i = from; i < from + 5000; ++i) {
            const ChannelLock lock(pair.sender);
            const ChannelSpaces spaces = UsableSpaces(pair.sender);
            std::memcpy(spaces.request, &i, sizeof i);
            if (pair.sender.RemoteCall(30000) != 0 || Word(spaces.reply) != i * 3 + 1) {
                ++wrong;
            }
        }
    };
    std::thread other(call, 1'000'000u);
    call(1);
    other.join();
    EXPECT_EQ(wrong.load(), 0);
}
