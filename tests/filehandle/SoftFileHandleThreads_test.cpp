// Thread mode of a file handle while everything answers: its workers, events, waits and log lines.
#include "filehandle/ThreadFixture.h"

#include <gmock/gmock.h>

#include <cwchar>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

using SoftFileHandleThreadsTest = ThreadTest;
using Inspector = SoftFileHandleInspector;

std::wstring Address(const void* pointer) {
    wchar_t text[16];
    std::swprintf(text, 16, L"0x%x", static_cast<uint32>(reinterpret_cast<std::uintptr_t>(pointer)));
    return text;
}

} // namespace

TEST_F(SoftFileHandleThreadsTest, OpensReadsSeeksTellsTheSizeAndCloses) {
    const NoLeakScope leaks;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(threaded.GetFileSize(), kSize);
    EXPECT_EQ(threaded.SetFilePointer(500, VXC_FILE_BEGIN), 500);
    uint32 count = 0;
    EXPECT_EQ(Read(100, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 100U);
    EXPECT_EQ(std::vector<uint8>(buffer.begin(), buffer.begin() + 100), Bytes(500, 100));
    EXPECT_EQ(Record().qwPosition, 600U);
    EXPECT_EQ(threaded.SetFilePointer(0, VXC_FILE_CURRENT), 600);
    EXPECT_EQ(threaded.SetFilePointer(0, VXC_FILE_END), kSize);
    EXPECT_EQ(Read(100, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleThreadsTest, AHandleHasNoThreadBeforeItsFirstReadWriteOrSeek) {
    ASSERT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    const NoLeakScope idle; // a thread that was only slow to end is gone when it looks
    FaultPlan plan;
    threaded.GetFileSize();
    EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 1);
    threaded.GetFileSize();
    EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 2) << "one for each call";
}

TEST_F(SoftFileHandleThreadsTest, LongLivedWorkersAreMadeOnceByTheFirstOfTheirKind) {
    ASSERT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    const NoLeakScope leaks;
    const int threads = ThreadCount();
    FaultPlan plan;
    uint32 count = 0;
    for (int i = 0; i < 3; ++i) {
        Read(10);
        EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 1);
        EXPECT_EQ(plan.Calls(Op::VXC_CreateEventW), 2);
    }
    for (int i = 0; i < 3; ++i) {
        threaded.WriteFile(buffer.data(), 10, &count, nullptr);
        EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 2);
        EXPECT_EQ(plan.Calls(Op::VXC_CreateEventW), 4);
    }
    for (int i = 0; i < 3; ++i) {
        threaded.SetFilePointer(0, VXC_FILE_BEGIN);
        EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 3);
        EXPECT_EQ(plan.Calls(Op::VXC_CreateEventW), 6);
    }
    EXPECT_GE(ThreadCount(), threads + 3);
    EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleThreadsTest, OpenLogsTheModeAndMakesTheQuitEventWhetherOrNotItWorked) {
    FaultPlan plan;
    LogCapture log;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_THAT(log.Texts(INFOTYPE_TRACE),
                ElementsAre(L"CQLSoftFileHandle::CreateFile(" + Clip() + L") is Double Thread Mode"));
    EXPECT_EQ(plan.Calls(Op::VXC_CreateEventW), 1);
    EXPECT_EQ(OpenThreaded(threaded, folder.Wide("missing")), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(plan.Calls(Op::VXC_CreateEventW), 2);
    EXPECT_EQ(Record().hFile, VXC_INVALID_HANDLE);
    EXPECT_EQ(OpenThreaded(threaded, folder.Wide("missing"), VXC_GENERIC_READ | VXC_GENERIC_WRITE),
              VXC_STATUS_OPEN_WRITE);
}

TEST_F(SoftFileHandleThreadsTest, CloseEndsTheWorkersThenClosesThenDeletes) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Read(10);
    threaded.SetFilePointer(0, VXC_FILE_BEGIN);
    const std::wstring record = L"(SCreateFile*:" + Address(&Record()) + L")";
    const std::wstring object = L"(this->" + Address(&threaded) + L")--delete m_pSCreateFile ";
    FaultPlan plan;
    LogCapture log;
    EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_THAT(log.Texts(), ElementsAre(L"CQLSoftFileHandle::CloseFileHandle()--All Thread Quit\n",
                                         L"CloseFileThread" + record + L" begin",
                                         L"CloseFileThread" + record + L"--CloseHandle() begin",
                                         L"CloseFileThread" + record + L"--CloseHandle() end",
                                         L"CloseFileThread" + record + L" end",
                                         L"CQLSoftFileHandle::CloseFileHandle" + object + L"begin",
                                         L"CQLSoftFileHandle::CloseFileHandle" + object + L"end"));
    EXPECT_EQ(log.Texts(INFOTYPE_TRACE).size(), 7U);
    // Two workers and the close worker; two pairs of events and the quit event.
    EXPECT_EQ(plan.Calls(Op::VXC_CloseHandle), 8);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
}

TEST_F(SoftFileHandleThreadsTest, AFailedOpenIsClosedByTheCloseWorkerAndItsCodeComesBack) {
    ASSERT_EQ(OpenThreaded(threaded, folder.Wide("missing")), VXC_STATUS_OPEN_READ);
    FaultPlan plan;
    LogCapture log;
    EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(plan.Calls(Op::VXC_CloseFile), 1);
    EXPECT_TRUE(log.Contains(L"CloseFileThread(SCreateFile*:"));
    EXPECT_EQ(Open(), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleThreadsTest, ASeekToTheKnownPositionSendsNoRequestAndClearsTheStatusAlone) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Read(10);
    ASSERT_EQ(threaded.SetFilePointer(100, VXC_FILE_BEGIN), 100);
    {
        FaultPlan plan;
        plan.Add(Fail(Op::VXC_ReadFile).WithError(VXC_ERROR_IO_DEVICE));
        EXPECT_EQ(Read(10), VXC_STATUS_READ);
        EXPECT_EQ(threaded.SetFilePointer(100, VXC_FILE_BEGIN), 100);
        EXPECT_EQ(plan.Calls(Op::VXC_SetFilePointer), 0);
    }
    EXPECT_EQ(Read(0), VXC_STATUS_OK);
    // The record kept the code, and the next size brings it out again.
    EXPECT_EQ(threaded.GetFileSize(), kSize);
    EXPECT_EQ(Read(0), VXC_STATUS_READ);
    EXPECT_EQ(threaded.GetFileSize(), 0U);
}

TEST_F(SoftFileHandleThreadsTest, TheShortcutAloneStartsTheSeekWorkerToo) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    threaded.SetFilePointer(100, VXC_FILE_BEGIN);
    const uint64 known = Record().qwPosition;
    CQLSoftFileHandle fresh;
    ASSERT_EQ(OpenThreaded(fresh, Clip()), VXC_STATUS_OK);
    const_cast<SCreateFile*>(Inspector::Record(fresh))->qwPosition = known;
    FaultPlan plan;
    EXPECT_EQ(fresh.SetFilePointer(known, VXC_FILE_BEGIN), static_cast<int64>(known));
    EXPECT_EQ(plan.Calls(Op::VXC_CreateThread), 1);
    EXPECT_EQ(plan.Calls(Op::VXC_SetEvent), 0);
}

TEST_F(SoftFileHandleThreadsTest, OnlyAnAbsoluteSeekIsShort) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(threaded.SetFilePointer(100, VXC_FILE_BEGIN), 100);
    EXPECT_EQ(threaded.SetFilePointer(100, VXC_FILE_CURRENT), 200);
    EXPECT_EQ(threaded.SetFilePointer(200, VXC_FILE_END), int64{kSize} + 200);
}

TEST_F(SoftFileHandleThreadsTest, ASeekToZeroReachesTheSystemEachTime) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan;
    EXPECT_EQ(threaded.SetFilePointer(0, VXC_FILE_BEGIN), 0);
    EXPECT_EQ(threaded.SetFilePointer(0, VXC_FILE_BEGIN), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_SetFilePointer), 2);
}

TEST_F(SoftFileHandleThreadsTest, AFailedSeekGivesMinusOneAndAStatus) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    threaded.SetFilePointer(100, VXC_FILE_BEGIN);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_SetFilePointer).WithError(VXC_ERROR_NEGATIVE_SEEK));
    LogCapture log;
    EXPECT_EQ(threaded.SetFilePointer(200, VXC_FILE_BEGIN), -1);
    ASSERT_EQ(log.Texts(INFOTYPE_TRACE).size(), 1U);
    EXPECT_TRUE(log.Contains(L"::SetFilePointer() error(injected error)"));
    EXPECT_EQ(Record().qwPosition, kUnknownPosition);
    EXPECT_EQ(Read(0), VXC_STATUS_READ);
    EXPECT_EQ(threaded.SetFilePointer(200, VXC_FILE_BEGIN), 200);
    EXPECT_EQ(Read(0), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleThreadsTest, APositionWhoseLowHalfIsAllOnesIsNoFailure) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    EXPECT_EQ(threaded.SetFilePointer(0x1FFFFFFFFU, VXC_FILE_BEGIN), 0x1FFFFFFFF);
    EXPECT_EQ(Record().qwPosition, 0x1FFFFFFFFU);
    EXPECT_EQ(Read(0), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleThreadsTest, AnUnknownPositionIsNeverTakenForTheOneSought) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan;
    EXPECT_EQ(threaded.SetFilePointer(kUnknownPosition, VXC_FILE_BEGIN), -1);
    EXPECT_EQ(plan.Calls(Op::VXC_SetFilePointer), 1);
    EXPECT_EQ(Read(0), VXC_STATUS_READ);
}

TEST_F(SoftFileHandleThreadsTest, AFailedReadTellsItsCountKeepsThePositionKnownAndIsForgottenByTheNext) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    threaded.SetFilePointer(100, VXC_FILE_BEGIN);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_ReadFile).WithError(VXC_ERROR_IO_DEVICE));
    LogCapture log;
    uint32 count = 9;
    EXPECT_EQ(Read(10, &count), VXC_STATUS_READ);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(log.Texts(INFOTYPE_TRACE),
              std::vector<std::wstring>{L"ReadFile(nNumberOfBytes=10) error, FileName is[" + Clip() +
                                        L"], Description is[injected error]"});
    EXPECT_EQ(Record().qwPosition, 100U);
    EXPECT_EQ(Read(10, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 10U);
}

TEST_F(SoftFileHandleThreadsTest, TheTransferBufferGrowsInWholeMiBAndIsUsedAgain) {
    ASSERT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    constexpr uint32 kMiB = 1 << 20;
    EXPECT_EQ(Record().transferBuffer.Size(), 0U);
    Read(kMiB - 1);
    EXPECT_EQ(Record().transferBuffer.Size(), kMiB);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(Record().transferBuffer.Data()) % 4096, 0U);
    Read(kMiB);
    EXPECT_EQ(Record().transferBuffer.Size(), kMiB) << "it fits as it is";
    ASSERT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    Read(kMiB);
    EXPECT_EQ(Record().transferBuffer.Size(), 2 * kMiB);
    const uint8* const memory = Record().transferBuffer.Data();
    Read(100);
    uint32 count = 0;
    threaded.WriteFile(buffer.data(), 100, &count, nullptr);
    EXPECT_EQ(Record().transferBuffer.Data(), memory);
    EXPECT_EQ(Record().transferBuffer.Size(), 2 * kMiB);
}

TEST_F(SoftFileHandleThreadsTest, TheLargestRequestThereIsFitsItsBuffer) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    uint32 count = 0;
    EXPECT_EQ(Read(0xFFFFFFFFU, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, kSize);
    EXPECT_EQ(Record().transferBuffer.Size(), std::size_t{1} << 32);
    EXPECT_EQ(std::vector<uint8>(buffer.begin(), buffer.begin() + kSize), content);
}

TEST_F(SoftFileHandleThreadsTest, SetEndofFileCutsAndLeavesTheKnownPosition) {
    ASSERT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    threaded.SetFilePointer(300, VXC_FILE_BEGIN);
    threaded.SetEndofFile();
    EXPECT_EQ(Record().qwPosition, 300U);
    EXPECT_EQ(threaded.GetFileSize(), 300U);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_SetEndOfFile));
    threaded.SetEndofFile();
    EXPECT_EQ(Read(0), VXC_STATUS_OK) << "as if it had worked";
    plan.Add(Fail(Op::VXC_ReadFile));
    Read(1);
    threaded.SetEndofFile();
    EXPECT_EQ(plan.Calls(Op::VXC_SetEndOfFile), 1) << "stopped by the status";
}

TEST_F(SoftFileHandleThreadsTest, ACutClearsTheCodeThatTheRecordKept) {
    ASSERT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    ASSERT_EQ(threaded.SetFilePointer(100, VXC_FILE_BEGIN), 100);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_ReadFile));
    EXPECT_EQ(Read(10), VXC_STATUS_READ);
    EXPECT_EQ(threaded.SetFilePointer(100, VXC_FILE_BEGIN), 100); // clears the status alone
    threaded.SetEndofFile();
    EXPECT_EQ(Read(0), VXC_STATUS_OK);
    EXPECT_EQ(threaded.GetFileSize(), 100U);
}

TEST_F(SoftFileHandleThreadsTest, AnErrorThatALaterRequestClearedDoesNotComeBackWithTheClose) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_ReadFile));
    EXPECT_EQ(Read(10), VXC_STATUS_READ);
    EXPECT_EQ(threaded.SetFilePointer(0, VXC_FILE_BEGIN), 0);
    EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OK);
}

TEST_F(SoftFileHandleThreadsTest, TheCloseTellsTheSeekWorkerByTheQuitEventAlone) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    threaded.SetFilePointer(100, VXC_FILE_BEGIN);
    {
        FaultPlan plan;
        EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OK);
        EXPECT_EQ(plan.Calls(Op::VXC_SetEvent), 1);
    }
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Read(10);
    FaultPlan plan;
    EXPECT_EQ(threaded.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_EQ(plan.Calls(Op::VXC_SetEvent), 2) << "a reader needs its request event too";
}

TEST_F(SoftFileHandleThreadsTest, AnAnswerJustBeforeTheLimitIsTaken) {
    TestClock clock;
    ASSERT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    FaultPlan plan;
    Gate gate;
    plan.Add(Hold(Op::VXC_GetFileSize, gate));
    std::thread caller([&] { EXPECT_EQ(threaded.GetFileSize(), kSize); });
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(clock.WaitForSleepers(1));
    EXPECT_EQ(clock.Advance(kLimit - 1), 0) << "not a moment before";
    gate.Open();
    caller.join();
}

TEST_F(SoftFileHandleThreadsTest, BitrateCountsReadsOfThisModeToo) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    TestClock clock;
    Module().EnableBitrateInfo = 1;
    LogCapture log;
    Read(1000);
    clock.Advance(1001);
    Read(1000);
    Module().EnableBitrateInfo = 0;
    EXPECT_TRUE(log.Contains(L":CQLSoftFileHandle::ReadFile():Bitrate = 0.00 Mbps, AvergeBitrate = 0.02 "
                             L"Mbps"));
}

TEST_F(SoftFileHandleThreadsTest, BitrateInfoLogsTheOpenOfThisModeToo) {
    Module().EnableBitrateInfo = 1;
    LogCapture log;
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    Module().EnableBitrateInfo = 0;
    EXPECT_TRUE(log.Contains(L"bFileHandle_Thread_Mode[1] End)"));
}
