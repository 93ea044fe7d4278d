// The byte ring on one thread, in both modes where nothing would block.
#include "buffers/StreamTesting.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr int kWithoutThreads = 0;
constexpr int kBlocking = 1;
constexpr auto kData = PLUG_STREAMSTATE_DATA;
constexpr auto kEnd = PLUG_STREAMSTATE_END;

bool Holds(const StreamGot& got, StreamBytes& bytes, uint64 position) {
    return std::memcmp(got.data, bytes.At(position), static_cast<std::size_t>(got.count)) == 0;
}

class StreamBufferTest : public ::testing::TestWithParam<int> {
protected:
    void ExpectGot(const StreamGot& got, int count, PLUG_STREAMSTATE_ state, uint64 position) {
        ASSERT_EQ(got.count, count);
        EXPECT_EQ(got.state, state);
        EXPECT_TRUE(Holds(got, bytes, position));
    }
    static void ExpectNotNow(const StreamGot& got, PLUG_STREAMSTATE_ state = kData) {
        EXPECT_EQ(got, (StreamGot{-1, state, nullptr}));
    }

    StreamBytes bytes{6 * 1048576};
};

using StreamBufferPlainTest = StreamBufferTest;

INSTANTIATE_TEST_SUITE_P(Modes, StreamBufferTest, ::testing::Values(kWithoutThreads, kBlocking),
                         [](const auto& mode) { return mode.param == 0 ? "WithoutThreads" : "Blocking"; });
INSTANTIATE_TEST_SUITE_P(Mode, StreamBufferPlainTest, ::testing::Values(kWithoutThreads),
                         [](const auto&) { return "WithoutThreads"; });

} // namespace

// ---- Sizes of the ring --------------------------------------------------------------------------------

TEST_P(StreamBufferPlainTest, ARingIsNeverUnder1048576Bytes) {
    for (const int size : {1000, 0, -1, std::numeric_limits<int>::min(), kLeastRing - 1, kLeastRing}) {
        StreamRing ring(kWithoutThreads, size);
        EXPECT_EQ(ring.Put(bytes, kLeastRing + 1), 0);
        ring.buffer.SetEndOfInput();
        EXPECT_EQ(ring.Get(kLeastRing + 1).count, kLeastRing) << size;
    }
}

TEST_P(StreamBufferPlainTest, ALargerRingIsAsLargeAsAskedFor) {
    StreamRing ring(kWithoutThreads, kLeastRing + 7);
    ring.Put(bytes, kLeastRing + 8);
    EXPECT_EQ(ring.Get(kLeastRing + 8).count, -1);
    ExpectGot(ring.Get(kLeastRing + 7), kLeastRing + 7, kData, 0);
}

// ---- Putting without threads --------------------------------------------------------------------------

TEST_P(StreamBufferPlainTest, WhatDoesNotFitIsDroppedWithItsState) {
    StreamRing ring(kWithoutThreads);
    EXPECT_EQ(ring.Put(bytes, kLeastRing + 10, kEnd), 0);
    EXPECT_EQ(ring.Put(bytes, 1), 0) << "the end was not stored";
    ExpectGot(ring.Get(kLeastRing), kLeastRing, kData, 0);
    EXPECT_EQ(ring.Show(1).count, 0);
}

TEST_P(StreamBufferPlainTest, AnEmptyPieceStoresItsStateWhereThereIsRoomAlone) {
    StreamRing ring(kWithoutThreads);
    ring.Put(bytes, kLeastRing);
    EXPECT_EQ(ring.buffer.PutData(bytes.At(0), 0, kEnd), 0);
    EXPECT_EQ(ring.buffer.PutData(bytes.At(0), 0, kEnd), 0) << "a full ring stores no state";
    ring.Get(1);
    EXPECT_EQ(ring.buffer.PutData(bytes.At(0), 0, kEnd), 0);
    EXPECT_EQ(ring.buffer.PutData(bytes.At(0), 0, kEnd), kRefused);
}

TEST_P(StreamBufferPlainTest, AnythingButTheEndKeepsTheInputOpen) {
    StreamRing ring(kWithoutThreads);
    for (const auto state : {PLUG_STREAMSTATE_OPEN, kData, PLUG_STREAMSTATE_OPEN}) {
        EXPECT_EQ(ring.Put(bytes, 1, state), 0);
    }
    ExpectGot(ring.Get(3), 3, kData, 0);
}

TEST_P(StreamBufferPlainTest, AGetOfMoreThanThereIsTakesNothing) {
    StreamRing ring(kWithoutThreads);
    ring.Put(bytes, 99);
    const StreamGot got = ring.Get(100);
    EXPECT_EQ(got.count, -1);
    EXPECT_EQ(got.state, kData);
    ExpectGot(ring.Get(99), 99, kData, 0);
}

TEST_P(StreamBufferPlainTest, AShowOfMoreThanThereIsShowsWhatWasShownBefore) {
    StreamRing ring(kWithoutThreads);
    ring.Put(bytes, 99);
    EXPECT_EQ(ring.Show(100).count, 0);
    ring.Show(40);
    ExpectGot(ring.Show(100), 40, kData, 0);
    ExpectGot(ring.Show(99), 99, kData, 0);
}

// ---- Putting in both modes ----------------------------------------------------------------------------

TEST_P(StreamBufferTest, ARingIsFullAtItsLastByteAndBytesWrapAroundItsEnd) {
    StreamRing ring(GetParam());
    uint64 taken = 0;
    for (const int first : {1, kLeastRing - 1, kLeastRing, 12345}) {
        ring.Put(bytes, first);
        ExpectGot(ring.Get(first), first, kData, taken);
        taken += static_cast<uint32>(first);
        ring.Put(bytes, kLeastRing);
        ExpectGot(ring.Get(kLeastRing), kLeastRing, kData, taken);
        taken += kLeastRing;
    }
}

TEST_P(StreamBufferTest, APutAfterTheEndIsRefusedUntilTheInputIsOpenedAgain) {
    StreamRing ring(GetParam());
    ring.buffer.SetEndOfInput();
    EXPECT_EQ(ring.buffer.PutData(bytes.At(0), 1, kData), kRefused);
    EXPECT_EQ(ring.buffer.PutData(bytes.At(0), 0, kData), kRefused);
    ring.buffer.ReSetEndOfInput();
    EXPECT_EQ(ring.Put(bytes, 5), 0);
    ExpectGot(ring.Get(5), 5, kData, 0);
}

TEST_P(StreamBufferTest, APieceThatIsTheLastEndsTheInput) {
    StreamRing ring(GetParam());
    EXPECT_EQ(ring.Put(bytes, 10, kEnd), 0);
    EXPECT_EQ(ring.buffer.PutData(bytes.At(0), 1, kData), kRefused);
    ExpectGot(ring.Get(20), 10, kEnd, 0);
}

TEST_P(StreamBufferTest, APieceThatFillsTheRingExactlyStoresItsState) {
    StreamRing ring(GetParam());
    EXPECT_EQ(ring.Put(bytes, kLeastRing, kEnd), 0);
    ExpectGot(ring.Get(kLeastRing), kLeastRing, kEnd, 0);
}

TEST_P(StreamBufferTest, ASizeBelow0AndNullDataAreNoBytes) {
    StreamRing ring(GetParam());
    EXPECT_EQ(ring.buffer.PutData(bytes.At(0), -5, kData), 0);
    EXPECT_EQ(ring.buffer.PutData(bytes.At(0), std::numeric_limits<int>::min(), kData), 0);
    EXPECT_EQ(ring.buffer.PutData(nullptr, 5, kEnd), 0);
    ExpectGot(ring.Get(1), 0, kEnd, 0);
}

// ---- The end of the input -----------------------------------------------------------------------------

TEST_P(StreamBufferTest, MoreThanIsLeftAtTheEndGivesWhatIsLeftAndTheEnd) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 100);
    ring.buffer.SetEndOfInput();
    ExpectGot(ring.Get(101), 100, kEnd, 0);
}

TEST_P(StreamBufferTest, ExactlyWhatIsLeftReportsTheEndAndSoDoesAFurtherGet) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 100);
    ring.buffer.SetEndOfInput();
    ExpectGot(ring.Get(100), 100, kEnd, 0);
    ExpectGot(ring.Get(100), 0, kEnd, 0);
    ExpectGot(ring.Get(0), 0, kEnd, 0);
    ExpectGot(ring.Show(1), 0, kEnd, 0);
}

TEST_P(StreamBufferTest, LessThanIsLeftReportsData) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 100);
    ring.buffer.SetEndOfInput();
    ExpectGot(ring.Get(99), 99, kData, 0);
    ExpectGot(ring.Get(0), 0, kData, 0);
    ExpectGot(ring.Get(1), 1, kEnd, 99);
}

TEST_P(StreamBufferTest, OpeningAgainKeepsWhatIsThere) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 100);
    ring.Show(10);
    ring.buffer.SetEndOfInput();
    ring.Get(5);
    ring.buffer.ReSetEndOfInput();
    ring.Put(bytes, 100);
    ring.Get(5);
    ExpectGot(ring.Get(190), 190, kData, 10);
}

TEST_P(StreamBufferTest, AGetOfNothingGivesNothing) {
    StreamRing ring(GetParam());
    ExpectGot(ring.Get(0), 0, kData, 0);
    EXPECT_EQ(ring.Show(0), (StreamGot{0, kUntouched, nullptr}));
    ring.Put(bytes, 3);
    ExpectGot(ring.Get(0), 0, kData, 0);
    ring.Show(2);
    ExpectGot(ring.Get(0), 0, kData, 0);
    ExpectGot(ring.Get(2), 2, kData, 0);
}

TEST_P(StreamBufferTest, TheStateMayBeLeftOut) {
    StreamRing ring(GetParam());
    uint8* data = nullptr;
    ring.Put(bytes, 10);
    EXPECT_EQ(ring.buffer.ShowData(data, 2, nullptr), 2);
    EXPECT_EQ(ring.buffer.GetData(data, 1, nullptr), 1);
    EXPECT_EQ(ring.buffer.GetData(data, 5, nullptr), 5);
    ring.buffer.SetEndOfInput();
    ring.buffer.ShowData(data, 1, nullptr);
    EXPECT_EQ(ring.buffer.GetData(data, 9, nullptr), 4);
    EXPECT_EQ(ring.buffer.GetData(data, 9, nullptr), 0);
    ring.buffer.Close();
    EXPECT_EQ(ring.buffer.GetData(data, 9, nullptr), 0);
}

// ---- Showing ------------------------------------------------------------------------------------------

TEST_P(StreamBufferTest, WhatWasShownIsGotWithoutACopy) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 1000);
    const StreamGot shown = ring.Show(100);
    ExpectGot(shown, 100, kData, 0);
    EXPECT_EQ(ring.Get(100), (StreamGot{100, kData, shown.data}));
    ExpectGot(ring.Get(900), 900, kData, 100);
}

TEST_P(StreamBufferTest, ShownBytesAreTakenInPartsWithoutACopyAndShownAgain) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 1000);
    const StreamGot shown = ring.Show(100);
    EXPECT_EQ(ring.Get(30), (StreamGot{30, kData, shown.data}));
    EXPECT_EQ(ring.Show(70), (StreamGot{70, kUntouched, shown.data + 30})) << "enough was shown: no state";
    EXPECT_EQ(ring.Show(1), (StreamGot{1, kUntouched, shown.data + 30}));
    EXPECT_EQ(ring.Get(70), (StreamGot{70, kData, shown.data + 30}));
}

TEST_P(StreamBufferTest, ShowingMoreMovesWhatIsShownToTheStart) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 1000);
    const StreamGot shown = ring.Show(100);
    ring.Get(10); // so that both places overlap
    const StreamGot more = ring.Show(95);
    EXPECT_EQ(more.data, shown.data);
    ExpectGot(more, 95, kData, 10);
    ExpectGot(ring.Show(500), 500, kData, 10); // a larger place
    ExpectGot(ring.Get(500), 500, kData, 10);
    ExpectGot(ring.Get(490), 490, kData, 510);
}

TEST_P(StreamBufferTest, ShowingMoreThanIsLeftAtTheEndShowsWhatIsLeft) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 100);
    ring.buffer.SetEndOfInput();
    ExpectGot(ring.Show(500), 100, kEnd, 0);
    ExpectGot(ring.Show(500), 100, kEnd, 0);
    ExpectGot(ring.Get(40), 40, kData, 0);
    ExpectGot(ring.Get(500), 60, kEnd, 40);
    ExpectGot(ring.Get(500), 0, kEnd, 0);
}

TEST_P(StreamBufferTest, WhatIsMissingBehindShownBytesIsHeldAgainstTheWholeSize) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 249);
    ring.Show(100);
    ExpectNotNow(ring.Get(150)); // 149 are in the ring, 50 would do
    ExpectNotNow(ring.Get(150));
    ring.Put(bytes, 1);
    ExpectGot(ring.Get(150), 150, kData, 0);
    ExpectGot(ring.Get(100), 100, kData, 150);
}

TEST_P(StreamBufferTest, ShownBytesAloneAreNotEnoughWhileTheInputIsOpen) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 100);
    ring.Show(100);
    ExpectNotNow(ring.Get(101)); // does not sleep either
    ring.buffer.SetEndOfInput();
    const StreamGot got = ring.Get(101);
    ExpectGot(got, 100, kEnd, 0);
    ExpectGot(ring.Get(1), 0, kEnd, 0);
}

TEST_P(StreamBufferTest, AtTheEndShownBytesAndTheRingComeTogether) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 150);
    ring.Show(100);
    ring.buffer.SetEndOfInput();
    ExpectGot(ring.Get(120), 120, kData, 0);
    ExpectGot(ring.Get(120), 30, kEnd, 120);
}

// ---- Sizes of what is got -----------------------------------------------------------------------------

TEST_P(StreamBufferTest, AGetBeyond4194304BytesGrowsItsMemoryForGood) {
    StreamRing ring(GetParam(), 5 * 1048576);
    ring.Put(bytes, 10);
    uint8* const first = ring.Get(1).data;
    EXPECT_EQ(ring.Get(1).data, first);
    ring.Put(bytes, kFirstScratch + 1);
    ExpectGot(ring.Get(kFirstScratch + 1), kFirstScratch + 1, kData, 2);
    uint8* const grown = ring.Get(1).data;
    EXPECT_NE(grown, first);
    ring.Put(bytes, kFirstScratch + 1);
    EXPECT_EQ(ring.Get(kFirstScratch + 1).data, grown);
    EXPECT_EQ(ring.Get(1).data, grown);
}

TEST_P(StreamBufferTest, ASizeBelow0IsNeverMetAndMovesNothing) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 100);
    for (const int size : {-1, -50, std::numeric_limits<int>::min()}) {
        ExpectNotNow(ring.Get(size));
        ExpectNotNow(ring.Show(size), kUntouched);
    }
    ring.Show(60);
    ring.Get(10);
    for (const int size : {-1, -10, std::numeric_limits<int>::min()}) {
        ExpectNotNow(ring.Get(size));
        ExpectNotNow(ring.Show(size), kUntouched);
    }
    ExpectGot(ring.Get(50), 50, kData, 10);
    ExpectGot(ring.Get(40), 40, kData, 60);
}

// ---- Without a ring -----------------------------------------------------------------------------------

TEST_P(StreamBufferTest, BeforeInitAndAfterCloseNothingBlocksAndNothingIsThere) {
    CSoftStreamBuffer buffer(GetParam());
    const int putResult = GetParam() == kBlocking ? kRefused : 0;
    uint8* data = nullptr;
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round == 0 ? "before Init" : "after Close");
        PLUG_STREAMSTATE_ state = kUntouched;
        EXPECT_EQ(buffer.PutData(bytes.At(0), 10, kData), putResult);
        EXPECT_EQ(buffer.GetData(data, 10, &state), -1);
        EXPECT_EQ(state, kData);
        EXPECT_EQ(buffer.GetData(data, 0, &state), -1);
        EXPECT_EQ(buffer.ShowData(data, 10, &state), -1);
        buffer.SetEndOfInput();
        EXPECT_EQ(buffer.PutData(bytes.At(0), 10, kData), kRefused);
        EXPECT_EQ(buffer.GetData(data, 10, &state), 0);
        EXPECT_EQ(state, kEnd);
        state = kUntouched;
        EXPECT_EQ(buffer.ShowData(data, 10, &state), 0);
        EXPECT_EQ(state, kEnd);
        buffer.ReSetEndOfInput();
        EXPECT_EQ(buffer.GetData(data, 10, &state), -1);
        EXPECT_EQ(data, nullptr);
        EXPECT_EQ(buffer.Close(), 0);
        buffer.Init(0);
        buffer.PutData(bytes.At(0), 10, kData);
        EXPECT_EQ(buffer.Close(), 0);
        EXPECT_EQ(buffer.Close(), 0);
    }
}

TEST_P(StreamBufferTest, ASecondInitClearsContentsAndState) {
    StreamRing ring(GetParam());
    ring.Put(bytes, 100);
    ring.Show(50);
    ring.Put(bytes, 100, kEnd);
    EXPECT_EQ(ring.buffer.Init(0), 0);
    ExpectGot(ring.Get(0), 0, kData, 0);
    EXPECT_EQ(ring.Show(0).data, nullptr) << "nothing is shown";
    EXPECT_EQ(ring.Put(bytes, 10), 0);
    ExpectGot(ring.Get(10), 10, kData, 200);
}

// ---- Copies -------------------------------------------------------------------------------------------

TEST_P(StreamBufferTest, CopiesShareOneRingAndMayBeDestroyedInAnyOrder) {
    auto first = std::make_unique<CSoftStreamBuffer>(GetParam());
    first->Init(0);
    auto second = std::make_unique<CSoftStreamBuffer>(*first);
    CSoftStreamBuffer third(kWithoutThreads);
    third = *second;
    CSoftStreamBuffer& self = third;
    third = self;
    EXPECT_EQ(first->PutData(bytes.At(0), 10, kEnd), 0);
    uint8* data = nullptr;
    EXPECT_EQ(second->GetData(data, 4, nullptr), 4);
    first.reset();
    PLUG_STREAMSTATE_ state = kUntouched;
    EXPECT_EQ(third.ShowData(data, 10, &state), 6);
    EXPECT_EQ(state, kEnd);
    second.reset();
    ASSERT_EQ(third.GetData(data, 6, nullptr), 6);
    EXPECT_EQ(std::memcmp(data, bytes.At(4), 6), 0);
    third.Close();
}
