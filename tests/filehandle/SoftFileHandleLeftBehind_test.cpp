// Closing, deleting and opening again while workers hang, and workers that come back afterwards.
#include "filehandle/ThreadFixture.h"

#include "support/PlatformScope.h"

#include <gmock/gmock.h>

#include <memory>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

using SoftFileHandleLeftBehindTest = HungTest;
using Inspector = SoftFileHandleInspector;

constexpr const wchar_t* kNotAll = L"CQLSoftFileHandle::CloseFileHandle()--Not All Thread Quit!!!\n";
constexpr const wchar_t* kAll = L"CQLSoftFileHandle::CloseFileHandle()--All Thread Quit\n";

int g_pins = 0;

} // namespace

TEST_F(SoftFileHandleLeftBehindTest, CloseOnADeadDiskReturnsAtOnceAndTheFileStaysOpen) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LoseARead();
    const std::size_t waits = clock.Waits().size();
    LogCapture log;
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT);
    EXPECT_THAT(log.Texts(), ElementsAre(L"GetDiskError(D: Error) \n", kNotAll));
    EXPECT_EQ(clock.Waits().size(), waits);
    EXPECT_EQ(Inspector::Record(handle), nullptr);
    // Opened again, it is refused; and what comes back finds nothing of its own missing.
    EXPECT_EQ(Open(), VXC_STATUS_TIME_OUT);
    gate.Open();
    EXPECT_EQ(host.Calls(HostFunction::CloseFile), 0);
    EXPECT_EQ(host.OpenHandles(), 1);
}

TEST_F(SoftFileHandleLeftBehindTest, TheHandleIsDeletedWhileItsWorkerHangs) {
    auto own = std::make_unique<CQLSoftFileHandle>();
    ASSERT_EQ(OpenThreaded(*own, host.Tagged()), VXC_STATUS_OK);
    host.FreeTable();
    host.Hold(HostFunction::Read, gate);
    auto memory = std::make_unique<std::vector<uint8>>(100);
    LetTimeOut([&] {
        uint32 count = 0;
        EXPECT_EQ(own->ReadFile(memory->data(), 100, &count, nullptr), VXC_STATUS_TIME_OUT);
    });
    own.reset();
    memory.reset();
    gate.Open(); // the scope of the test sees its thread end
}

TEST_F(SoftFileHandleLeftBehindTest, AHandleOfAnotherDiskIsOpenedWhileTheOldWorkerHangs) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LoseARead();
    EXPECT_EQ(Open(kShared), VXC_STATUS_OK);
    uint32 count = 0;
    EXPECT_EQ(Read(100, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 100U);
    gate.Open();
    EXPECT_EQ(Read(100, &count), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::Record(handle)->qwPosition, kUnknownPosition);
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleLeftBehindTest, AWorkerThatCameBackEndsWithTheClose) {
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    LoseARead();
    gate.Open();
    LogCapture log;
    // The file is closed; the code of the read stays.
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(log.Count(kAll), 1U);
    EXPECT_EQ(host.OpenHandles(), 0);
    EXPECT_EQ(Open(kShared), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleLeftBehindTest, CloseWithoutALetterWaitsForTheWorkerAndLeavesIt) {
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    uint32 count = 0;
    ASSERT_EQ(handle.SetFilePointer(10, 0), 10); // a worker that does answer
    LoseARead();
    const std::size_t waits = clock.Waits().size();
    LogCapture log;
    LetTimeOut([&] { EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT); });
    EXPECT_THAT(log.Texts(), ElementsAre(kNotAll));
    EXPECT_GE(clock.Waits().size(), waits + 1);
    EXPECT_EQ(Read(100, &count), VXC_STATUS_TIME_OUT);
    // Another use of the same file from the same object.
    EXPECT_EQ(Open(kShared), VXC_STATUS_OK);
    EXPECT_EQ(Read(100, &count), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleLeftBehindTest, AnOpenThatCameLateIsClosedByTheClose) {
    host.Hold(HostFunction::Open, gate);
    LetTimeOut([&] { EXPECT_EQ(Open(kShared), VXC_STATUS_TIME_OUT); });
    gate.Open();
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK) << "the late open's own status";
    EXPECT_EQ(host.OpenHandles(), 0);
    EXPECT_EQ(host.Calls(HostFunction::CloseFile), 1);
}

TEST_F(SoftFileHandleLeftBehindTest, AnOpenThatCameLateAndFailedLeavesItsCode) {
    host.Fail(HostFunction::Open, 2);
    host.Hold(HostFunction::Open, gate);
    LetTimeOut([&] { EXPECT_EQ(Open(kShared), VXC_STATUS_TIME_OUT); });
    gate.Open();
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(host.ClosedInvalid(), 1);
}

TEST_F(SoftFileHandleLeftBehindTest, AnOpenThatTheCloseGaveUpStaysOpen) {
    host.Hold(HostFunction::Open, gate);
    LetTimeOut([&] { EXPECT_EQ(Open(kShared), VXC_STATUS_TIME_OUT); });
    LetTimeOut([&] { EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT); });
    gate.Open();
    EXPECT_EQ(host.Calls(HostFunction::CloseFile), 0);
}

TEST_F(SoftFileHandleLeftBehindTest, CutSizeWriteAndSeekThatHangAreLeft) {
    const auto close = [&] { EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT); };
    LogCapture log;
    uint32 count = 0;

    ASSERT_EQ(Open(kShared, VXC_GENERIC_WRITE), VXC_STATUS_OK);
    host.Hold(HostFunction::SetEndofFile, gate);
    LetTimeOut([&] { handle.SetEndofFile(); }, kLimit + 1);
    LetTimeOut(close);
    gate.Open();
    gate.Close();

    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    host.Hold(HostFunction::GetFileSize, gate);
    LetTimeOut([&] { handle.GetFileSize(); });
    LetTimeOut(close);
    gate.Open();
    gate.Close();

    ASSERT_EQ(Open(kShared, VXC_GENERIC_WRITE), VXC_STATUS_OK);
    host.Hold(HostFunction::Write, gate);
    LetTimeOut([&] { handle.WriteFile(buffer.data(), 10, &count, nullptr); });
    LetTimeOut(close);
    gate.Open();
    gate.Close();

    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    host.Hold(HostFunction::SetFilePointer, gate);
    LetTimeOut([&] { handle.SetFilePointer(10, 0); });
    LetTimeOut(close);
    gate.Open();
    EXPECT_EQ(log.Count(kNotAll), 4U);
    EXPECT_EQ(host.Calls(HostFunction::CloseFile), 0);
}

TEST_F(SoftFileHandleLeftBehindTest, ALateCutOrSizeEndsWithTheClose) {
    ASSERT_EQ(Open(kShared, VXC_GENERIC_WRITE), VXC_STATUS_OK);
    host.Hold(HostFunction::SetEndofFile, gate);
    LetTimeOut([&] { handle.SetEndofFile(); }, kLimit + 1);
    gate.Open();
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK) << "the late cut's own status";
    gate.Close();
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    host.Hold(HostFunction::GetFileSize, gate);
    LetTimeOut([&] { handle.GetFileSize(); });
    gate.Open();
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT) << "asking for the size has none";
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST_F(SoftFileHandleLeftBehindTest, ALateSeekOrWriteThatWorkedLeavesTheTimeOutToTheClose) {
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    host.Hold(HostFunction::SetFilePointer, gate);
    LetTimeOut([&] { handle.SetFilePointer(10, 0); });
    gate.Open();
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT);
    gate.Close();
    ASSERT_EQ(Open(kShared, VXC_GENERIC_WRITE), VXC_STATUS_OK);
    host.Hold(HostFunction::Write, gate);
    uint32 count = 0;
    LetTimeOut([&] { handle.WriteFile(buffer.data(), 10, &count, nullptr); });
    gate.Open();
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST_F(SoftFileHandleLeftBehindTest, ALateErrorOfAReadShowsInTheClose) {
    host.Fail(HostFunction::Read, 5);
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    LoseARead();
    gate.Open();
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_READ);
}

TEST_F(SoftFileHandleLeftBehindTest, TwoHungDisksDoNotSlowAThird) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    CQLSoftFileHandle second;
    ASSERT_EQ(OpenThreaded(second, host.Tagged(kShared)), VXC_STATUS_OK);
    CQLSoftFileHandle third;
    HostTable healthy(L"\\\\other\\clip.mxf", Pattern(kSize, 9));
    ASSERT_EQ(OpenThreaded(third, healthy.Tagged()), VXC_STATUS_OK);
    host.Hold(HostFunction::Read, gate, 1, true);
    std::vector<uint8> other(kSize);
    uint32 counts[2] = {9, 9};
    std::thread one([&] { Read(100, &counts[0]); });
    std::thread two([&] { second.ReadFile(other.data(), 100, &counts[1], nullptr); });
    ASSERT_TRUE(gate.WaitUntilReached(2));
    std::vector<uint8> got(kSize);
    for (uint32 i = 0; i < kSize / 100; ++i) {
        uint32 count = 0;
        EXPECT_EQ(third.ReadFile(got.data() + 100 * i, 100, &count, nullptr), VXC_STATUS_OK);
        EXPECT_EQ(count, 100U);
    }
    EXPECT_EQ(got, healthy.Content());
    EXPECT_EQ(third.GetFileSize(), kSize);
    EXPECT_EQ(third.CloseFileHandle(), VXC_STATUS_OK);
    ASSERT_TRUE(clock.WaitForSleepers(2));
    clock.Advance(kLimit);
    one.join();
    two.join();
    EXPECT_EQ(counts[0] + counts[1], 0U);
    // Their workers come back before the second handle is closed, which else would wait for its own.
    gate.Open();
}

TEST_F(SoftFileHandleLeftBehindTest, AHandleOfADiskThatDiedElsewhereIsLeftWithItsIdleWorkers) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    uint32 count = 0;
    ASSERT_EQ(handle.SetFilePointer(10, 0), 10);
    ASSERT_EQ(Read(100, &count), VXC_STATUS_OK);
    SetDiskError(L'D');
    LogCapture log;
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(log.Count(kNotAll), 1U);
    EXPECT_EQ(host.OpenHandles(), 1);
}

TEST_F(SoftFileHandleLeftBehindTest, WorkersThatCannotBeToldToLeaveAreLeft) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    uint32 count = 0;
    Read(10, &count);
    handle.SetFilePointer(5, VXC_FILE_BEGIN);
    LogCapture log;
    FaultPlan plan;
    for (int i = 1; i <= 3; ++i) { // the quit event in all its tries; what follows lets them go
        plan.Add(Fail(Op::VXC_SetEvent).Nth(i));
    }
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(log.Count(kNotAll), 1U);
    EXPECT_EQ(Open(), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleLeftBehindTest, TheFirstThreadGivenUpPinsTheLibraryOnce) {
    PlatformScope platform;
    platform.Module().pinModule = [] { ++g_pins; };
    g_pins = 0;
    const bool before = StuckThreadsInspector::Pinned().exchange(false);
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(g_pins, 0);
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    LoseARead();
    EXPECT_EQ(g_pins, 1);
    gate.Open();
    gate.Close();
    handle.CloseFileHandle();
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    LoseARead();
    EXPECT_EQ(g_pins, 1);
    StuckThreadsInspector::Pinned() = before;
}

TEST_F(SoftFileHandleLeftBehindTest, AnIdleWorkerThatIsLeftPinsTheLibraryToo) {
    PlatformScope platform;
    platform.Module().pinModule = [] { ++g_pins; };
    g_pins = 0;
    const bool before = StuckThreadsInspector::Pinned().exchange(false);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ASSERT_EQ(handle.SetFilePointer(10, 0), 10);
    SetDiskError(L'D');
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(g_pins, 1);
    StuckThreadsInspector::Pinned() = before;
}

TEST_F(SoftFileHandleLeftBehindTest, AnAnswerWhoseThreadIsNotSeenToEndIsTakenAndPinsTheLibrary) {
    PlatformScope platform;
    platform.Module().pinModule = [] { ++g_pins; };
    g_pins = 0;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    const bool before = StuckThreadsInspector::Pinned().exchange(false);
    {
        FaultPlan plan;
        for (int i = 1; i <= 3; ++i) { // the wait in all its tries
            plan.Add(Fail(Op::VXC_WaitForSingleObject).Nth(i).AfterEffect().OnThisThread());
        }
        EXPECT_EQ(handle.GetFileSize(), kSize);
        EXPECT_EQ(plan.Fired(), 3);
    }
    EXPECT_EQ(Status(), VXC_STATUS_OK);
    EXPECT_EQ(g_pins, 1);
    StuckThreadsInspector::Pinned() = before;
}

TEST_F(SoftFileHandleLeftBehindTest, ARequestThatWasGivenUpBeforeItsWorkerTookItIsNeverCarriedOut) {
    FaultPlan plan;
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    plan.Add(Hold(Op::VXC_WaitForSingleObject, gate).OnOtherThreads()); // before it hears of the request
    std::thread driver([this] {
        EXPECT_TRUE(gate.WaitUntilReached());
        EXPECT_TRUE(clock.WaitForSleepers(1));
        clock.Advance(kLimit);
    });
    uint32 count = 9;
    EXPECT_EQ(Read(100, &count), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(count, 0U);
    driver.join();
    gate.Open();
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(host.Calls(HostFunction::Read), 0);
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST_F(SoftFileHandleLeftBehindTest, TheTransferBufferGoesWithTheLastWorkerThatUsesIt) {
    uint32 count = 0;
    const auto keep = [&] {
        auto* const record = const_cast<SCreateFile*>(Inspector::Record(handle));
        return Ref<SCreateFile>::Share(*record);
    };
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    ASSERT_EQ(Read(100, &count), VXC_STATUS_OK);
    // The end of the reader comes when it comes; only the seek is to run into its limit.
    Inspector::SetWaits(handle, kLimit, kLimit, VXC_INFINITE, kLimit);
    host.Hold(HostFunction::SetFilePointer, gate);
    LetTimeOut([&] { handle.SetFilePointer(10, 0); });
    const Ref<SCreateFile> stuckInASeek = keep();
    EXPECT_NE(stuckInASeek->transferBuffer.Size(), 0U);
    LetTimeOut([&] { EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT); });
    EXPECT_EQ(stuckInASeek->transferBuffer.Size(), 0U);
    gate.Open();
    Inspector::SetWaits(handle, kLimit, kLimit, kLimit, kLimit);

    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ASSERT_EQ(Read(100, &count), VXC_STATUS_OK);
    const Ref<SCreateFile> onADeadDisk = keep();
    SetDiskError(L'D');
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT);
    EXPECT_NE(onADeadDisk->transferBuffer.Size(), 0U);
}

TEST_F(SoftFileHandleLeftBehindTest, AFileThatIsNullIsNotClosed) {
    host.Table().pfnOpen = [](const wchar_t*, uint32, uint32*) -> void* { return nullptr; };
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    host.Fail(HostFunction::Read, 5);
    uint32 count = 0;
    EXPECT_EQ(Read(10, &count), VXC_STATUS_READ);
    LogCapture log;
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK) << "no close worker brings the code out again";
    EXPECT_FALSE(log.Contains(L"CloseFileThread"));
    EXPECT_EQ(log.Count(L"--delete m_pSCreateFile"), 2U);
    EXPECT_EQ(host.Calls(HostFunction::CloseFile), 0);
}
