// Seeking in a file sink: what moves, what is flushed, and what positions far away do to the file.
#include "filehandle/ThreadFixture.h"
#include "sinks/SinkOverHost.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>

#include <cstdint>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class WriteFileSeekTest : public SinkOverHost {
protected:
    uint32 OpenHost(const WritePath& path, uint32 mode = kUpdate) {
        const uint32 status = SinkOverHost::OpenHost(path.bufferBytes, path.flags, mode);
        host.ClearLog();
        return status;
    }

    SettingsScope settings;
};

class WriteFileSeekPathsTest : public WriteFileSeekTest, public ::testing::WithParamInterface<WritePath> {};

INSTANTIATE_TEST_SUITE_P(Sinks, WriteFileSeekPathsTest, ::testing::ValuesIn(kWritePaths),
                         [](const auto& param) { return param.param.name; });

} // namespace

TEST_P(WriteFileSeekPathsTest, OriginsAreStartEndAndPosition) {
    ASSERT_EQ(OpenHost(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(sink.Seek(500, 1), 500);
    EXPECT_EQ(sink.Seek(500, 3), 1000);
    EXPECT_EQ(sink.Seek(-300, 3), 700);
    EXPECT_EQ(sink.Seek(-1, 2), kSize - 1);
    EXPECT_EQ(sink.Seek(0, 2), kSize);
    EXPECT_EQ(sink.Seek(7, 0), 7);
    EXPECT_EQ(sink.Seek(8, 4), 8);
    EXPECT_EQ(sink.Seek(9, 0xFFFFFFFF), 9);
    EXPECT_EQ(Inspector::Position(sink), 9U);
    EXPECT_EQ(sink.GetFileSize(), kSize);
    EXPECT_THAT(Asked(), IsEmpty()); // the file is not moved
}

TEST_P(WriteFileSeekPathsTest, TheEndIsThatOfWhatWasWritten) {
    ASSERT_EQ(OpenHost(GetParam(), kCreate), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    EXPECT_EQ(sink.Seek(100, 1), 100);
    EXPECT_EQ(sink.Seek(0, 2), 1000);
    EXPECT_EQ(sink.Seek(10, 2), 1010);
    EXPECT_EQ(sink.Seek(10, 2), 1020); // of the size that the former seek raised
}

TEST_P(WriteFileSeekPathsTest, ASeekToThePositionDoesNothing) {
    ASSERT_EQ(OpenHost(GetParam(), kCreate), VXC_STATUS_OK);
    EXPECT_EQ(sink.Seek(0, 1), 0);
    EXPECT_EQ(Inspector::LastOperation(sink), 0);
    EXPECT_EQ(Write(Pattern(100, 1)), 100);
    Asked();
    EXPECT_EQ(sink.Seek(100, 1), 100);
    EXPECT_EQ(sink.Seek(0, 3), 100);
    EXPECT_EQ(sink.Seek(0, 2), 100);
    EXPECT_EQ(Inspector::LastOperation(sink), 1);
    EXPECT_THAT(Asked(), IsEmpty());
    EXPECT_EQ(Write(Pattern(100, 2)), 100);
    EXPECT_EQ(Inspector::LastOperation(sink), 1);
}

TEST_P(WriteFileSeekPathsTest, ASeekElsewhereBringsOutWhatWasWritten) {
    ASSERT_EQ(OpenHost(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(100, 1)), 100);
    EXPECT_EQ(sink.Seek(50, 1), 50);
    EXPECT_EQ(Inspector::LastOperation(sink), 3);
    EXPECT_EQ(Slice(host.Content(), 0, 100), Pattern(100, 1));
    EXPECT_EQ(Slice(host.Content(), 100, kSize - 100), Bytes(100, kSize - 100));
    Asked();
    EXPECT_EQ(sink.Seek(60, 1), 60); // nothing is left to be brought out
    EXPECT_THAT(Asked(), IsEmpty());
}

TEST_P(WriteFileSeekPathsTest, ASeekBeyondTheEndRaisesTheSizeAtOnce) {
    ASSERT_EQ(OpenHost(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(sink.Seek(kSize + 1, 1), kSize + 1);
    EXPECT_EQ(sink.GetFileSize(), kSize + 1);
    EXPECT_EQ(host.Content().size(), kSize);
    EXPECT_EQ(sink.Seek(0, 1), 0);
    EXPECT_EQ(sink.GetFileSize(), kSize + 1);
    sink.CloseFile();
    // Past the cache the size is that which was told.
    EXPECT_EQ(host.Content().size(), (GetParam().flags & kDirect) != 0 ? kSize + 1 : kSize);
}

TEST_P(WriteFileSeekPathsTest, PositionsThatNoFileHasLeaveTheFileAlone) {
    const int64 positions[] = {-1, -512, -700, INT64_MIN, INT64_MIN + 1, INT64_MAX - 600};
    for (const int64 position : positions) {
        ASSERT_EQ(OpenHost(GetParam()), VXC_STATUS_OK);
        EXPECT_EQ(sink.Seek(position, 1), position);
        EXPECT_EQ(Inspector::Position(sink), static_cast<uint64>(position));
        EXPECT_EQ(sink.GetFileSize(), static_cast<uint64>(position));
        if (position < 0) {
            EXPECT_TRUE(Inspector::IsGood(sink));
            EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
            EXPECT_EQ(host.Content(), content) << position;
        } else {
            sink.Seek(0, 1);
            host.Fail(HostFunction::SetFilePointer, VXC_ERROR_FILE_TOO_LARGE);
            EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
            EXPECT_EQ(host.Content(), content) << position;
        }
    }
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST_P(WriteFileSeekPathsTest, AFileOfTheDiskIsNotCutWhereItCannotBeMoved) {
    folder.WritePattern("target", 1000, 3);
    for (const uint32 limit : {VXC_INFINITE, 5000U}) {
        const TimeOuts limits(VXC_INFINITE, limit);
        ASSERT_EQ(Open(GetParam(), kUpdate), VXC_STATUS_OK);
        EXPECT_EQ(sink.Seek(-1001, 2), -1);
        EXPECT_EQ(sink.GetFileSize(), 0xFFFFFFFFFFFFFFFF);
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(Content(), Pattern(1000, 3)) << limit;
    }
}

TEST_P(WriteFileSeekPathsTest, AWriteAtANegativePositionFailsTheSink) {
    ASSERT_EQ(OpenHost(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(sink.Seek(-700, 1), -700);
    const bool isThrough = GetParam().bufferBytes == 0 && GetParam().flags == 0;
    EXPECT_EQ(Write(Pattern(10, 1)), isThrough ? 10 : 0); // only what writes through goes on to its end
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Write(Pattern(10, 1)), 0);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
}

TEST_P(WriteFileSeekPathsTest, SumsOfPositionsWrap) {
    ASSERT_EQ(OpenHost(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(sink.Seek(INT64_MAX, 1), INT64_MAX);
    EXPECT_EQ(sink.Seek(INT64_MAX, 3), -2);
    EXPECT_EQ(sink.Seek(3, 3), 1);
    EXPECT_EQ(sink.Seek(INT64_MIN, 2), static_cast<int64>(0x7FFFFFFFFFFFFFFE));
    EXPECT_EQ(sink.GetFileSize(), 0xFFFFFFFFFFFFFFFE);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(host.Content(), content);
}

TEST_P(WriteFileSeekPathsTest, AClosedSinkSeeksWithoutAFile) {
    EXPECT_EQ(sink.Seek(10, 1), 10);
    EXPECT_EQ(sink.GetFileSize(), 10U);
    ASSERT_EQ(OpenHost(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::Position(sink), 0U);
    EXPECT_EQ(Write(Pattern(100, 1)), 100);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    Asked();
    EXPECT_EQ(Inspector::Position(sink), 100U);
    EXPECT_EQ(sink.Seek(5, 1), 5);
    EXPECT_EQ(sink.Seek(5, 2), kSize + 5);
    EXPECT_TRUE(Inspector::IsGood(sink));
    EXPECT_THAT(Asked(), IsEmpty());
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
}

TEST_P(WriteFileSeekPathsTest, AFailedSinkStillMovesButBringsOutNothing) {
    ASSERT_EQ(OpenHost(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(100, 1)), 100);
    host.Fail(HostFunction::Read, VXC_ERROR_IO_DEVICE, 1, true);
    uint8 byte = 0;
    sink.ReadBack(&byte, 1);
    EXPECT_FALSE(Inspector::IsGood(sink));
    Asked();
    EXPECT_EQ(sink.Seek(70, 1), 70);
    EXPECT_EQ(Inspector::LastOperation(sink), 3);
    EXPECT_EQ(Inspector::Position(sink), 70U);
    EXPECT_THAT(Asked(), IsEmpty());
}

TEST_P(WriteFileSeekPathsTest, InThreadModeWritesGoWhereTheSinkStands) {
    const TimeOuts limits(VXC_INFINITE, 5000);
    folder.WritePattern("target", 5000, 3);
    std::vector<uint8> expected = Pattern(5000, 3);
    ASSERT_EQ(Open(GetParam(), kUpdate), VXC_STATUS_OK);
    for (const std::size_t at : {500U, 500U, 512U, 512U, 1024U, 1030U, 1024U}) {
        const std::vector<uint8> bytes = Pattern(4, static_cast<uint32>(at));
        sink.Seek(1, 1); // leaves the place, whatever it was
        EXPECT_EQ(sink.Seek(static_cast<int64>(at), 1), static_cast<int64>(at));
        EXPECT_EQ(Write(bytes), 4);
        std::copy(bytes.begin(), bytes.end(), expected.begin() + static_cast<std::ptrdiff_t>(at));
    }
    sink.Seek(500, 1);
    EXPECT_EQ(ReadBack(600), Slice(expected, 500, 600));
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(Content(), expected);
}

TEST_F(WriteFileSeekTest, OnlyInThreadModeIsTheFileAskedWhereItStands) {
    ASSERT_EQ(SinkOverHost::OpenHost(0), VXC_STATUS_OK);
    sink.Seek(500, 1);
    Asked();
    EXPECT_EQ(Write(Pattern(4, 1)), 4);
    EXPECT_THAT(Asked(), ElementsAre("seek 500", "write 4"));
    sink.CloseFile();
    const TimeOuts limits(VXC_INFINITE, 5000);
    ASSERT_EQ(SinkOverHost::OpenHost(0), VXC_STATUS_OK);
    sink.Seek(500, 1);
    Asked();
    EXPECT_EQ(Write(Pattern(4, 1)), 4);
    EXPECT_THAT(Asked(), ElementsAre("writer step 0", "writer seek 500", "writer write 4"));
}
