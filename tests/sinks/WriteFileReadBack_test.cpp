// Reading back what a sink wrote, without its cache.
#include "filehandle/ThreadFixture.h"
#include "sinks/SinkOverHost.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr uint32 kMiB = 1048576;

class WriteFileReadBackTest : public SinkOverHost {
protected:
    uint32 OpenHost(uint32 bufferBytes, uint32 flags = 0) {
        const uint32 status = SinkOverHost::OpenHost(bufferBytes, flags);
        host.ClearLog();
        return status;
    }
    // What stands at the end of the file, and zeros or marks where nothing came.
    std::vector<uint8> Tail(std::size_t position, std::size_t count, uint8 rest) const {
        std::vector<uint8> expected = Bytes(position, kSize - position);
        expected.resize(count, rest);
        return expected;
    }

    SettingsScope settings;
};

class WriteFileReadBackPathsTest : public WriteFileReadBackTest,
                                   public ::testing::WithParamInterface<WritePath> {
protected:
    uint32 OpenHost() { return WriteFileReadBackTest::OpenHost(GetParam().bufferBytes, GetParam().flags); }
};

INSTANTIATE_TEST_SUITE_P(Sinks, WriteFileReadBackPathsTest, ::testing::ValuesIn(kWritePaths),
                         [](const auto& param) { return param.param.name; });

} // namespace

TEST_P(WriteFileReadBackPathsTest, GivesWhatWasWrittenBefore) {
    ASSERT_EQ(OpenHost(), VXC_STATUS_OK);
    std::vector<uint8> expected = content;
    const std::vector<uint8> written = Pattern(700, 8);
    std::copy(written.begin(), written.end(), expected.begin() + 300);
    sink.Seek(300, 1);
    EXPECT_EQ(Write(written), 700);
    EXPECT_EQ(ReadBack(100), Slice(expected, 1000, 100)); // behind the write, without a seek
    EXPECT_EQ(Inspector::LastOperation(sink), 2);
    EXPECT_EQ(Inspector::Position(sink), 1100U);
    sink.Seek(250, 1);
    EXPECT_EQ(ReadBack(1000), Slice(expected, 250, 1000));
    EXPECT_EQ(ReadBack(1000), Slice(expected, 1250, 1000));
    EXPECT_EQ(host.Content(), expected);
}

TEST_P(WriteFileReadBackPathsTest, WritingGoesOnWhereItEnded) {
    ASSERT_EQ(OpenHost(), VXC_STATUS_OK);
    std::vector<uint8> expected = content;
    for (std::size_t at = 0; at < 4000; at += 700) {
        const std::vector<uint8> written = Pattern(600, static_cast<uint32>(at));
        std::copy(written.begin(), written.end(), expected.begin() + static_cast<std::ptrdiff_t>(at));
        EXPECT_EQ(Write(written), 600);
        EXPECT_EQ(ReadBack(100), Slice(expected, at + 600, 100));
    }
    EXPECT_EQ(sink.GetFileSize(), kSize);
    sink.CloseFile();
    EXPECT_EQ(host.Content(), expected);
}

TEST_P(WriteFileReadBackPathsTest, AFailedReadIsNotSeenButInWhatFollows) {
    ASSERT_EQ(OpenHost(), VXC_STATUS_OK);
    host.Fail(HostFunction::Read, VXC_ERROR_IO_DEVICE);
    std::vector<uint8> buffer(100, 0xEE);
    EXPECT_EQ(sink.ReadBack(buffer.data(), 100), 100);
    EXPECT_FALSE(Inspector::IsGood(sink));
    const bool isUnbuffered = (GetParam().flags & kDirect) != 0;
    EXPECT_EQ(Inspector::Position(sink), isUnbuffered ? 100U : 0U);
    EXPECT_EQ(buffer, std::vector<uint8>(100, isUnbuffered ? uint8{0} : uint8{0xEE}));
    Asked();
    EXPECT_EQ(sink.ReadBack(buffer.data(), 100), 0);
    EXPECT_EQ(Write(Pattern(10, 1)), 0);
    EXPECT_THAT(Asked(), IsEmpty());
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(host.Content(), content);
}

TEST_P(WriteFileReadBackPathsTest, AReadThatFailsPartWayCountsWhatCame) {
    ASSERT_EQ(OpenHost(), VXC_STATUS_OK);
    host.ShortenReads(40);
    host.FailAfterEffect(HostFunction::Read, VXC_ERROR_IO_DEVICE);
    std::vector<uint8> buffer(100, 0xEE);
    EXPECT_EQ(sink.ReadBack(buffer.data(), 100), 100);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Slice(buffer, 0, 40), Bytes(0, 40));
    EXPECT_EQ(Inspector::Position(sink), (GetParam().flags & kDirect) != 0 ? 100U : 40U);
}

TEST_P(WriteFileReadBackPathsTest, AFailedMoveFailsTheSinkAndTheReadGoesOn) {
    ASSERT_EQ(OpenHost(), VXC_STATUS_OK);
    sink.Seek(5120, 1);
    host.Fail(HostFunction::SetFilePointer, VXC_ERROR_IO_DEVICE);
    Asked();
    std::vector<uint8> buffer(512, 0xEE);
    EXPECT_EQ(sink.ReadBack(buffer.data(), 512), 512);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_THAT(Asked(), ElementsAre("seek 5120", "read 512"));
    EXPECT_EQ(Inspector::Position(sink), 5632U);
    EXPECT_EQ(sink.ReadBack(buffer.data(), 512), 0);
}

TEST_P(WriteFileReadBackPathsTest, AClosedSinkGivesNothing) {
    ASSERT_EQ(OpenHost(), VXC_STATUS_OK);
    sink.CloseFile();
    uint8 byte = 7;
    EXPECT_EQ(sink.ReadBack(&byte, 1), 0);
    EXPECT_EQ(sink.ReadBack(nullptr, 0xFFFFFFFF), 0);
    EXPECT_FALSE(Inspector::ReadCache(sink));
    EXPECT_EQ(byte, 7);
}

TEST_P(WriteFileReadBackPathsTest, NoBytesAreReadAndAreNoFailure) {
    ASSERT_EQ(OpenHost(), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(10, 1)), 10);
    uint8 byte = 7;
    EXPECT_EQ(sink.ReadBack(&byte, 0), 0);
    EXPECT_EQ(sink.ReadBack(nullptr, 0), 0);
    EXPECT_EQ(byte, 7);
    EXPECT_TRUE(Inspector::IsGood(sink));
    EXPECT_EQ(Inspector::Position(sink), 10U);
    EXPECT_EQ(Slice(host.Content(), 0, 10), Pattern(10, 1)); // flushed all the same
    EXPECT_EQ(Inspector::LastOperation(sink), 2);
}

TEST_P(WriteFileReadBackPathsTest, AFlushThatFailsIsSeenInWhatFollows) {
    ASSERT_EQ(OpenHost(), VXC_STATUS_OK);
    host.Fail(HostFunction::Write, VXC_ERROR_DISK_FULL, 1, true);
    const int wrote = Write(Pattern(10, 1));
    std::vector<uint8> buffer(100, 0xEE);
    const int read = sink.ReadBack(buffer.data(), 100);
    if (GetParam().bufferBytes != 0) {
        // The writer thread's failure comes a lap late.
        EXPECT_EQ(wrote, 10);
        EXPECT_EQ(read, 100);
    } else if ((GetParam().flags & kDirect) != 0) {
        EXPECT_EQ(wrote, 10);
        EXPECT_EQ(read, 100); // it was begun in time
        EXPECT_FALSE(Inspector::IsGood(sink));
        EXPECT_EQ(sink.ReadBack(buffer.data(), 100), 0);
    } else {
        EXPECT_EQ(wrote, 0);
        EXPECT_EQ(read, 0);
    }
}

TEST_F(WriteFileReadBackTest, AnOrdinaryReadGoesStraightToTheCallersBuffer) {
    for (const uint32 bufferBytes : {0U, 1U}) {
        ASSERT_EQ(OpenHost(bufferBytes), VXC_STATUS_OK);
        sink.Seek(701, 1);
        EXPECT_EQ(ReadBack(99), Bytes(701, 99));
        EXPECT_THAT(Asked(), ElementsAre("seek 701", "read 99"));
        EXPECT_EQ(Inspector::Position(sink), 800U);
    }
}

TEST_F(WriteFileReadBackTest, AnOrdinaryReadAtTheEndMovesByWhatCame) {
    ASSERT_EQ(OpenHost(0), VXC_STATUS_OK);
    sink.Seek(kSize - 30, 1);
    EXPECT_EQ(ReadBack(100), Tail(kSize - 30, 100, 0xEE));
    EXPECT_EQ(Inspector::Position(sink), kSize);
    EXPECT_TRUE(Inspector::IsGood(sink));
    EXPECT_EQ(ReadBack(100), std::vector<uint8>(100, 0xEE));
    EXPECT_EQ(Inspector::Position(sink), kSize);
    EXPECT_EQ(sink.GetFileSize(), kSize);
}

TEST_F(WriteFileReadBackTest, AnOrdinaryReadWithoutABufferFailsTheSink) {
    ASSERT_EQ(OpenHost(0), VXC_STATUS_OK);
    sink.Seek(10, 1);
    EXPECT_EQ(sink.ReadBack(nullptr, 100), 100);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Inspector::Position(sink), 10U);
    EXPECT_THAT(Asked(), ElementsAre("seek 10"));
}

TEST_F(WriteFileReadBackTest, AnUnbufferedReadTakesWholeSectors) {
    struct {
        int64 position;
        uint32 bytes;
        const char* moved;
        const char* read;
    } const cases[] = {{700, 100, "seek 512", "read 512"},  {1000, 24, "seek 512", "read 512"},
                       {1000, 25, "seek 512", "read 1024"}, {512, 512, "seek 512", "read 512"},
                       {512, 513, "seek 512", "read 1024"}, {1023, 2, "seek 512", "read 1024"},
                       {1, 1, "seek 0", "read 512"},        {1024, 0, "seek 1024", nullptr},
                       {511, 1026, "seek 0", "read 2048"}};
    for (const uint32 bufferBytes : {0U, 1U}) {
        ASSERT_EQ(OpenHost(bufferBytes, kDirect), VXC_STATUS_OK);
        for (const auto& entry : cases) {
            sink.Seek(entry.position, 1);
            Asked();
            EXPECT_EQ(ReadBack(entry.bytes), Bytes(static_cast<std::size_t>(entry.position), entry.bytes));
            const std::vector<std::string> asked = Asked();
            ASSERT_EQ(asked.size(), entry.read == nullptr ? 1U : 2U);
            EXPECT_EQ(asked[0], entry.moved);
            EXPECT_EQ(asked.back(), entry.read == nullptr ? entry.moved : entry.read);
            EXPECT_EQ(Inspector::Position(sink), static_cast<uint64>(entry.position) + entry.bytes);
        }
    }
}

TEST_F(WriteFileReadBackTest, AnUnbufferedReadOfLargerSectors) {
    SetSectorSize<4096>(platform);
    ASSERT_EQ(OpenHost(0, kDirect), VXC_STATUS_OK);
    sink.Seek(5000, 1);
    EXPECT_EQ(ReadBack(4000), Bytes(5000, 4000));
    EXPECT_THAT(Asked(), ElementsAre("seek 4096", "read 8192"));
}

TEST_F(WriteFileReadBackTest, AnUnbufferedReadAtTheEndGivesZerosBehindIt) {
    ASSERT_EQ(OpenHost(0, kDirect), VXC_STATUS_OK);
    EXPECT_EQ(ReadBack(50'000), Bytes(0, 50'000)); // the staging area is full of it
    sink.Seek(kSize - 30, 1);
    EXPECT_EQ(ReadBack(1000), Tail(kSize - 30, 1000, 0));
    EXPECT_EQ(Inspector::Position(sink), kSize + 970);
    EXPECT_TRUE(Inspector::IsGood(sink));
    EXPECT_EQ(ReadBack(10), std::vector<uint8>(10, 0));
    EXPECT_EQ(sink.GetFileSize(), kSize); // reading raises nothing
}

TEST_F(WriteFileReadBackTest, AnUnbufferedReadWithoutABufferDoesAllButTheCopy) {
    ASSERT_EQ(OpenHost(0, kDirect), VXC_STATUS_OK);
    sink.Seek(700, 1);
    EXPECT_EQ(sink.ReadBack(nullptr, 100), 100);
    EXPECT_THAT(Asked(), ElementsAre("seek 512", "read 512"));
    EXPECT_EQ(Inspector::Position(sink), 800U);
    EXPECT_TRUE(Inspector::IsGood(sink));
}

TEST_F(WriteFileReadBackTest, TheStagingAreaGrowsAndStaysLarge) {
    for (const uint32 bufferBytes : {0U, 1U}) {
        HostTable large(L"large", Pattern(3 * kMiB, 6));
        ASSERT_EQ(
            sink.OpenFile(large.Tagged().c_str(), bufferBytes, kMiB, kUpdate, kDirect, 0, 0, 0, 0, nullptr),
            VXC_STATUS_OK);
        EXPECT_EQ(ReadBack(kMiB), Pattern(kMiB, 6));
        EXPECT_EQ(Inspector::StageCapacity(sink), kMiB);
        sink.Seek(1, 1);
        EXPECT_EQ(ReadBack(kMiB), Slice(Pattern(3 * kMiB, 6), 1, kMiB));
        EXPECT_EQ(Inspector::StageCapacity(sink), kMiB + 512);
        sink.Seek(700, 1);
        EXPECT_EQ(Write(Pattern(10, 9)), 10); // the writer thread pads with what has grown
        EXPECT_EQ(ReadBack(2 * kMiB), Slice(Pattern(3 * kMiB, 6), 710, 2 * kMiB));
        EXPECT_EQ(Inspector::StageCapacity(sink), 2 * kMiB + 512);
        EXPECT_EQ(ReadBack(10), Slice(Pattern(3 * kMiB, 6), 2 * kMiB + 710, 10));
        EXPECT_EQ(Inspector::StageCapacity(sink), 2 * kMiB + 512);
        sink.CloseFile();
        EXPECT_EQ(Inspector::StageCapacity(sink), 0U);
        EXPECT_EQ(Slice(large.Content(), 700, 10), Pattern(10, 9));
    }
}

TEST_F(WriteFileReadBackTest, AStagingAreaBeyond32BitsFailsTheSink) {
    ASSERT_EQ(OpenHost(0, kDirect), VXC_STATUS_OK);
    sink.Seek(700, 1);
    uint8 byte = 7;
    EXPECT_EQ(sink.ReadBack(&byte, 0xFFFFFFFF), -1); // as many as were asked for
    EXPECT_EQ(byte, 7);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Inspector::StageCapacity(sink), kMiB);
    EXPECT_EQ(Inspector::Position(sink), 700 + uint64{0xFFFFFFFF});
    EXPECT_THAT(Asked(), IsEmpty());
}

TEST_F(WriteFileReadBackTest, WithABufferTheLengthsOfTheCacheAreLengths) {
    for (const uint32 bytes : {0xFFFFFFFFU, 0xFFFFFFFEU}) {
        ASSERT_EQ(OpenHost(0), VXC_STATUS_OK);
        std::vector<uint8> buffer(kSize);
        EXPECT_EQ(sink.ReadBack(buffer.data(), bytes), static_cast<int>(bytes));
        EXPECT_EQ(buffer, content);
        EXPECT_EQ(Inspector::Position(sink), kSize);
        EXPECT_FALSE(Inspector::ReadCache(sink));
    }
}

TEST_F(WriteFileReadBackTest, APositionThatLooksLikeAFailureIsNone) {
    ASSERT_EQ(OpenHost(0), VXC_STATUS_OK);
    uint8 byte = 7;
    for (const int64 position : {int64{0xFFFFFFFF}, int64{0x1FFFFFFFF}}) {
        sink.Seek(position, 1);
        EXPECT_EQ(sink.ReadBack(&byte, 1), 1);
        EXPECT_TRUE(Inspector::IsGood(sink));
        EXPECT_EQ(Inspector::Position(sink), static_cast<uint64>(position));
    }
    sink.Seek(0x1FFFFFFFE, 1);
    host.Fail(HostFunction::SetFilePointer, VXC_ERROR_IO_DEVICE); // the mark of failure behind a high half
    EXPECT_EQ(sink.ReadBack(&byte, 1), 1);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(byte, 7);
}

TEST_F(WriteFileReadBackTest, ADiskThatHangsEndsInATimeOut) {
    const HealthyDrive drive(L'h'); // of the host's name
    TestClock clock;
    const TimeOuts limits(5000, 5000);
    ASSERT_EQ(OpenHost(0), VXC_STATUS_OK);
    Gate gate;
    host.Hold(HostFunction::Read, gate);
    std::vector<uint8> buffer(100, 0xEE);
    std::thread caller([&] { EXPECT_EQ(sink.ReadBack(buffer.data(), 100), 100); });
    EXPECT_TRUE(gate.WaitUntilReached());
    EXPECT_TRUE(clock.WaitForSleepers(1));
    clock.Advance(5000);
    caller.join();
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_TRUE(drive.IsMarked());
    EXPECT_EQ(buffer, std::vector<uint8>(100, 0xEE));
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    gate.Open();
    EXPECT_EQ(buffer, std::vector<uint8>(100, 0xEE));
}
