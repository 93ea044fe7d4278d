// A byte ring that is destroyed without Close: what was given out and what a sleeper needs stays.
#include "buffers/StreamSides.h"
#include "buffers/StreamTesting.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

// What is allocated here is left behind on purpose; posix/LostRings.cpp tells the leak check these names.
[[gnu::noinline]] void InitRingThatIsLeft(CSoftStreamBuffer& buffer) {
    buffer.Init(0);
}

[[gnu::noinline]] StreamGot ShowRingThatIsLeft(CSoftStreamBuffer& buffer, int size) {
    StreamGot got;
    got.count = buffer.ShowData(got.data, size, &got.state);
    return got;
}

TEST(StreamBufferDestroyedTest, WhatWasGivenOutStaysReadable) {
    StreamBytes bytes(1000);
    for (const int blocking : {0, 1}) {
        const FaultPlan plan;
        auto buffer = std::make_unique<CSoftStreamBuffer>(blocking);
        InitRingThatIsLeft(*buffer);
        ASSERT_EQ(buffer->PutData(bytes.At(0), 1000, PLUG_STREAMSTATE_DATA), 0);
        uint8* taken = nullptr;
        ASSERT_EQ(buffer->GetData(taken, 300, nullptr), 300);
        const StreamGot shown = ShowRingThatIsLeft(*buffer, 500);
        buffer.reset();
        EXPECT_EQ(std::memcmp(taken, bytes.At(0), 300), 0);
        ASSERT_EQ(shown.count, 500);
        EXPECT_EQ(std::memcmp(shown.data, bytes.At(300), 500), 0);
        EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), 0);
    }
}

TEST(StreamBufferDestroyedTest, ASleeperStaysAsleep) {
    SleepWatch watch;
    auto buffer = std::make_unique<CSoftStreamBuffer>();
    InitRingThatIsLeft(*buffer);
    CSoftStreamBuffer* const used = buffer.get();
    Side consumer([used] {
        uint8* data = nullptr;
        return used->GetData(data, 10, nullptr);
    });
    ASSERT_TRUE(watch.WaitForSleeper());
    buffer.reset();
    watch.LetSleep();
    EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), 0) << "the sleeper was woken";
    EXPECT_EQ(watch.plan.Calls(Op::VXC_CloseHandle), 0) << "under the sleeper";
}

// ---- Against a side that is on its way to sleep -------------------------------------------------------

namespace {

enum class Ending { Close, CloseAndDestroy, Destroy };
enum class Stop { AheadOfReset, BehindReset, AheadOfWait };

// A ring of its own and a side that is on its way to sleep in it.
class StreamBufferUnderASleeperTest : public ::testing::TestWithParam<std::tuple<Ending, Stop, bool>> {
protected:
    // It stops once at the gate.
    static FaultRule Stopping(const Gate& gate, Stop stop) {
        FaultRule rule =
            Hold(stop == Stop::AheadOfWait ? Op::VXC_WaitForSingleObject : Op::VXC_ResetEvent, gate);
        return stop == Stop::BehindReset ? rule.AfterEffect() : rule;
    }
    static void End(std::unique_ptr<CSoftStreamBuffer>& buffer, Ending ending) {
        if (ending != Ending::Destroy) {
            buffer->Close();
        }
        if (ending != Ending::Close) {
            buffer.reset();
        }
    }
    // What the threads left behind use.
    static std::unique_ptr<CSoftStreamBuffer>& Kept() {
        static auto* const all = new std::vector<std::unique_ptr<CSoftStreamBuffer>>;
        return all->emplace_back();
    }
};

std::string NameOf(const ::testing::TestParamInfo<StreamBufferUnderASleeperTest::ParamType>& info) {
    constexpr const char* kEndings[] = {"Close", "CloseAndDestruction", "Destruction"};
    constexpr const char* kStops[] = {"AheadOfReset", "BehindReset", "AheadOfTheWait"};
    return std::string(std::get<bool>(info.param) ? "AProducer" : "AConsumer") + "Under" +
           kEndings[static_cast<int>(std::get<Ending>(info.param))] +
           kStops[static_cast<int>(std::get<Stop>(info.param))];
}

} // namespace

// It goes on to sleep, for good, and meets nothing that was freed; the address sanitizer watches it.
TEST_P(StreamBufferUnderASleeperTest, StaysOnItsWayAndFindsWhatItNeeds) {
    const auto [ending, stop, puts] = GetParam();
    static auto& bytes = *new StreamBytes(kLeastRing);
    FaultPlan plan;
    Gate stopped;
    Gate atWait;
    const auto rule = plan.Add(Stopping(stopped, stop));
    plan.Add(Hold(Op::VXC_WaitForSingleObject, atWait).FromThenOn());
    auto& buffer = Kept();
    buffer = std::make_unique<CSoftStreamBuffer>();
    InitRingThatIsLeft(*buffer);
    if (puts) {
        ASSERT_EQ(buffer->PutData(bytes.At(0), kLeastRing, PLUG_STREAMSTATE_DATA), 0);
    }
    CSoftStreamBuffer* const used = buffer.get();
    const Side side([used, isProducer = puts] {
        uint8* data = nullptr;
        return isProducer ? used->PutData(bytes.At(0), 10, PLUG_STREAMSTATE_DATA)
                          : used->GetData(data, 10, nullptr);
    });
    ASSERT_TRUE(stopped.WaitUntilReached());
    End(buffer, ending);
    stopped.Open();
    ASSERT_TRUE(atWait.WaitUntilReached()) << "it did not go on to sleep";
    atWait.Open();
    EXPECT_EQ(plan.Fired(rule), 1);
    EXPECT_EQ(plan.Calls(Op::VXC_SetEvent), 0) << "it was woken";
    EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), 0) << "its event is gone";
}

// The same for who waits for the lock that a PutData keeps.
TEST(StreamBufferDestroyedTest, WhoWaitsForTheKeptLockStaysAsleepToo) {
    static auto& bytes = *new StreamBytes(kLeastRing);
    SleepWatch watch;
    auto buffer = std::make_unique<CSoftStreamBuffer>();
    InitRingThatIsLeft(*buffer);
    CSoftStreamBuffer* const used = buffer.get();
    ASSERT_EQ(buffer->PutData(bytes.At(0), kLeastRing, PLUG_STREAMSTATE_DATA), 0);
    const Side producer([used] { return used->PutData(bytes.At(0), 1, PLUG_STREAMSTATE_DATA); });
    ASSERT_TRUE(watch.SeeAsleep());
    buffer->SetEndOfInput();
    ASSERT_EQ(producer.Wait(), kRefused);
    const int signals = watch.plan.Calls(Op::VXC_SetEvent);
    const Side consumer([used] {
        uint8* data = nullptr;
        return used->GetData(data, 10, nullptr);
    });
    ASSERT_TRUE(watch.WaitForSleeper());
    buffer.reset();
    watch.LetSleep();
    EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), signals) << "the sleeper was woken";
    EXPECT_EQ(watch.plan.Calls(Op::VXC_CloseHandle), 0) << "under the sleeper";
}

INSTANTIATE_TEST_SUITE_P(
    All, StreamBufferUnderASleeperTest,
    ::testing::Combine(::testing::Values(Ending::Close, Ending::CloseAndDestroy, Ending::Destroy),
                       ::testing::Values(Stop::AheadOfReset, Stop::BehindReset, Stop::AheadOfWait),
                       ::testing::Bool()),
    NameOf);
