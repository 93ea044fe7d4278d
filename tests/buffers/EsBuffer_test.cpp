// The order of frames, which of them are ready, the states, and what bad input gives.
#include "EsFrames.h"

#include <array>
#include <climits>
#include <type_traits>

using namespace vxcio::test;

namespace {

using EsBufferTest = EsFrames;

constexpr auto kData = PLUG_STREAMSTATE_DATA;
constexpr auto kEnd = PLUG_STREAMSTATE_END;

} // namespace

TEST_F(EsBufferTest, HoldsOnePointerAndNoTable) {
    static_assert(!std::is_polymorphic_v<CSoftEsBuffer>);
    EXPECT_EQ(sizeof(CSoftEsBuffer), sizeof(void*));
}

TEST_F(EsBufferTest, InitGivesOne) {
    EXPECT_EQ(buffer.Init(0), 1);
    EXPECT_EQ(buffer.Init(-5), 1);
    EXPECT_EQ(Put(buffer, 0, "a"), 1); // a default size below 0 counts for nothing
}

TEST_F(EsBufferTest, WithoutAnyFrameOnlyTheSizeIsWritten) {
    const EsGot got = Get(buffer);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.size, 0);
    EXPECT_EQ(got.stream, EsGot::kUntouched);
    EXPECT_EQ(got.data, &g_untouchedData);
    EXPECT_EQ(got.extra, &g_untouchedExtra);
    EXPECT_EQ(got.extraSize, EsGot::kUntouched);
    EXPECT_EQ(got.state, PLUG_STREAMSTATE_OPEN);
    buffer.SetEndOfInput();
    EXPECT_EQ(Get(buffer).state, PLUG_STREAMSTATE_OPEN);
}

TEST_F(EsBufferTest, TheOnlyFrameOfAStreamIsHeldBack) {
    EXPECT_EQ(Put(buffer, 0, "one"), 1);
    EXPECT_EQ(buffer.GetFrameCount(0), 0u);
    for (int i = 0; i < 2; ++i) { // it stays where it is
        ExpectNone(Get(buffer), 0, kData);
    }
    buffer.SetEndOfInput();
    EXPECT_EQ(buffer.GetFrameCount(0), 1u);
    ExpectFrame(Get(buffer), 0, "one", kEnd);
}

TEST_F(EsBufferTest, TheFirstOfTwoFramesComesOutAndTheSecondIsHeldBack) {
    Put(buffer, 0, "one");
    Put(buffer, 0, "two2");
    EXPECT_EQ(buffer.GetFrameCount(0), 1u);
    ExpectFrame(Get(buffer), 0, "one", kData);
    EXPECT_EQ(buffer.GetFrameCount(0), 0u);
    ExpectNone(Get(buffer), 0, kData);
}

TEST_F(EsBufferTest, TheLastFrameComesWithTheEndAndThenTheNodeIsThrough) {
    Put(buffer, 5, "one");
    Put(buffer, 5, "two");
    buffer.SetEndOfInput();
    EXPECT_EQ(buffer.GetFrameCount(5), 2u);
    ExpectFrame(Get(buffer), 5, "one", kData);
    EXPECT_EQ(buffer.GetFrameCount(5), 1u);
    ExpectFrame(Get(buffer), 5, "two", kEnd);
    EXPECT_EQ(buffer.GetFrameCount(5), 0u);
    for (int i = 0; i < 3; ++i) {
        ExpectNone(Get(buffer), 5, kEnd);
    }
    EXPECT_EQ(buffer.GetFrameCount(5), 0u);
}

TEST_F(EsBufferTest, EachStreamHasItsOwnEnd) {
    Put(buffer, 0, "a");
    Put(buffer, 1, "b");
    Put(buffer, 0, "c");
    Put(buffer, 1, "d");
    Put(buffer, 0, "e");
    buffer.SetEndOfInput();
    ExpectFrame(Get(buffer), 0, "a", kData);
    ExpectFrame(Get(buffer), 1, "b", kData);
    ExpectFrame(Get(buffer), 0, "c", kData);
    ExpectFrame(Get(buffer), 1, "d", kEnd);
    ExpectFrame(Get(buffer), 0, "e", kEnd);
}

TEST_F(EsBufferTest, AFrameHeldBackHoldsUpOtherStreams) {
    Put(buffer, 1, "held");
    Put(buffer, 0, "a");
    Put(buffer, 0, "b");
    EXPECT_EQ(buffer.GetFrameCount(0), 1u);
    ExpectNone(Get(buffer), 1, kData);
    EXPECT_EQ(buffer.GetFrameCount(0), 1u);
    Put(buffer, 1, "next");
    ExpectFrame(Get(buffer), 1, "held", kData);
    ExpectFrame(Get(buffer), 0, "a", kData);
    ExpectNone(Get(buffer), 0, kData);
}

TEST_F(EsBufferTest, AllEightStreamsAreCountedApart) {
    for (int stream = 0; stream < 8; ++stream) {
        for (int i = 0; i <= stream; ++i) {
            EXPECT_EQ(Put(buffer, stream, "x"), 1);
        }
    }
    for (int stream = 0; stream < 8; ++stream) {
        EXPECT_EQ(buffer.GetFrameCount(stream), static_cast<unsigned>(stream));
    }
    buffer.SetEndOfInput();
    for (int stream = 0; stream < 8; ++stream) {
        EXPECT_EQ(buffer.GetFrameCount(stream), static_cast<unsigned>(stream) + 1);
    }
}

TEST_F(EsBufferTest, StreamsOutsideZeroToSevenAreRefused) {
    for (const int stream : {-1, 8, INT_MIN, INT_MAX}) {
        EXPECT_EQ(Put(buffer, stream, "x"), 0);
        EXPECT_EQ(buffer.GetFrameCount(stream), 0u);
    }
    EXPECT_EQ(Get(buffer).stream, EsGot::kUntouched); // no node was made
    Put(buffer, 0, "x");
    Put(buffer, 7, "x");
    buffer.SetEndOfInput();
    for (const int stream : {-8, -1, 8, 15, INT_MIN, INT_MAX}) {
        EXPECT_EQ(buffer.GetFrameCount(stream), 0u);
    }
}

TEST_F(EsBufferTest, AFrameWithoutDataIsRefusedAlsoWithExtraBytes) {
    std::array<unsigned char, 4> bytes{1, 2, 3, 4};
    EXPECT_EQ(buffer.PutDate(0, bytes.data(), 0, bytes.data(), 4), 0);
    EXPECT_EQ(buffer.PutDate(0, bytes.data(), -1, bytes.data(), 4), 0);
    EXPECT_EQ(buffer.PutDate(0, bytes.data(), INT_MIN, nullptr, 0), 0);
    EXPECT_EQ(buffer.PutDate(0, nullptr, 4, bytes.data(), 4), 0);
    EXPECT_EQ(buffer.PutDate(0, nullptr, 0, nullptr, 0), 0);
    EXPECT_EQ(Get(buffer).stream, EsGot::kUntouched);
    buffer.SetEndOfInput();
    EXPECT_EQ(buffer.GetFrameCount(0), 0u);
}

TEST_F(EsBufferTest, ARefusedFrameLeavesTheNextNodeAlone) {
    Put(buffer, 0, "a");
    Put(buffer, 0, "b");
    const EsGot got = Get(buffer); // its node is free now, and next
    EXPECT_EQ(buffer.PutDate(0, got.data, 0, got.data, 1), 0);
    EXPECT_EQ(Put(buffer, 9, "x", "y"), 0);
    EXPECT_EQ(got.Data(), "a");
    Put(buffer, 0, "c");
    ExpectFrame(Get(buffer), 0, "b", kData);
    buffer.SetEndOfInput();
    ExpectFrame(Get(buffer), 0, "c", kEnd);
}

TEST_F(EsBufferTest, ExtraBytesThatAreNotThereCountAsNone) {
    std::array<unsigned char, 4> bytes{1, 2, 3, 4};
    EXPECT_EQ(buffer.PutDate(0, bytes.data(), 4, nullptr, 4), 1);
    EXPECT_EQ(buffer.PutDate(0, bytes.data(), 4, bytes.data(), -1), 1);
    EXPECT_EQ(buffer.PutDate(0, bytes.data(), 4, bytes.data(), INT_MIN), 1);
    EXPECT_EQ(buffer.PutDate(0, bytes.data(), 4, bytes.data(), 0), 1);
    buffer.SetEndOfInput();
    for (int i = 0; i < 4; ++i) {
        const EsGot got = Get(buffer);
        EXPECT_EQ(got.result, 1);
        EXPECT_EQ(got.extra, nullptr);
        EXPECT_EQ(got.extraSize, 0);
    }
}

TEST_F(EsBufferTest, TheFrameIsACopy) {
    std::array<unsigned char, 2> bytes{'a', 'b'};
    std::array<unsigned char, 2> extra{'x', 'y'};
    buffer.PutDate(3, bytes.data(), 2, extra.data(), 2);
    bytes.fill(0);
    extra.fill(0);
    buffer.SetEndOfInput();
    const EsGot got = Get(buffer);
    EXPECT_EQ(got.Data(), "ab");
    EXPECT_EQ(got.Extra(), "xy");
}

TEST_F(EsBufferTest, FramesMayComeAfterTheEndOfTheInput) {
    Put(buffer, 0, "a");
    buffer.SetEndOfInput();
    Put(buffer, 0, "b");
    EXPECT_EQ(buffer.GetFrameCount(0), 2u);
    ExpectFrame(Get(buffer), 0, "a", kData);
    ExpectFrame(Get(buffer), 0, "b", kEnd);
}

TEST_F(EsBufferTest, InitOpensTheInputAgainAndClearsTheCounts) {
    Put(buffer, 2, "a");
    Put(buffer, 2, "b");
    buffer.SetEndOfInput();
    buffer.Init(100);
    EXPECT_EQ(buffer.GetFrameCount(2), 0u);
    buffer.SetEndOfInput();
    EXPECT_EQ(buffer.GetFrameCount(2), 0u);
    ExpectNone(Get(buffer), 2, kEnd); // not counted any more, but its node is there
    buffer.Init(100);
    Put(buffer, 2, "c");
    ExpectNone(Get(buffer), 2, kData); // held back again
}

TEST_F(EsBufferTest, AfterInitFramesThatWereNotTakenComeFirst) {
    Put(buffer, 0, "old");
    buffer.Init(100);
    Put(buffer, 0, "new");
    Put(buffer, 0, "newer");
    ExpectFrame(Get(buffer), 0, "old", kData);
    ExpectNone(Get(buffer), 0, kData); // one frame too few is counted now
    buffer.SetEndOfInput();
    ExpectFrame(Get(buffer), 0, "new", kEnd);
}

TEST_F(EsBufferTest, AfterInitAHeadThatIsNotCountedTakesTheCountBelowZero) {
    Put(buffer, 0, "a");
    Put(buffer, 0, "b");
    TakeAll(2);
    buffer.Init(100);
    ExpectPassedOver(Get(buffer), 0, kData);
    EXPECT_EQ(buffer.GetFrameCount(0), 4294967294u);
    ExpectPassedOver(Get(buffer), 0, kData);
    buffer.SetEndOfInput();
    EXPECT_EQ(buffer.GetFrameCount(0), 4294967294u);
    ExpectPassedOver(Get(buffer), 0, kData);
}

TEST_F(EsBufferTest, AFrameAfterTheLastStandsBehindNodesThatWereTaken) {
    Put(buffer, 0, "a");
    Put(buffer, 0, "b");
    TakeAll(2);
    Put(buffer, 0, "late");
    EXPECT_EQ(buffer.GetFrameCount(0), 1u);
    ExpectPassedOver(Get(buffer), 0, kEnd); // counted off in place of the late one
    EXPECT_EQ(buffer.GetFrameCount(0), 0u);
    ExpectNone(Get(buffer), 0, kEnd);
}

TEST_F(EsBufferTest, AfterInitNodesThatWereTakenArePassedOverFirst) {
    Put(buffer, 0, "a");
    Put(buffer, 0, "b");
    TakeAll(2);
    buffer.Init(100);
    for (const char* frame : {"c", "d", "e", "f"}) {
        Put(buffer, 0, frame);
    }
    ExpectPassedOver(Get(buffer), 0, kData);
    ExpectPassedOver(Get(buffer), 0, kData);
    ExpectFrame(Get(buffer), 0, "c", kData);
    ExpectNone(Get(buffer), 0, kData);
}

TEST_F(EsBufferTest, AfterCloseItBeginsAnewAndTheCountsStay) {
    Put(buffer, 0, "a");
    Put(buffer, 0, "b");
    Put(buffer, 1, "c");
    buffer.Close();
    EXPECT_EQ(buffer.GetFrameCount(0), 1u);
    EXPECT_EQ(Get(buffer).stream, EsGot::kUntouched);
    buffer.Close(); // may be repeated
    Put(buffer, 0, "d");
    EXPECT_EQ(buffer.GetFrameCount(0), 2u);
    ExpectFrame(Get(buffer), 0, "d", kData); // the counts make it look as if others followed
    buffer.SetEndOfInput();
    buffer.Close();
    EXPECT_EQ(buffer.GetFrameCount(0), 2u);
    EXPECT_EQ(buffer.GetFrameCount(1), 1u);
    buffer.Init(100);
    buffer.SetEndOfInput();
    EXPECT_EQ(buffer.GetFrameCount(0), 0u);
    EXPECT_EQ(buffer.GetFrameCount(1), 0u);
}

TEST_F(EsBufferTest, CloseAndInitBeginAStreamAsTheFirst) {
    Put(buffer, 0, "a");
    TakeAll(1);
    buffer.Close();
    buffer.Init(100);
    Put(buffer, 0, "b");
    ExpectNone(Get(buffer), 0, kData);
    Put(buffer, 0, "c");
    ExpectFrame(Get(buffer), 0, "b", kData);
}

TEST(EsBufferWithoutInitTest, ItIsAnOpenQueueWithADefaultSizeOfZero) {
    CSoftEsBuffer buffer;
    EXPECT_EQ(buffer.GetFrameCount(0), 0u);
    EXPECT_EQ(Get(buffer).size, 0);
    buffer.Close();
    EXPECT_EQ(Put(buffer, 0, "a"), 1);
    EXPECT_EQ(Put(buffer, 0, "b"), 1);
    ExpectFrame(Get(buffer), 0, "a", kData);
    ExpectNone(Get(buffer), 0, kData);
    EXPECT_EQ(TakenByPut(buffer, "cc"), 1); // the first buffer was no larger than its frame
    buffer.SetEndOfInput();
    ExpectFrame(Get(buffer), 0, "b", kData);
    ExpectFrame(Get(buffer), 0, "cc", kEnd);
}
