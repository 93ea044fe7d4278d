// A byte ring that is destroyed without Close: what was given out and what a sleeper needs stays.
#include "buffers/StreamSides.h"
#include "buffers/StreamTesting.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

using namespace vxcio;
using namespace vxcio::test;

// What is allocated here is left behind on purpose; posix/LostRings.cpp tells the leak check these names.
[[gnu::noinline]] void InitRingThatIsLeft(CSoftStreamBuffer& buffer) {
    buffer.Init(0);
}

[[gnu::noinline]] Got ShowRingThatIsLeft(CSoftStreamBuffer& buffer, int size) {
    Got got;
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
        const Got shown = ShowRingThatIsLeft(*buffer, 500);
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
    EXPECT_FALSE(consumer.HasEnded());
}
