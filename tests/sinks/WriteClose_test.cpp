// Closing: the order of its steps, what it tells, and the true size of a file that was written past the
// cache.
#include "sinks/HostSinkFixture.h"

#include "filehandle/ThreadFixture.h"
#include "support/LeakChecks.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <future>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

namespace {

constexpr const wchar_t* kSink = L"CWriteFileEx1::CloseFile(";
constexpr const wchar_t* kHandle = L"CWriteFileEx1::CloseFile()--VXC_CloseHandle(";

class WriteCloseTest : public HostSinkFixture {
protected:
    // The sink's own lines, in order; all must be traces.
    static std::vector<std::wstring> OwnLines(const LogCapture& log) {
        std::vector<std::wstring> own;
        for (const LogLine& line : log.Lines()) {
            if (line.text.starts_with(L"CWriteFileEx1::")) {
                EXPECT_EQ(line.level, INFOTYPE_TRACE) << line;
                EXPECT_EQ(line.module, L"VXCSoftCodecIO");
                own.push_back(line.text);
            }
        }
        return own;
    }
    static std::vector<std::wstring> ThreadLines() {
        const std::wstring begun =
            L"CWriteFileEx1::CloseFile()--VXC_WaitForSingleObject(m_hWriteThread, VXC_INFINITE ) ";
        return {begun + L"Begin\n", begun + L"ENd\n"};
    }
    std::vector<std::wstring> HandleLines() const {
        return {kHandle + host.Tagged() + L") Begin", kHandle + host.Tagged() + L") End"};
    }
    std::vector<std::wstring> CutLines() const {
        const std::wstring text = kSink + host.Tagged() + L") Modify NoBuffer Mode FileSize - ";
        return {text + L"1", text + L"2"};
    }
    std::vector<std::wstring> LastLines() const {
        const std::wstring name = kSink + host.Tagged() + L") ";
        return {name + L"m_pMediaFile->CloseFileHandle() - 1", name + L"m_pMediaFile->CloseFileHandle() - 2",
                name + L"Clear m_pWriteBufferNod - 1", name + L"Clear m_pWriteBufferNod - 2",
                name + L"Finish"};
    }
    static std::vector<std::wstring> Rows(std::initializer_list<std::vector<std::wstring>> parts) {
        std::vector<std::wstring> all;
        for (const auto& part : parts) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }
    // Closes and gives the sink's own lines.
    std::vector<std::wstring> CloseAndTell() {
        LogCapture log;
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        return OwnLines(log);
    }
    void Fail() {
        host.Fail(HostFunction::Read, 5);
        std::vector<uint8> byte(1);
        sink.ReadBack(byte.data(), 1);
        ASSERT_FALSE(Inspector::IsGood(sink));
        News();
    }
};

class WriteCloseInAllPathsTest : public WriteCloseTest, public ::testing::WithParamInterface<WritePath> {
protected:
    bool IsThreaded() const { return GetParam().bufferBytes != 0; }
    bool IsUnbuffered() const { return GetParam().flags != 0; }
    std::vector<std::wstring> OfThread() const { return IsThreaded() ? ThreadLines() : Rows({}); }
};

INSTANTIATE_TEST_SUITE_P(Sinks, WriteCloseInAllPathsTest, ::testing::ValuesIn(kWritePaths),
                         [](const auto& param) { return param.param.name; });

} // namespace

TEST_P(WriteCloseInAllPathsTest, AFileOfWholeSectorsIsClosedOnce) {
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1024, 1)), 1024);
    const auto lines = CloseAndTell();
    EXPECT_THAT(lines, ElementsAreArray(Rows({OfThread(), LastLines()})));
    EXPECT_EQ(host.Calls(HostFunction::Open), 1);
    EXPECT_EQ(host.Calls(HostFunction::CloseFile), 1);
    EXPECT_EQ(host.Calls(HostFunction::SetEndofFile), 0);
    EXPECT_EQ(host.Content(), Pattern(1024, 1));
}

TEST_P(WriteCloseInAllPathsTest, AnyOtherSizeIsCutWhereTheCacheIsNotUsed) {
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    const auto lines = CloseAndTell();
    if (IsUnbuffered()) {
        EXPECT_THAT(lines, ElementsAreArray(Rows({OfThread(), HandleLines(), CutLines(), LastLines()})));
    } else {
        EXPECT_THAT(lines, ElementsAreArray(Rows({OfThread(), LastLines()})));
    }
    EXPECT_EQ(host.Calls(HostFunction::Open), IsUnbuffered() ? 2 : 1);
    EXPECT_EQ(host.Calls(HostFunction::SetEndofFile), IsUnbuffered() ? 1 : 0);
    EXPECT_EQ(host.Content(), Pattern(1000, 1));
}

TEST_P(WriteCloseInAllPathsTest, AfterAFailureTheFileStaysAsItStands) {
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    Fail(); // behind a flush
    const auto lines = CloseAndTell();
    if (IsUnbuffered()) {
        EXPECT_THAT(lines, ElementsAreArray(Rows({OfThread(), HandleLines(), LastLines()})));
    } else {
        EXPECT_THAT(lines, ElementsAreArray(Rows({OfThread(), LastLines()})));
    }
    EXPECT_EQ(News(), std::vector<std::string>{"close"});
    auto expected = Pattern(1000, 1);
    expected.resize(IsUnbuffered() ? 1024 : 1000, 0);
    EXPECT_EQ(host.Content(), expected);
    EXPECT_FALSE(Inspector::IsGood(sink));
}

TEST_P(WriteCloseInAllPathsTest, NothingWrittenLeavesAFileOfNoBytes) {
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    News();
    EXPECT_THAT(CloseAndTell(), ElementsAreArray(Rows({OfThread(), LastLines()})));
    EXPECT_THAT(News(), ElementsAre("close"));
    EXPECT_TRUE(host.Content().empty());
}

TEST_P(WriteCloseInAllPathsTest, ASecondCloseDoesNothing) {
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    News();
    EXPECT_THAT(CloseAndTell(), IsEmpty());
    EXPECT_TRUE(News().empty());
}

TEST_P(WriteCloseInAllPathsTest, NothingIsLeftOfTheOpenSink) {
    const NoLeakScope leaks;
    FaultPlan plan;
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(sink.ReadBack(nullptr, 0xFFFFFFFF), 0);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    std::vector<uint8> head(10);
    sink.Seek(0, 1);
    EXPECT_EQ(sink.ReadBack(head.data(), 10), 10);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_FALSE(Inspector::IsOpen(sink));
    EXPECT_EQ(Inspector::Ring(sink), nullptr);
    EXPECT_EQ(Inspector::StageCapacity(sink), 0U);
    EXPECT_EQ(Inspector::StageFill(sink), 0U);
    EXPECT_FALSE(Inspector::HasSectorBuffer(sink));
    EXPECT_FALSE(Inspector::ReadCache(sink));
    EXPECT_EQ(Inspector::ReadCacheFill(sink), 0U);
    EXPECT_EQ(Inspector::ReadCachePos(sink), 0U);
    EXPECT_EQ(host.OpenHandles(), 0);
    // Two events for each of two nodes, one for the end, the thread.
    EXPECT_EQ(plan.Calls(Op::VXC_CreateEventW), IsThreaded() ? 5 : 0);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), IsThreaded() ? 6 : 0);
}

TEST_P(WriteCloseInAllPathsTest, AForgottenCloseIsMadeUpFor) {
    {
        CWriteFileEx1 forgotten;
        ASSERT_EQ(forgotten.OpenFile(host.Tagged().c_str(), GetParam().bufferBytes, 0, kCreate,
                                     GetParam().flags, 0, 0, 0, 0, nullptr),
                  VXC_STATUS_OK);
        const auto bytes = Pattern(1000, 1);
        EXPECT_EQ(forgotten.Write(bytes.data(), 1000, nullptr), 1000);
    }
    EXPECT_EQ(host.Content(), Pattern(1000, 1));
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST_F(WriteCloseTest, TheHostSeesThePadTheSecondOpeningAndTheCut) {
    ASSERT_EQ(Open(kThreadedUnbuffered), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    News();
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    const auto log = host.Log();
    EXPECT_THAT(News(), ElementsAre("writer seek 512", "writer read 512", "writer seek 0",
                                    "writer write 1024", "close", "open", "seek 1000", "cut", "close"));
    EXPECT_EQ(log.at(5).flags, 128U);
    EXPECT_EQ(log.at(5).name, L"host.mxf");
}

TEST_F(WriteCloseTest, WithoutARingTheCallerDoesAllThat) {
    ASSERT_EQ(Open(kStaged), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    News();
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_THAT(News(), ElementsAre("step 0", "step 0", "read 512", "seek 512", "write 512", "close", "open",
                                    "seek 1000", "cut", "close"));
}

TEST_F(WriteCloseTest, ASeekBeyondTheEndMakesTheFileThatLong) {
    for (const WritePath& path : {kStaged, kThreadedUnbuffered}) {
        host.AddFile(L"host.mxf", Pattern(512, 1));
        ASSERT_EQ(Open(path, kUpdate), VXC_STATUS_OK);
        EXPECT_EQ(sink.Seek(1, 2), 513);
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        auto expected = Pattern(512, 1);
        expected.push_back(0);
        EXPECT_EQ(host.Content(), expected);
    }
}

TEST_F(WriteCloseTest, AWholeNumberOfSectorsBeyondTheEndIsNotReached) {
    ASSERT_EQ(Open(kStaged), VXC_STATUS_OK);
    EXPECT_EQ(sink.Seek(1024, 1), 1024);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_TRUE(host.Content().empty());
}

TEST_F(WriteCloseTest, WithoutTheSecondOpeningTheFileKeepsItsPad) {
    ASSERT_EQ(Open(kStaged), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    host.Fail(HostFunction::Open, 5);
    EXPECT_THAT(CloseAndTell(), ElementsAreArray(Rows({HandleLines(), CutLines(), LastLines()})));
    auto padded = Pattern(1000, 1);
    padded.resize(1024, 0);
    EXPECT_EQ(host.Content(), padded);
    EXPECT_EQ(host.Calls(HostFunction::SetEndofFile), 0);
    EXPECT_EQ(host.OpenHandles(), 0);
    EXPECT_FALSE(Inspector::IsOpen(sink));
}

TEST_F(WriteCloseTest, AFileThatCannotBeMovedIsNotCut) {
    const StandingError error;
    ASSERT_EQ(Open(kThreadedUnbuffered), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    sink.Seek(0, 1);
    host.Fail(HostFunction::SetFilePointer, 5);
    EXPECT_THAT(CloseAndTell(),
                ElementsAreArray(Rows({ThreadLines(), HandleLines(), CutLines(), LastLines()})));
    EXPECT_EQ(host.Calls(HostFunction::SetEndofFile), 0);
    EXPECT_EQ(host.Content().size(), 1024U);
}

TEST_F(WriteCloseTest, ASizeThatASeekBeforeTheStartMadeUpCutsNothing) {
    const StandingError error;
    for (const WritePath& path : {kStaged, kThreadedUnbuffered}) {
        host.AddFile(L"host.mxf", Pattern(700, 1));
        ASSERT_EQ(Open(path, kUpdate), VXC_STATUS_OK);
        EXPECT_EQ(sink.Seek(-5, 1), -5);
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(host.Content(), Pattern(700, 1));
    }
}

TEST_F(WriteCloseTest, AFileWhoseSizeCouldNotBeToldIsNotCut) {
    for (const uint32 mode : {kAppend, kUpdate}) {
        HostTable longHost(L"long.mxf", Pattern(5000, 1));
        longHost.Fail(HostFunction::GetFileSize, VXC_ERROR_IO_DEVICE, 1);
        if (mode == kAppend) {
            longHost.Fail(HostFunction::GetFileSize, VXC_ERROR_IO_DEVICE, 2); // it asks twice
        }
        ASSERT_EQ(sink.OpenFile(longHost.Tagged().c_str(), 0, 0, mode, kStaged.flags, 0, 0, 0, 0, nullptr),
                  VXC_STATUS_OK);
        ASSERT_EQ(sink.GetFileSize(), 0U);
        EXPECT_EQ(Write(Pattern(100, 2)), 100);
        sink.CloseFile();
        EXPECT_EQ(longHost.Calls(HostFunction::SetEndofFile), 0) << mode;
        EXPECT_EQ(longHost.Content().size(), 5000U) << mode;
    }
}

TEST_F(WriteCloseTest, AFlushThatFailsInTheCloseLeavesTheFileUncut) {
    ASSERT_EQ(Open(kStaged), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    host.Fail(HostFunction::Write, 112);
    EXPECT_THAT(CloseAndTell(), ElementsAreArray(Rows({HandleLines(), LastLines()})));
    EXPECT_EQ(host.Calls(HostFunction::Open), 1);
}

TEST_F(WriteCloseTest, AFailedWriteOfTheThreadDoesNotStopTheCut) {
    ASSERT_EQ(Open(kThreadedUnbuffered), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    host.Fail(HostFunction::Write, 112);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(host.Calls(HostFunction::SetEndofFile), 1);
    EXPECT_EQ(host.Content(), std::vector<uint8>(1000, 0));
}

// The thread stands in a write and others wait behind it, when a close comes that must not flush.
TEST_F(WriteCloseTest, AfterAFailureNodesInFlightAreDropped) {
    Gate gate;
    ASSERT_EQ(Open(3 * kNode, VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    host.Fail(HostFunction::Write, 112);
    host.Hold(HostFunction::Write, gate, 2);
    EXPECT_EQ(Write(Pattern(3 * kNode + 10, 1)), 0); // meets the failed node
    ASSERT_FALSE(Inspector::IsGood(sink));
    ASSERT_TRUE(gate.WaitUntilReached());
    LogCapture log;
    auto close = std::async(std::launch::async, [this] { return sink.CloseFile(); });
    ASSERT_TRUE(log.WaitFor(L"m_hWriteThread, VXC_INFINITE ) Begin"));
    EXPECT_EQ(gate.Standing(), 1);
    EXPECT_FALSE(log.Contains(L"ENd"));
    gate.Open();
    EXPECT_EQ(close.get(), VXC_STATUS_OK);
    EXPECT_EQ(host.Calls(HostFunction::Write), 2);
    EXPECT_EQ(host.Calls(HostFunction::SetEndofFile), 0);
    EXPECT_EQ(OwnLines(log), Rows({ThreadLines(), HandleLines(), LastLines()}));
}

TEST_F(WriteCloseTest, AHandleThatDoesNotCloseIsNotOpenedAgain) {
    const HealthyDrive drive{L'D'};
    HostTable hung(L"D:\\host.mxf");
    const TimeOuts limits(VXC_INFINITE, 5000);
    TestClock clock;
    Gate gate;
    ASSERT_EQ(
        sink.OpenFile(hung.Tagged().c_str(), 0, 0, kCreate, VXC_FILE_FLAG_NO_BUFFERING, 0, 0, 0, 0, nullptr),
        VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    hung.Hold(HostFunction::CloseFile, gate);
    LogCapture log;
    auto close = std::async(std::launch::async, [this] { return sink.CloseFile(); });
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(clock.WaitForSleepers(1));
    clock.Advance(5000);
    EXPECT_EQ(close.get(), VXC_STATUS_OK);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_FALSE(log.Contains(L"Modify NoBuffer"));
    EXPECT_TRUE(log.Contains(L"Finish"));
    EXPECT_EQ(hung.Calls(HostFunction::Open), 1);
    EXPECT_FALSE(Inspector::IsOpen(sink));
}

TEST_F(WriteCloseTest, ASinkIsOpenedAgainAfterAClose) {
    for (const WritePath& path : kWritePaths) {
        host.AddFile(L"host.mxf", std::vector<uint8>());
        ASSERT_EQ(Open(path), VXC_STATUS_OK);
        EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(host.Content(), Pattern(1000, 1)) << path.name;
    }
}
