// The cache of what a sink reads back.
#include "sinks/SinkOverHost.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr uint32 kCapacity = 524288;
constexpr uint32 kOn = 0xFFFFFFFF;
constexpr uint32 kOff = 0xFFFFFFFE;

// Over a host's file of 2 MiB.
class WriteFileReadCacheTest : public SinkOverHost {
protected:
    static constexpr uint32 kLength = 2'000'000;

    WriteFileReadCacheTest() : whole(Pattern(kLength, 6)) { host.AddFile(L"host.mxf", whole); }

    uint32 OpenCached(uint32 bufferBytes, uint32 flags = 0) {
        const uint32 status = OpenHost(bufferBytes, flags);
        EXPECT_EQ(sink.ReadBack(nullptr, kOn), 0);
        host.ClearLog();
        return status;
    }
    std::vector<uint8> Part(std::size_t position, std::size_t count) const {
        return Slice(whole, position, count);
    }
    std::vector<uint8> ReadAt(int64 position, uint32 bytes) {
        sink.Seek(position, 1);
        return ReadBack(bytes);
    }

    const std::vector<uint8> whole;
    SettingsScope settings;
};

class WriteFileReadCachePathsTest : public WriteFileReadCacheTest,
                                    public ::testing::WithParamInterface<WritePath> {
protected:
    uint32 OpenCached() {
        return WriteFileReadCacheTest::OpenCached(GetParam().bufferBytes, GetParam().flags);
    }
};

INSTANTIATE_TEST_SUITE_P(Sinks, WriteFileReadCachePathsTest, ::testing::ValuesIn(kWritePaths),
                         [](const auto& param) { return param.param.name; });

} // namespace

TEST_P(WriteFileReadCachePathsTest, IsSwitchedOnAndOffByLengthsWithoutABuffer) {
    ASSERT_EQ(OpenHost(GetParam().bufferBytes, GetParam().flags), VXC_STATUS_OK);
    EXPECT_FALSE(Inspector::ReadCache(sink));
    EXPECT_EQ(sink.ReadBack(nullptr, kOff), 0); // there is none
    EXPECT_EQ(sink.ReadBack(nullptr, kOn), 0);
    const uint8* const memory = Inspector::ReadCache(sink).Data();
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(Inspector::ReadCache(sink).Size(), kCapacity);
    EXPECT_EQ(ReadAt(5120, 100), Part(5120, 100));
    EXPECT_EQ(Inspector::ReadCachePos(sink), 5120U);
    EXPECT_EQ(Inspector::ReadCacheFill(sink), kCapacity);
    EXPECT_EQ(sink.ReadBack(nullptr, kOn), 0); // empties it
    EXPECT_EQ(Inspector::ReadCache(sink).Data(), memory);
    EXPECT_EQ(Inspector::ReadCachePos(sink), 0U);
    EXPECT_EQ(Inspector::ReadCacheFill(sink), 0U);
    EXPECT_EQ(ReadAt(5120, 100), Part(5120, 100));
    EXPECT_EQ(sink.ReadBack(nullptr, kOff), 0);
    EXPECT_FALSE(Inspector::ReadCache(sink));
    EXPECT_EQ(Inspector::ReadCachePos(sink), 0U);
    EXPECT_EQ(Inspector::ReadCacheFill(sink), 0U);
    Asked();
    EXPECT_EQ(ReadAt(5120, 100), Part(5120, 100));
    EXPECT_FALSE(Asked().empty());
}

TEST_P(WriteFileReadCachePathsTest, SwitchingItFlushesNothing) {
    ASSERT_EQ(OpenHost(GetParam().bufferBytes, GetParam().flags), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(100, 1)), 100);
    Asked();
    EXPECT_EQ(sink.ReadBack(nullptr, kOn), 0);
    EXPECT_EQ(sink.ReadBack(nullptr, kOff), 0);
    EXPECT_EQ(Inspector::LastOperation(sink), 1);
    EXPECT_EQ(Inspector::Position(sink), 100U);
    EXPECT_THAT(Asked(), IsEmpty());
}

TEST_P(WriteFileReadCachePathsTest, AFailedSinkSwitchesNothing) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    host.Fail(HostFunction::Read, VXC_ERROR_IO_DEVICE);
    uint8 byte = 0;
    EXPECT_EQ(sink.ReadBack(&byte, 1), 1);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(sink.ReadBack(nullptr, kOff), 0);
    EXPECT_TRUE(Inspector::ReadCache(sink));
}

TEST_P(WriteFileReadCachePathsTest, AHitAsksForNothing) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    EXPECT_EQ(ReadAt(5120, 100), Part(5120, 100));
    EXPECT_THAT(Asked(), ElementsAre("seek 5120", "read 524288"));
    EXPECT_EQ(Inspector::Position(sink), 5220U);
    EXPECT_EQ(ReadBack(50), Part(5220, 50));
    EXPECT_EQ(Inspector::Position(sink), 5270U);
    EXPECT_EQ(ReadAt(5120, 10), Part(5120, 10)); // its first byte
    EXPECT_EQ(ReadAt(300'001, 10'000), Part(300'001, 10'000));
    EXPECT_THAT(Asked(), IsEmpty());
    EXPECT_EQ(Inspector::LastOperation(sink), 2);
}

TEST_P(WriteFileReadCachePathsTest, AReadUpToItsLastByteIsAMiss) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    EXPECT_EQ(ReadAt(5120, 100), Part(5120, 100));
    Asked();
    const int64 end = 5120 + int64{kCapacity};
    EXPECT_EQ(ReadAt(end - 1000, 999), Part(static_cast<std::size_t>(end) - 1000, 999));
    EXPECT_THAT(Asked(), IsEmpty());
    EXPECT_EQ(ReadAt(end - 1000, 1000), Part(static_cast<std::size_t>(end) - 1000, 1000));
    EXPECT_THAT(Asked(), ElementsAre(::testing::_, "read 524288"));
    EXPECT_EQ(ReadAt(5120, 100), Part(5120, 100)); // which the last one has replaced
    EXPECT_THAT(Asked(), ElementsAre("seek 5120", "read 524288"));
    EXPECT_EQ(ReadAt(5119, 10), Part(5119, 10)); // begins before it
    EXPECT_EQ(Asked().size(), 2U);
}

TEST_P(WriteFileReadCachePathsTest, OfNoBytesAHitLiesInsideIt) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    EXPECT_EQ(ReadAt(5120, 100), Part(5120, 100));
    Asked();
    uint8 byte = 7;
    sink.Seek(5120 + kCapacity - 1, 1);
    EXPECT_EQ(sink.ReadBack(&byte, 0), 0);
    EXPECT_THAT(Asked(), IsEmpty());
    sink.Seek(5120 + kCapacity, 1);
    EXPECT_EQ(sink.ReadBack(&byte, 0), 0);
    EXPECT_EQ(Asked().size(), 2U);
    EXPECT_EQ(byte, 7);
}

TEST_P(WriteFileReadCachePathsTest, ReadsOfItsCapacityGoPastIt) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    EXPECT_EQ(ReadAt(5120, kCapacity), Part(5120, kCapacity));
    EXPECT_THAT(Asked(), ElementsAre("seek 5120", "read 524288"));
    EXPECT_EQ(Inspector::ReadCacheFill(sink), 0U);
    EXPECT_EQ(ReadAt(5120, kCapacity + 512), Part(5120, kCapacity + 512));
    EXPECT_THAT(Asked(), ElementsAre("seek 5120", "read 524800"));
    EXPECT_EQ(ReadAt(5120, kCapacity - 1), Part(5120, kCapacity - 1)); // one byte less
    EXPECT_EQ(Inspector::ReadCacheFill(sink), kCapacity);
    EXPECT_EQ(Inspector::ReadCachePos(sink), 5120U);
}

TEST_P(WriteFileReadCachePathsTest, LaterWritesAreNotSeenThroughIt) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    EXPECT_EQ(ReadAt(0, 1000), Part(0, 1000));
    sink.Seek(100, 1);
    EXPECT_EQ(Write(Pattern(50, 9)), 50);
    EXPECT_EQ(ReadAt(100, 50), Part(100, 50)); // as it was
    EXPECT_EQ(Slice(host.Content(), 100, 50), Pattern(50, 9));
    EXPECT_EQ(sink.ReadBack(nullptr, kOn), 0);
    EXPECT_EQ(ReadAt(100, 50), Pattern(50, 9)); // as it is
}

TEST_P(WriteFileReadCachePathsTest, WhatItDoesNotHoldIsWhatItHeldBefore) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    EXPECT_EQ(ReadAt(0, 1000), Part(0, 1000));
    const int64 position = 1'999'872; // 128 bytes before the end
    std::vector<uint8> expected = Part(static_cast<std::size_t>(position), 128);
    const std::vector<uint8> old = Part(128, 872);
    expected.insert(expected.end(), old.begin(), old.end());
    EXPECT_EQ(ReadAt(position, 1000), expected);
    EXPECT_EQ(Inspector::ReadCacheFill(sink), 128U);
    EXPECT_EQ(Inspector::Position(sink), static_cast<uint64>(position) + 1000);
    EXPECT_TRUE(Inspector::IsGood(sink));
}

TEST_P(WriteFileReadCachePathsTest, BeforeItHeldAnythingThatIsZero) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    std::vector<uint8> expected = Part(1'999'872, 128);
    expected.resize(1000, 0);
    EXPECT_EQ(ReadAt(1'999'872, 1000), expected);
}

TEST_P(WriteFileReadCachePathsTest, AFailedFillFailsTheSinkAndHoldsNothing) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    EXPECT_EQ(ReadAt(5120, 100), Part(5120, 100));
    host.Fail(HostFunction::Read, VXC_ERROR_IO_DEVICE);
    sink.Seek(1'024'000, 1);
    std::vector<uint8> buffer(100, 0xEE);
    EXPECT_EQ(sink.ReadBack(buffer.data(), 100), 100);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Inspector::ReadCacheFill(sink), 0U);
    EXPECT_EQ(Inspector::ReadCachePos(sink), 1'024'000U);
    EXPECT_EQ(Inspector::Position(sink), 1'024'100U);
    EXPECT_EQ(sink.ReadBack(buffer.data(), 100), 0);
}

TEST_P(WriteFileReadCachePathsTest, AFailedMoveFailsTheSinkAndTheFillGoesOn) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    sink.Seek(5120, 1);
    host.Fail(HostFunction::SetFilePointer, VXC_ERROR_IO_DEVICE);
    uint8 byte = 0;
    EXPECT_EQ(sink.ReadBack(&byte, 1), 1);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_THAT(Asked(), ElementsAre("seek 5120", "read 524288"));
}

TEST_P(WriteFileReadCachePathsTest, WithoutABufferItIsFilledAndNothingCopied) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    sink.Seek(5120, 1);
    EXPECT_EQ(sink.ReadBack(nullptr, 100), 100);
    EXPECT_THAT(Asked(), ElementsAre("seek 5120", "read 524288"));
    EXPECT_EQ(sink.ReadBack(nullptr, 100), 100); // a hit
    EXPECT_THAT(Asked(), IsEmpty());
    EXPECT_EQ(Inspector::Position(sink), 5320U);
    EXPECT_TRUE(Inspector::IsGood(sink));
    EXPECT_EQ(ReadBack(100), Part(5320, 100));
}

TEST_P(WriteFileReadCachePathsTest, AHitFlushesWhatWasWrittenBefore) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    EXPECT_EQ(ReadAt(0, 1000), Part(0, 1000));
    sink.Seek(600'000, 1);
    EXPECT_EQ(Write(Pattern(50, 9)), 50);
    sink.Seek(10, 1);
    EXPECT_EQ(Write(Pattern(20, 3)), 20);
    Asked();
    EXPECT_EQ(ReadBack(10), Part(30, 10));
    EXPECT_EQ(Slice(host.Content(), 10, 20), Pattern(20, 3));
    EXPECT_EQ(Write(Pattern(20, 4)), 20); // goes on behind what was read
    sink.CloseFile();
    EXPECT_EQ(Slice(host.Content(), 40, 20), Pattern(20, 4));
    EXPECT_EQ(Slice(host.Content(), 600'000, 50), Pattern(50, 9));
}

TEST_P(WriteFileReadCachePathsTest, ItGoesWithTheClose) {
    ASSERT_EQ(OpenCached(), VXC_STATUS_OK);
    EXPECT_EQ(ReadAt(5120, 100), Part(5120, 100));
    sink.CloseFile();
    EXPECT_FALSE(Inspector::ReadCache(sink));
    EXPECT_EQ(Inspector::ReadCachePos(sink), 0U);
    EXPECT_EQ(Inspector::ReadCacheFill(sink), 0U);
    ASSERT_EQ(OpenHost(0), VXC_STATUS_OK);
    EXPECT_FALSE(Inspector::ReadCache(sink));
}

TEST_F(WriteFileReadCacheTest, OrdinaryFillsBeginAtThePosition) {
    ASSERT_EQ(OpenCached(0), VXC_STATUS_OK);
    EXPECT_EQ(ReadAt(701, 99), Part(701, 99));
    EXPECT_THAT(Asked(), ElementsAre("seek 701", "read 524288"));
    EXPECT_EQ(Inspector::ReadCachePos(sink), 701U);
    EXPECT_EQ(ReadAt(700, 1), Part(700, 1));
    EXPECT_EQ(Inspector::ReadCachePos(sink), 700U);
}

TEST_F(WriteFileReadCacheTest, UnbufferedFillsBeginAtTheSector) {
    for (const uint32 bufferBytes : {0U, 1U}) {
        ASSERT_EQ(OpenCached(bufferBytes, kDirect), VXC_STATUS_OK);
        EXPECT_EQ(ReadAt(1000, 100), Part(1000, 100));
        EXPECT_THAT(Asked(), ElementsAre("seek 512", "read 524288"));
        EXPECT_EQ(Inspector::ReadCachePos(sink), 512U);
        EXPECT_EQ(ReadAt(600, 100), Part(600, 100)); // before what was asked for, and there
        EXPECT_THAT(Asked(), IsEmpty());
    }
}

TEST_F(WriteFileReadCacheTest, AnUnbufferedReadBeyondItsCapacityGoesPastIt) {
    ASSERT_EQ(OpenCached(0, kDirect), VXC_STATUS_OK);
    // Less than its capacity, but not from the sector's start on.
    EXPECT_EQ(ReadAt(612, kCapacity - 100), Part(612, kCapacity - 100));
    EXPECT_THAT(Asked(), ElementsAre("seek 512", "read 524288"));
    EXPECT_EQ(Inspector::ReadCacheFill(sink), kCapacity);
    EXPECT_EQ(sink.ReadBack(nullptr, kOn), 0);
    Asked();
    EXPECT_EQ(ReadAt(612, kCapacity - 99), Part(612, kCapacity - 99));
    EXPECT_THAT(Asked(), ElementsAre("seek 512", "read 524800"));
    EXPECT_EQ(Inspector::ReadCacheFill(sink), 0U);
    EXPECT_EQ(ReadAt(1023, kCapacity - 1), Part(1023, kCapacity - 1));
    EXPECT_THAT(Asked(), ElementsAre("seek 512", "read 524800"));
}

TEST_F(WriteFileReadCacheTest, SectorsThatDoNotDivideItAreReadPastIt) {
    SetSectorSize<1048576>(platform);
    ASSERT_EQ(OpenCached(0, kDirect), VXC_STATUS_OK);
    EXPECT_EQ(ReadAt(1000, 100), Part(1000, 100));
    EXPECT_THAT(Asked(), ElementsAre("seek 0", "read 1048576"));
    EXPECT_EQ(Inspector::ReadCacheFill(sink), 0U);
    // Through the system's cache a file has no sectors.
    ASSERT_EQ(OpenCached(0), VXC_STATUS_OK);
    EXPECT_EQ(ReadAt(1000, 100), Part(1000, 100));
    EXPECT_THAT(Asked(), ElementsAre("seek 1000", "read 524288"));
}
