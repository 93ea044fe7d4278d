// The byte ring while a put stands in the middle of its copy: an end that comes then is behind the bytes of
// the put.
#include "buffers/StreamSides.h"
#include "buffers/StreamTesting.h"
#include "buffers/posix/StreamHeldPiece.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr auto kData = PLUG_STREAMSTATE_DATA;
constexpr auto kEnd = PLUG_STREAMSTATE_END;

class StreamBufferHeldPutTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(piece.IsThere()); }

    auto PuttingThePiece() {
        return [this] { return ring.buffer.PutData(piece.Data(), piece.Size(), kData); };
    }
    auto Getting(int size) {
        return [&from = ring, size] { return from.Get(size); };
    }
    // A third thread, which is done when this comes back.
    void EndTheInput() {
        const Side third([&from = ring] {
            from.buffer.SetEndOfInput();
            return true;
        });
        ASSERT_TRUE(third.Wait().has_value());
    }
    // `shown` bytes of `bytes` from 0 on, and those of the piece behind them.
    void ExpectGot(const std::optional<StreamGot>& got, int shown, int count, PLUG_STREAMSTATE_ state) {
        ASSERT_TRUE(got.has_value()) << "still asleep";
        ASSERT_EQ(got->count, count);
        EXPECT_EQ(got->state, state);
        EXPECT_EQ(std::memcmp(got->data, bytes.At(0), static_cast<std::size_t>(shown)), 0);
        EXPECT_TRUE(StreamHeldPiece::AreBytes(got->data + shown, count - shown, 0));
    }

    StreamBytes bytes{2 * kLeastRing};
    StreamRing& ring = RingOfSleepers();
    StreamHeldPiece piece;
};

} // namespace

TEST_F(StreamBufferHeldPutTest, AnEndWithinAPutIsNotReportedAheadOfItsBytes) {
    SleepWatch watch;
    const Side producer(PuttingThePiece());
    ASSERT_TRUE(piece.WaitUntilInside());
    EndTheInput();
    const Side consumer(Getting(100));
    ASSERT_TRUE(watch.SeeAsleep()) << "it has not waited for the put";
    watch.LetAll();
    piece.LetGo();
    EXPECT_EQ(producer.Wait(), 0);
    ExpectGot(consumer.Wait(), 0, 100, kData);
    const StreamGot rest = ring.Get(piece.Size());
    ASSERT_EQ(rest.count, piece.Size() - 100);
    EXPECT_EQ(rest.state, kEnd);
    EXPECT_TRUE(StreamHeldPiece::AreBytes(rest.data, rest.count, 100));
}

// The bytes alone are too few to wake it, and the end itself was signalled before it slept.
TEST_F(StreamBufferHeldPutTest, APutThatWasWithinAnEndWakesWhoWaitsForMore) {
    SleepWatch watch;
    const Side producer(PuttingThePiece());
    ASSERT_TRUE(piece.WaitUntilInside());
    EndTheInput();
    const Side consumer([&from = ring] { return from.Show(100000); });
    ASSERT_TRUE(watch.SeeAsleep()) << "it has not waited for the put";
    watch.LetAll();
    piece.LetGo();
    EXPECT_EQ(producer.Wait(), 0);
    ExpectGot(consumer.Wait(), 0, piece.Size(), kEnd);
}

// It slept before the end came, and goes back to sleep when the end wakes it.
TEST_F(StreamBufferHeldPutTest, AnEndWithinAPutSendsASleeperBackUntilThePutIsThrough) {
    SleepWatch watch;
    const Side consumer(Getting(100000));
    ASSERT_TRUE(watch.SeeAsleep());
    const Side producer(PuttingThePiece());
    ASSERT_TRUE(piece.WaitUntilInside());
    EndTheInput();
    ASSERT_TRUE(watch.SeeAsleep()) << "it has not waited for the put";
    watch.LetAll();
    piece.LetGo();
    EXPECT_EQ(producer.Wait(), 0);
    ExpectGot(consumer.Wait(), 0, piece.Size(), kEnd);
}

TEST_F(StreamBufferHeldPutTest, ShownBytesAreNotGivenAsTheLastAheadOfAPut) {
    ring.Put(bytes, 1);
    ASSERT_EQ(ring.Show(1).count, 1);
    SleepWatch watch;
    const Side producer(PuttingThePiece());
    ASSERT_TRUE(piece.WaitUntilInside());
    EXPECT_EQ(ring.Get(10).count, -1) << "the input is open: an empty ring never waits";
    EndTheInput();
    const Side consumer(Getting(10));
    ASSERT_TRUE(watch.SeeAsleep()) << "it has not waited for the put";
    watch.LetAll();
    piece.LetGo();
    EXPECT_EQ(producer.Wait(), 0);
    ExpectGot(consumer.Wait(), 1, 10, kData);
}

TEST_F(StreamBufferHeldPutTest, ShownBytesAndAllOfAPutComeWithTheEndBehindBoth) {
    ring.Put(bytes, 5);
    ASSERT_EQ(ring.Show(2).count, 2); // the others are in the ring
    SleepWatch watch;
    const Side producer(PuttingThePiece());
    ASSERT_TRUE(piece.WaitUntilInside());
    EndTheInput();
    const Side consumer(Getting(100000));
    ASSERT_TRUE(watch.SeeAsleep()) << "it has not waited for the put";
    watch.LetAll();
    piece.LetGo();
    EXPECT_EQ(producer.Wait(), 0);
    ExpectGot(consumer.Wait(), 5, 5 + piece.Size(), kEnd);
}

// The last part of a piece that fills the ring goes in while the input ends.
TEST_F(StreamBufferHeldPutTest, AnEndWithinALaterRoundOfAPutIsBehindAllOfThePiece) {
    SleepWatch watch;
    ring.Put(bytes, kLeastRing - 10);
    const Side producer(PuttingThePiece()); // ten bytes go in before it waits
    ASSERT_TRUE(watch.SeeAsleep());
    const StreamGot first = ring.Get(kLeastRing - 10);
    ASSERT_EQ(first.count, kLeastRing - 10);
    ASSERT_TRUE(piece.WaitUntilInside());
    EndTheInput();
    ASSERT_EQ(ring.Get(10).count, 10) << "the first round's";
    const Side consumer(Getting(100000));
    ASSERT_TRUE(watch.SeeAsleep()) << "it has not waited for the put";
    watch.LetAll();
    piece.LetGo();
    EXPECT_EQ(producer.Wait(), 0);
    const auto rest = consumer.Wait();
    ASSERT_TRUE(rest.has_value()) << "still asleep";
    ASSERT_EQ(rest->count, piece.Size() - 10);
    EXPECT_EQ(rest->state, kEnd);
    EXPECT_TRUE(StreamHeldPiece::AreBytes(rest->data, rest->count, 10));
}
