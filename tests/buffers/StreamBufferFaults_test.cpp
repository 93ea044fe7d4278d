// The byte ring where memory, events and waits fail, and what stays behind when it is destroyed.
#include "buffers/StreamSides.h"
#include "buffers/StreamTesting.h"
#include "support/LeakChecks.h"
#include "support/MemoryLack.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr auto kData = PLUG_STREAMSTATE_DATA;
constexpr auto kEnd = PLUG_STREAMSTATE_END;
constexpr int kInsisted = 8; // times that a call on an event is made before it counts as failed

// The next aligned allocation of this thread gives null; MemoryLack.h does not count those.
constinit thread_local bool t_alignedLacks = false;

class StreamBufferFaultsTest : public ::testing::Test {
protected:
    // There is no ring, and nothing blocks; a later Init makes one.
    void ExpectNoRingAndThenOne(CSoftStreamBuffer& buffer, bool blocking) {
        uint8* data = nullptr;
        EXPECT_EQ(buffer.PutData(bytes.At(0), 10, kData), blocking ? kRefused : 0);
        EXPECT_EQ(buffer.GetData(data, 10, nullptr), -1);
        EXPECT_EQ(buffer.ShowData(data, 10, nullptr), -1);
        buffer.SetEndOfInput();
        EXPECT_EQ(buffer.GetData(data, 10, nullptr), 0);
        EXPECT_EQ(buffer.Init(0), 0);
        EXPECT_EQ(buffer.PutData(bytes.At(0), 10, kData), 0);
        ASSERT_EQ(buffer.GetData(data, 10, nullptr), 10);
        EXPECT_EQ(std::memcmp(data, bytes.At(0), 10), 0);
        buffer.Close();
    }

    const NoLeakScope leaks;
    StreamBytes bytes{6 * 1048576};
};

} // namespace

void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    if (std::exchange(t_alignedLacks, false)) {
        return nullptr;
    }
    try {
        return ::operator new(size, alignment);
    } catch (...) {
        return nullptr;
    }
}

// ---- Init ---------------------------------------------------------------------------------------------

TEST_F(StreamBufferFaultsTest, AnInitThatFindsNoMemoryLeavesNoRing) {
    for (const int blocking : {0, 1}) {
        const int allocations = blocking == 0 ? 2 : 3; // the ring, what is got, and the events
        for (int nth = 1; nth <= allocations; ++nth) {
            SCOPED_TRACE(::testing::Message() << "blocking " << blocking << ", allocation " << nth);
            CSoftStreamBuffer buffer(blocking);
            {
                const MemoryLack lack(nth);
                EXPECT_EQ(buffer.Init(0), 0);
                EXPECT_TRUE(lack.Came());
            }
            ExpectNoRingAndThenOne(buffer, blocking != 0);
        }
        CSoftStreamBuffer buffer(blocking);
        const MemoryLack lack(allocations + 1);
        buffer.Init(0);
        EXPECT_FALSE(lack.Came());
        buffer.Close();
    }
}

TEST_F(StreamBufferFaultsTest, AnInitThatFindsNoEventsLeavesNoRing) {
    for (int nth = 1; nth <= 3; ++nth) {
        SCOPED_TRACE(nth);
        CSoftStreamBuffer buffer(1);
        {
            FaultPlan plan;
            plan.Add(Fail(Op::VXC_CreateEventW).Nth(nth));
            EXPECT_EQ(buffer.Init(0), 0);
            EXPECT_EQ(plan.Fired(), 1);
            EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), nth - 1);
        }
        ExpectNoRingAndThenOne(buffer, true);
    }
}

TEST_F(StreamBufferFaultsTest, AnInitThatFailsOnALiveRingTakesItAway) {
    StreamRing ring(1);
    ring.Put(bytes, 100);
    FaultPlan plan;
    {
        const MemoryLack lack(1);
        ring.buffer.Init(0);
    }
    EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), 3);
    ExpectNoRingAndThenOne(ring.buffer, true);
}

TEST_F(StreamBufferFaultsTest, EventsAreThereInBlockingModeAloneAndCloseEndsThem) {
    FaultPlan plan;
    CSoftStreamBuffer plain(0);
    plain.Init(0);
    plain.Close();
    EXPECT_EQ(plan.Calls(), 0);
    CSoftStreamBuffer standard;
    standard.Init(0);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateEventW), 3);
    standard.Init(0);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), 3);
    standard.Close();
    standard.Close();
    EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), 6);
    CSoftStreamBuffer any(-7);
    any.Init(0);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateEventW), 9) << "every number but 0 is blocking mode";
    any.Close();
}

// ---- Memory while it runs -----------------------------------------------------------------------------

TEST_F(StreamBufferFaultsTest, AGetThatFindsNoMemoryTakesNothing) {
    for (const int blocking : {0, 1}) {
        StreamRing ring(blocking, 6 * 1048576);
        const int large = kFirstScratch + 1;
        ring.Put(bytes, large);
        {
            const MemoryLack lack(1);
            EXPECT_EQ(ring.Get(large).count, -1);
            EXPECT_TRUE(lack.Came());
        }
        ring.Show(10);
        ring.Put(bytes, 10);
        {
            const MemoryLack lack(1);
            EXPECT_EQ(ring.Get(large), (StreamGot{-1, kData, nullptr}));
            EXPECT_TRUE(lack.Came());
        }
        const StreamGot got = ring.Get(large);
        ASSERT_EQ(got.count, large);
        EXPECT_EQ(std::memcmp(got.data, bytes.At(0), static_cast<std::size_t>(large)), 0);
        EXPECT_EQ(ring.Get(10).count, 10);
    }
}

TEST_F(StreamBufferFaultsTest, AShowThatFindsNoMemoryKeepsWhatWasShown) {
    for (const int blocking : {0, 1}) {
        StreamRing ring(blocking);
        ring.Put(bytes, 1000);
        const StreamGot shown = ring.Show(100);
        ring.Get(10);
        {
            const MemoryLack lack(1);
            EXPECT_EQ(ring.Show(500).count, -1);
            EXPECT_TRUE(lack.Came());
        }
        EXPECT_EQ(ring.Get(90), (StreamGot{90, kData, shown.data + 10}));
        const StreamGot rest = ring.Get(900);
        ASSERT_EQ(rest.count, 900);
        EXPECT_EQ(std::memcmp(rest.data, bytes.At(100), 900), 0);
    }
}

TEST_F(StreamBufferFaultsTest, ABufferThatFoundNoMemoryForItselfIsOneWithoutARing) {
    for (const int blocking : {0, 1}) {
        std::unique_ptr<CSoftStreamBuffer> buffer;
        {
            t_alignedLacks = true;
            buffer = std::make_unique<CSoftStreamBuffer>(blocking);
            ASSERT_FALSE(std::exchange(t_alignedLacks, false));
        }
        const CSoftStreamBuffer copy(*buffer);
        uint8* data = nullptr;
        PLUG_STREAMSTATE_ state = kUntouched;
        EXPECT_EQ(buffer->Init(0), 0);
        EXPECT_EQ(buffer->PutData(bytes.At(0), 1, kEnd), kRefused);
        EXPECT_EQ(buffer->GetData(data, 1, &state), -1);
        EXPECT_EQ(state, kData);
        state = kUntouched;
        EXPECT_EQ(buffer->ShowData(data, 1, &state), -1);
        EXPECT_EQ(state, kData);
        buffer->SetEndOfInput();
        buffer->ReSetEndOfInput();
        EXPECT_EQ(buffer->Close(), 0);
    }
}

// ---- Events -------------------------------------------------------------------------------------------

TEST_F(StreamBufferFaultsTest, AWaitThatFailsIsAskedAgainAndThenGivenUp) {
    StreamRing ring(1);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_WaitForSingleObject).FromThenOn());
    EXPECT_EQ(ring.Get(10).count, -1);
    EXPECT_EQ(plan.Calls(Op::VXC_WaitForSingleObject), kInsisted);
    EXPECT_EQ(ring.Show(10).count, 0);
    ring.Put(bytes, 4);
    const StreamGot part = ring.Get(10);
    ASSERT_EQ(part.count, 4) << "what was taken is given";
    EXPECT_EQ(part.state, kData);
    EXPECT_EQ(std::memcmp(part.data, bytes.At(0), 4), 0);
    ring.Put(bytes, 5);
    EXPECT_EQ(ring.Show(10).count, 5);
    EXPECT_EQ(plan.Calls(Op::VXC_WaitForSingleObject), 4 * kInsisted);
    EXPECT_EQ(ring.Put(bytes, kLeastRing + 1), kRefused);
    EXPECT_EQ(plan.Calls(Op::VXC_WaitForSingleObject), 5 * kInsisted);
    const StreamGot all = ring.Get(kLeastRing);
    ASSERT_EQ(all.count, kLeastRing);
    EXPECT_EQ(std::memcmp(all.data, bytes.At(4), kLeastRing), 0);
}

TEST_F(StreamBufferFaultsTest, AWaitForTheKeptLockThatFailsIsGivenUpToo) {
    StreamRing ring(1);
    SleepWatch watch;
    ring.Put(bytes, kLeastRing);
    Side producer([&] { return ring.buffer.PutData(bytes.At(0), 1, kData); });
    ASSERT_TRUE(watch.SeeAsleep());
    ring.buffer.SetEndOfInput();
    EXPECT_EQ(producer.Wait(), kRefused);
    watch.LetAll();
    watch.plan.Add(Fail(Op::VXC_WaitForSingleObject).FromThenOn());
    EXPECT_EQ(ring.Get(1).count, -1);
    ring.buffer.ReSetEndOfInput();
    EXPECT_EQ(ring.buffer.PutData(bytes.At(0), 1, kData), kRefused);
    EXPECT_EQ(watch.plan.Calls(Op::VXC_WaitForSingleObject), 1 + 2 * kInsisted);
}

TEST_F(StreamBufferFaultsTest, ASignalThatFailsIsGivenAgain) {
    StreamRing ring(1);
    SleepWatch watch;
    watch.plan.Add(Fail(Op::VXC_SetEvent));
    Side consumer([&] { return ring.Get(10).count; });
    ASSERT_TRUE(watch.SeeAsleep());
    ring.Put(bytes, 10);
    EXPECT_EQ(consumer.Wait(), 10);
    EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), 2);
}

// A side that is never waited for costs the other no call of the system layer.
TEST_F(StreamBufferFaultsTest, WithoutASleeperNothingIsSignalled) {
    StreamRing ring(1);
    FaultPlan plan;
    for (int i = 0; i < 100; ++i) {
        ring.Put(bytes, 20000);
        ring.Show(5000);
        ring.Get(5000);
        ring.Get(15000);
    }
    EXPECT_EQ(plan.Calls(), 0);
}
