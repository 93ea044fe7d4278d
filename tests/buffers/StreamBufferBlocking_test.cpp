// The byte ring in blocking mode: who sleeps, who wakes whom, and what is never woken.
#include "buffers/StreamSides.h"
#include "buffers/StreamTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr auto kData = PLUG_STREAMSTATE_DATA;
constexpr auto kEnd = PLUG_STREAMSTATE_END;
constexpr int kSignalsOfAnEnd = 2; // one for each side

class StreamBufferBlockingTest : public ::testing::Test {
protected:
    bool Holds(const StreamGot& got, uint64 position) {
        return got.count >= 0 &&
               std::memcmp(got.data, bytes.At(position), static_cast<std::size_t>(got.count)) == 0;
    }
    void ExpectGot(const std::optional<StreamGot>& got, int count, PLUG_STREAMSTATE_ state, uint64 position) {
        ASSERT_TRUE(got.has_value()) << "still asleep";
        ASSERT_EQ(got->count, count);
        EXPECT_EQ(got->state, state);
        EXPECT_TRUE(Holds(*got, position));
    }
    // A put on a thread of its own, of the next bytes.
    auto Putting(StreamRing& to, int size, PLUG_STREAMSTATE_ state = kData) {
        uint8* const data = bytes.At(to.put);
        to.put += static_cast<uint32>(size);
        return [&to, data, size, state] { return to.buffer.PutData(data, size, state); };
    }
    static auto Getting(StreamRing& from, int size) {
        return [&from, size] { return from.Get(size); };
    }
    static auto Showing(StreamRing& from, int size) {
        return [&from, size] { return from.Show(size); };
    }

    StreamBytes bytes{6 * 1048576};
    StreamRing ring{1};
};

} // namespace

// ---- Pieces larger than the ring ----------------------------------------------------------------------

TEST_F(StreamBufferBlockingTest, APieceLargerThanTheRingPassesInRounds) {
    const int piece = 3 * kLeastRing + 17;
    Side producer(Putting(ring, piece));
    for (int taken = 0; taken < piece;) {
        const int size = std::min(65536, piece - taken);
        ExpectGot(ring.Get(size), size, kData, static_cast<uint32>(taken));
        ASSERT_FALSE(HasFatalFailure());
        taken += size;
    }
    EXPECT_EQ(producer.Wait(), 0);
}

TEST_F(StreamBufferBlockingTest, AGetOfMoreThanTheRingIsMetInRounds) {
    const int size = 5 * kLeastRing + 3;
    Side consumer(Getting(ring, size));
    for (int left = size; left > 0; left -= 100000) {
        ASSERT_EQ(ring.Put(bytes, std::min(100000, left)), 0);
    }
    ExpectGot(consumer.Wait(), size, kData, 0);
}

TEST_F(StreamBufferBlockingTest, BothSidesMayAskForMoreThanTheRing) {
    const int size = 4 * kLeastRing + 1;
    Side consumer(Showing(ring, size));
    EXPECT_EQ(ring.Put(bytes, size), 0);
    ExpectGot(consumer.Wait(), size, kData, 0);
}

// ---- The producer asleep ------------------------------------------------------------------------------

TEST_F(StreamBufferBlockingTest, AProducerSleepsOnAFullRingUntilAllItsBytesHaveRoom) {
    SleepWatch watch;
    ring.Put(bytes, kLeastRing);
    Side producer(Putting(ring, 100));
    ASSERT_TRUE(watch.SeeAsleep());
    watch.LetAll();
    ExpectGot(ring.Get(99), 99, kData, 0);
    EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), 0);
    ExpectGot(ring.Get(1), 1, kData, 99);
    EXPECT_EQ(producer.Wait(), 0);
    ExpectGot(ring.Get(kLeastRing), kLeastRing, kData, 100);
}

TEST_F(StreamBufferBlockingTest, APieceOfNoBytesSleepsOnAFullRingToo) {
    SleepWatch watch;
    ring.Put(bytes, kLeastRing);
    Side producer(Putting(ring, 0, kEnd));
    ASSERT_TRUE(watch.SeeAsleep());
    ExpectGot(ring.Show(1), 1, kData, 0);
    EXPECT_EQ(producer.Wait(), 0);
    ExpectGot(ring.Get(kLeastRing + 1), kLeastRing, kEnd, 0);
}

TEST_F(StreamBufferBlockingTest, RoomThatComesOnTheWayToSleepIsNotMissed) {
    SleepWatch watch;
    ring.Put(bytes, kLeastRing);
    Side producer(Putting(ring, 100));
    ASSERT_TRUE(watch.WaitForSleeper());
    ring.Get(100);
    watch.LetSleep();
    EXPECT_EQ(producer.Wait(), 0);
}

TEST_F(StreamBufferBlockingTest, RoomThatComesBeforeTheEventIsResetIsNotMissed) {
    FaultPlan plan;
    Gate gate;
    plan.Add(Hold(Op::VXC_ResetEvent, gate));
    ring.Put(bytes, kLeastRing);
    Side producer(Putting(ring, 100));
    ASSERT_TRUE(gate.WaitUntilReached());
    ring.Get(100);
    gate.Open();
    EXPECT_EQ(producer.Wait(), 0);
}

TEST_F(StreamBufferBlockingTest, ReSetEndOfInputWakesNobody) {
    SleepWatch watch;
    ring.Put(bytes, kLeastRing);
    Side producer(Putting(ring, 100));
    ASSERT_TRUE(watch.SeeAsleep());
    ring.buffer.ReSetEndOfInput();
    EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), 0);
    ring.Get(100);
    EXPECT_EQ(producer.Wait(), 0);
}

TEST_F(StreamBufferBlockingTest, ANotNowBehindShownBytesWakesAProducerThatHasMoreInHand) {
    SleepWatch watch;
    ring.Put(bytes, kLeastRing);
    ring.Show(1000);
    Side producer(Putting(ring, kLeastRing / 2));
    ASSERT_TRUE(watch.SeeAsleep());
    ring.Show(2000); // too little room to be woken for
    const StreamGot first = ring.Get(kLeastRing - 500);
    EXPECT_EQ(first, (StreamGot{-1, kData, nullptr}));
    ASSERT_TRUE(watch.SeeAsleep()) << "it has filled the ring";
    ExpectGot(ring.Get(kLeastRing - 500), kLeastRing - 500, kData, 0);
    watch.LetAll();
    ExpectGot(ring.Get(kLeastRing / 2 + 500), kLeastRing / 2 + 500, kData, kLeastRing - 500);
    EXPECT_EQ(producer.Wait(), 0);
}

// ---- The consumer asleep ------------------------------------------------------------------------------

TEST_F(StreamBufferBlockingTest, AConsumerSleepsUntilAllItsBytesAreThere) {
    for (const bool shows : {false, true}) {
        SleepWatch watch;
        const uint64 from = ring.put;
        Side consumer([this, shows] { return shows ? ring.Show(100) : ring.Get(100); });
        ASSERT_TRUE(watch.SeeAsleep());
        watch.LetAll();
        ring.Put(bytes, 99);
        EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), 0);
        ring.Put(bytes, 1);
        ExpectGot(consumer.Wait(), 100, kData, from);
    }
}

TEST_F(StreamBufferBlockingTest, AConsumerIsWokenByTheEndAndGetsWhatIsLeft) {
    for (const bool shows : {false, true}) {
        ring.buffer.Init(0);
        ring.put = 0;
        ring.Put(bytes, 60);
        SleepWatch watch;
        Side consumer([this, shows] { return shows ? ring.Show(100) : ring.Get(100); });
        ASSERT_TRUE(watch.SeeAsleep());
        ring.Put(bytes, 10);
        ring.buffer.SetEndOfInput();
        ExpectGot(consumer.Wait(), 70, kEnd, 0);
    }
}

TEST_F(StreamBufferBlockingTest, BytesThatComeOnTheWayToSleepAreNotMissed) {
    SleepWatch watch;
    Side consumer(Getting(ring, 100));
    ASSERT_TRUE(watch.WaitForSleeper());
    ring.Put(bytes, 100);
    watch.LetSleep();
    ExpectGot(consumer.Wait(), 100, kData, 0);
}

TEST_F(StreamBufferBlockingTest, BytesThatComeBeforeTheEventIsResetAreNotMissed) {
    FaultPlan plan;
    Gate gate;
    plan.Add(Hold(Op::VXC_ResetEvent, gate));
    Side consumer(Getting(ring, 100));
    ASSERT_TRUE(gate.WaitUntilReached());
    ring.Put(bytes, 100);
    gate.Open();
    ExpectGot(consumer.Wait(), 100, kData, 0);
}

TEST_F(StreamBufferBlockingTest, AnEndThatComesBeforeTheEventIsResetIsNotMissed) {
    FaultPlan plan;
    Gate gate;
    plan.Add(Hold(Op::VXC_ResetEvent, gate));
    Side consumer(Getting(ring, 100));
    ASSERT_TRUE(gate.WaitUntilReached());
    ring.Put(bytes, 5);
    ring.buffer.SetEndOfInput();
    gate.Open();
    ExpectGot(consumer.Wait(), 5, kEnd, 0);
}

TEST_F(StreamBufferBlockingTest, AnEndOnTheWayToSleepIsNotMissed) {
    SleepWatch watch;
    Side consumer(Getting(ring, 100));
    ASSERT_TRUE(watch.WaitForSleeper());
    ring.buffer.SetEndOfInput();
    watch.LetSleep();
    ExpectGot(consumer.Wait(), 0, kEnd, 0);
}

TEST_F(StreamBufferBlockingTest, AGetBehindShownBytesSleepsForTheRestWhereTheRingHoldsItsSize) {
    ring.Put(bytes, 100);
    ring.Show(50);
    ring.Put(bytes, 100);
    SleepWatch watch;
    ExpectGot(ring.Get(150), 150, kData, 0);
    EXPECT_EQ(watch.plan.Calls(Op::VXC_WaitForSingleObject), 0);
    Side consumer(Getting(ring, 51));
    ASSERT_TRUE(watch.SeeAsleep());
    ring.Put(bytes, 1);
    ExpectGot(consumer.Wait(), 51, kData, 150);
}

TEST_F(StreamBufferBlockingTest, AnEndThatComesWithAPieceMayFindTheConsumerAsleepAgain) {
    SleepWatch watch;
    Gate behindWake;
    watch.plan.Add(Hold(Op::VXC_SetEvent, behindWake).AfterEffect());
    Side consumer(Getting(ring, 20));
    ASSERT_TRUE(watch.SeeAsleep());
    Side producer(Putting(ring, 10, kEnd));
    ASSERT_TRUE(behindWake.WaitUntilReached());
    ASSERT_TRUE(watch.SeeAsleep()) << "woken by the bytes, before the end was known";
    behindWake.Open();
    EXPECT_EQ(producer.Wait(), 0);
    EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), 1) << "the end itself was signalled";
    ring.buffer.SetEndOfInput();
    ExpectGot(consumer.Wait(), 10, kEnd, 0);
}

TEST_F(StreamBufferBlockingTest, AnOpenedInputGoesOnBehindWhatWasHeld) {
    ring.Put(bytes, 10);
    ring.buffer.SetEndOfInput();
    ExpectGot(ring.Get(4), 4, kData, 0);
    ring.buffer.ReSetEndOfInput();
    SleepWatch watch;
    Side consumer(Getting(ring, 20));
    ASSERT_TRUE(watch.SeeAsleep());
    ring.Put(bytes, 14);
    ExpectGot(consumer.Wait(), 20, kData, 4);
}

// ---- The lock that stays taken ------------------------------------------------------------------------

TEST_F(StreamBufferBlockingTest, APutThatIsEndedKeepsTheLockUntilInit) {
    StreamRing& left = RingOfSleepers();
    SleepWatch watch;
    left.Put(bytes, kLeastRing);
    left.Show(100);
    Side producer(Putting(left, 200));
    ASSERT_TRUE(watch.WaitForSleeper());
    left.Show(1000); // there is room again when it wakes
    left.buffer.SetEndOfInput();
    watch.LetSleep();
    EXPECT_EQ(producer.Wait(), kRefused);

    // What was shown needs no lock.
    ExpectGot(left.Get(500), 500, kData, 0);
    ExpectGot(left.Show(300), 300, kUntouched, 500);
    EXPECT_EQ(watch.plan.Calls(Op::VXC_WaitForSingleObject), 1);

    const int signals = watch.plan.Calls(Op::VXC_SetEvent) + kSignalsOfAnEnd; // and no more than these
    Side consumer(Getting(left, 1000));
    ASSERT_TRUE(watch.SeeAsleep()) << "bytes are there and the input has ended, but the lock is taken";
    left.buffer.ReSetEndOfInput();
    Side again(Putting(left, 10));
    ASSERT_TRUE(watch.SeeAsleep()) << "room is there, but the lock is taken";
    left.buffer.SetEndOfInput();
    EXPECT_EQ(left.buffer.PutData(bytes.At(0), 1, kData), kRefused) << "needs no lock";
    EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), signals) << "somebody has given the lock back";

    left.buffer.Init(0); // the two who wait for the old lock are never woken
    EXPECT_EQ(left.buffer.PutData(bytes.At(0), 10, kEnd), 0);
    ExpectGot(left.Get(20), 10, kEnd, 0);
    EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), signals);
    EXPECT_EQ(watch.plan.Calls(Op::VXC_CloseHandle), 0) << "under those who wait for it";
}

TEST_F(StreamBufferBlockingTest, TheKeptLockHoldsUpGetsOfNothingAndShows) {
    for (const bool shows : {false, true}) {
        StreamRing& left = RingOfSleepers();
        SleepWatch watch;
        left.Put(bytes, kLeastRing);
        Side producer(Putting(left, 1));
        ASSERT_TRUE(watch.SeeAsleep());
        left.buffer.SetEndOfInput();
        EXPECT_EQ(producer.Wait(), kRefused);
        EXPECT_EQ(left.Show(0).count, 0) << "never needs the ring";
        Side consumer([&left, shows] { return shows ? left.Show(1) : left.Get(0); });
        EXPECT_TRUE(watch.SeeAsleep());
        EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), kSignalsOfAnEnd) << "somebody has given the lock back";
    }
}

TEST_F(StreamBufferBlockingTest, AnEndBeforeThePutKeepsNoLock) {
    ring.Put(bytes, 10);
    ring.buffer.SetEndOfInput();
    EXPECT_EQ(ring.buffer.PutData(bytes.At(0), 10, kData), kRefused);
    ExpectGot(ring.Get(20), 10, kEnd, 0);
}

// ---- Ends under a sleeper -----------------------------------------------------------------------------

TEST_F(StreamBufferBlockingTest, CloseLeavesAConsumerAsleepAndANewRingIsUsable) {
    StreamRing& left = RingOfSleepers();
    SleepWatch watch;
    Side consumer(Getting(left, 10));
    ASSERT_TRUE(watch.WaitForSleeper());
    left.buffer.Close();
    watch.LetSleep(); // its event is still there
    EXPECT_EQ(left.Get(10).count, -1);
    left.buffer.Init(0);
    left.Put(bytes, 20);
    ExpectGot(left.Get(20), 20, kData, 0);
    EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), 0) << "the sleeper was woken";
    left.buffer.SetEndOfInput();
    EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), kSignalsOfAnEnd) << "more than the new ring's own";
    EXPECT_EQ(watch.plan.Calls(Op::VXC_CloseHandle), 0) << "under the sleeper";
}

TEST_F(StreamBufferBlockingTest, CloseLeavesAProducerAsleep) {
    StreamRing& left = RingOfSleepers();
    SleepWatch watch;
    left.Put(bytes, kLeastRing);
    Side producer(Putting(left, 10));
    ASSERT_TRUE(watch.WaitForSleeper());
    left.buffer.Close();
    watch.LetSleep();
    left.buffer.Init(0);
    EXPECT_EQ(left.buffer.PutData(bytes.At(7), 20, kData), 0);
    ExpectGot(left.Get(20), 20, kData, 7);
    EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), 0) << "the sleeper was woken";
    left.buffer.SetEndOfInput();
    EXPECT_EQ(watch.plan.Calls(Op::VXC_SetEvent), kSignalsOfAnEnd) << "more than the new ring's own";
    EXPECT_EQ(watch.plan.Calls(Op::VXC_CloseHandle), 0) << "under the sleeper";
}
