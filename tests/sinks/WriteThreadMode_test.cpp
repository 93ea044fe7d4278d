// Sinks over handles with worker threads: no byte lands where the handle only thinks it stands, and a disk
// that hangs holds nobody.
#include "sinks/HostSinkFixture.h"

#include "filehandle/ThreadFixture.h"
#include "support/LeakChecks.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <future>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

constexpr uint32 kSize = 10'000;

// "WriteHandleTimeOut" is set, and disks answer.
class WriteThreadModeTest : public HostSinkFixture, public ::testing::WithParamInterface<WritePath> {
protected:
    WriteThreadModeTest() : content(Pattern(kSize, 1)) { host.AddFile(L"host.mxf", content); }

    void Start() {
        ASSERT_EQ(Open(GetParam(), kUpdate), VXC_STATUS_OK);
        News();
    }
    void Put(const std::vector<uint8>& bytes) {
        const std::size_t position = Inspector::Position(sink);
        content.resize(std::max(content.size(), position + bytes.size()));
        std::copy(bytes.begin(), bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(position));
        ASSERT_EQ(Write(bytes), static_cast<int>(bytes.size()));
    }
    // All calls come from other threads.
    std::vector<std::string> Work() {
        auto asked = News();
        for (std::string& call : asked) {
            EXPECT_TRUE(call.starts_with("writer ")) << call;
            call.erase(0, std::string("writer ").size());
        }
        return asked;
    }

    const TimeOuts limits{VXC_INFINITE, 600'000};
    std::vector<uint8> content; // as it is to be
};

INSTANTIATE_TEST_SUITE_P(Sinks, WriteThreadModeTest, ::testing::ValuesIn(kWritePaths),
                         [](const auto& param) { return param.param.name; });

// Those that cut the file.
using WriteThreadModeCutTest = WriteThreadModeTest;

INSTANTIATE_TEST_SUITE_P(Sinks, WriteThreadModeCutTest, ::testing::Values(kStaged, kThreadedUnbuffered),
                         [](const auto& param) { return param.param.name; });

// Both settings are set, and the host's writes hang.
class WriteHungTest : public ::testing::TestWithParam<WritePath> {
protected:
    using Inspector = WriteFileInspector;
    static constexpr uint32 kNode = 524288;

    void Start(HostFunction hung = HostFunction::Write) {
        host.Hold(hung, gate);
        ASSERT_EQ(sink.OpenFile(host.Tagged().c_str(), GetParam().bufferBytes, 0, 0, GetParam().flags, 0, 0,
                                0, 0, nullptr),
                  VXC_STATUS_OK);
    }
    int Write(std::size_t bytes) {
        const auto data = Pattern(bytes, 1);
        return sink.Write(data.data(), static_cast<uint32>(data.size()), nullptr);
    }
    // The write that stands at the gate is given up.
    void PassLimit() {
        ASSERT_TRUE(gate.WaitUntilReached());
        ASSERT_TRUE(clock.WaitForSleepers(1));
        EXPECT_EQ(clock.Advance(kLimit - 1), 0);
        EXPECT_EQ(clock.Advance(1), 1);
    }

    const HealthyDrive drive{L'D'};
    NoLeakScope leaks;
    const PlatformScope platform{};
    const TimeOuts limits{kLimit, kLimit};
    HostTable host{L"D:\\host.mxf"};
    TestClock clock;
    CWriteFileEx1 sink;
    Gate gate; // opens first of all when a test ends
};

INSTANTIATE_TEST_SUITE_P(Sinks, WriteHungTest, ::testing::ValuesIn(kWritePaths),
                         [](const auto& param) { return param.param.name; });

// Those that have something to flush.
using WriteHungFlushTest = WriteHungTest;

INSTANTIATE_TEST_SUITE_P(Sinks, WriteHungFlushTest,
                         ::testing::Values(kStaged, kThreadedPath, kThreadedUnbuffered),
                         [](const auto& param) { return param.param.name; });

} // namespace

// A handle with workers does not count what it writes as movement.
TEST_P(WriteThreadModeTest, AWriteToThePlaceOfTheLastOneLandsThere) {
    Start();
    for (const uint32 seed : {2U, 3U}) {
        EXPECT_EQ(sink.Seek(500, 1), 500);
        Put(Pattern(4, seed));
    }
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(host.Content(), content);
}

TEST_P(WriteThreadModeTest, AFlushedSectorIsTakenUpWhereItStands) {
    Start();
    EXPECT_EQ(sink.Seek(1024 + 10, 1), 1034);
    Put(Pattern(100, 2));
    EXPECT_EQ(sink.Seek(0, 1), 0); // flushes the sector at 1024
    EXPECT_EQ(sink.Seek(1134, 1), 1134);
    Put(Pattern(100, 3));
    std::vector<uint8> back(300);
    EXPECT_EQ(sink.Seek(1000, 1), 1000);
    EXPECT_EQ(sink.ReadBack(back.data(), 300), 300);
    EXPECT_EQ(back, Slice(content, 1000, 300));
    EXPECT_EQ(sink.Seek(1234, 1), 1234);
    Put(Pattern(900'000, 4));
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_TRUE(host.Content() == content);
}

// Past the cache the sector is read; the handle leaves out a move to where the step has shown it to be.
TEST_P(WriteThreadModeTest, EachMoveToAPlaceIsLedByOneToNowhere) {
    Start();
    sink.Seek(700, 1);
    Put(Pattern(10, 2));
    sink.Seek(0, 1);
    const std::string name = GetParam().name;
    if (GetParam().flags == 0) {
        EXPECT_THAT(Work(), ElementsAre("step 0", "seek 700", "write 10"));
    } else if (name == kStaged.name) {
        EXPECT_THAT(Work(), ElementsAre("step 0", "seek 512", "read 512", "step 0", "seek 512", // taken up
                                        "step 0", "step 0", "read 512", "step 0", "seek 512", "write 512"));
    } else {
        EXPECT_THAT(Work(), ElementsAre("step 0", "seek 512", "read 512", "step 0", "seek 512", // taken up
                                        "step 0", "read 512", "step 0", "seek 512", "write 512"));
    }
}

TEST_P(WriteThreadModeCutTest, TheCutComesAfterAMoveToo) {
    Start();
    sink.Seek(0, 2);
    Put(Pattern(7, 2));
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(host.Content(), content);
    const auto asked = Work();
    ASSERT_GE(asked.size(), 6U);
    EXPECT_THAT(std::vector<std::string>(asked.end() - 6, asked.end()),
                ElementsAre("close", "open", "step 0", "seek 10007", "cut", "close"));
}

TEST_P(WriteThreadModeCutTest, AFailedMoveIsNoticedAndCutsNothing) {
    Start();
    sink.Seek(0, 2);
    Put(Pattern(7, 2));
    sink.Seek(0, 1);
    host.Fail(HostFunction::SetFilePointer, 5, 1, true);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(host.Calls(HostFunction::SetEndofFile), 0);
    content.resize(10'240, 0);
    EXPECT_EQ(host.Content(), content);
}

// The read before the pad; behind the end of the file it spoils nothing.
TEST_P(WriteThreadModeCutTest, OnlyTheCallersOwnFlushLooksAtItsRead) {
    Start();
    sink.Seek(0, 2);
    Put(Pattern(7, 2));
    host.Fail(HostFunction::Read, 5);
    std::vector<uint8> none;
    EXPECT_EQ(sink.ReadBack(none.data(), 0), 0);
    EXPECT_EQ(Inspector::IsGood(sink), GetParam().bufferBytes != 0);
    content.resize(10'240, 0);
    EXPECT_EQ(host.Content(), content);
}

TEST_P(WriteHungTest, TheSinkComesBackAndClosesWithoutTheDisk) {
    Start();
    if (GetParam().bufferBytes == 0) {
        auto write = std::async(std::launch::async, [this] { return Write(1024); });
        ASSERT_NO_FATAL_FAILURE(PassLimit());
        // Staged bytes are told of by the next write.
        EXPECT_EQ(write.get(), GetParam().flags == 0 ? 0 : 1024);
    } else {
        EXPECT_EQ(Write(kNode), static_cast<int>(kNode));
        ASSERT_NO_FATAL_FAILURE(PassLimit());
        EXPECT_EQ(Write(kNode), 0); // meets the node that hung
    }
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Write(10), 0);
    LogCapture log;
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_TRUE(log.Contains(L"Finish"));
    EXPECT_EQ(host.Calls(HostFunction::Write), 1); // nothing more was asked of the disk
    EXPECT_EQ(host.Calls(HostFunction::Open), 1);
    gate.Open();
}

// The first move of a write asks the disk where the file stands.
TEST_P(WriteHungTest, AWriteWhoseMoveHangsGivesNothing) {
    Start(HostFunction::SetFilePointer);
    auto write = std::async(std::launch::async, [this] { return Write(1024); });
    ASSERT_NO_FATAL_FAILURE(PassLimit());
    EXPECT_EQ(write.get(), 0);
    EXPECT_EQ(Write(10), 0);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(host.Calls(HostFunction::Write), 0);
    gate.Open();
}

TEST_P(WriteHungFlushTest, AFlushThatHangsComesBackToo) {
    Start();
    EXPECT_EQ(Write(10), 10);
    auto seek = std::async(std::launch::async, [this] { return sink.Seek(3, 1); });
    ASSERT_NO_FATAL_FAILURE(PassLimit());
    EXPECT_EQ(seek.get(), 3);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(host.Calls(HostFunction::Write), 1);
    EXPECT_EQ(host.Calls(HostFunction::SetEndofFile), 0);
    gate.Open();
}

TEST_P(WriteHungFlushTest, ACloseThatFlushesIntoAHungDiskComesBackToo) {
    Start();
    EXPECT_EQ(Write(10), 10);
    auto close = std::async(std::launch::async, [this] { return sink.CloseFile(); });
    ASSERT_NO_FATAL_FAILURE(PassLimit());
    EXPECT_EQ(close.get(), VXC_STATUS_OK);
    EXPECT_FALSE(Inspector::IsOpen(sink));
    gate.Open();
}
