// Reads, writes, seeks and cuts of a file handle in direct mode.
#include "filehandle/HandleFixture.h"

#include <gmock/gmock.h>

#include <algorithm>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {
using SoftFileHandleTransferTest = HandleTransferTest;
} // namespace

TEST_F(SoftFileHandleTransferTest, ReadOfZeroBytesReturnsTheStatusAndTouchesNothing) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    SoftFileHandleInspector::SetStatus(handle, VXC_STATUS_READ);
    FaultPlan plan;
    uint32 count = 9;
    EXPECT_EQ(Read(0, &count), VXC_STATUS_READ);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(plan.Calls(), 0);
}

TEST_F(SoftFileHandleTransferTest, WriteOfZeroBytesReturnsZeroEvenAfterAnError) {
    ASSERT_EQ(OpenReadWrite(handle, Clip()), VXC_STATUS_OK);
    SoftFileHandleInspector::SetStatus(handle, VXC_STATUS_WRITE);
    FaultPlan plan;
    uint32 count = 9;
    EXPECT_EQ(handle.WriteFile(buffer.data(), 0, &count, nullptr), VXC_STATUS_OK);
    EXPECT_EQ(count, 9U);
    EXPECT_EQ(plan.Calls(), 0);
}

TEST_F(SoftFileHandleTransferTest, ShortReadAtTheEndIsASuccess) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    ASSERT_EQ(handle.SetFilePointer(kSize - 5, 0), int64{kSize - 5});
    uint32 count = 0;
    EXPECT_EQ(Read(10, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 5U);
    EXPECT_EQ(Read(10, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 0U);
}

TEST_F(SoftFileHandleTransferTest, TheCountMayBeLeftOut) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    EXPECT_EQ(handle.ReadFile(buffer.data(), 8, nullptr, nullptr), VXC_STATUS_OK);
    EXPECT_TRUE(std::equal(content.begin(), content.begin() + 8, buffer.begin()));
}

TEST_F(SoftFileHandleTransferTest, ReadsMoveAKnownPositionAndLeaveAnUnknownOne) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    Read(100);
    EXPECT_EQ(KnownPosition(), kUnknownPosition);
    handle.SetFilePointer(100, 0);
    Read(50);
    EXPECT_EQ(KnownPosition(), 150U);
}

TEST_F(SoftFileHandleTransferTest, FailedReadIsLoggedAndSticksWhileLaterCountsAreTrue) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    handle.SetFilePointer(100, 0);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_ReadFile).WithError(VXC_ERROR_IO_DEVICE));
    LogCapture log;
    uint32 count = 9;
    EXPECT_EQ(Read(64, &count), VXC_STATUS_READ);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(KnownPosition(), kUnknownPosition);
    wchar_t address[16];
    std::swprintf(address, 16, L"%x", static_cast<uint32>(reinterpret_cast<std::uintptr_t>(buffer.data())));
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                ElementsAre(L"ReadFile(nNumberOfBytes=64) error, FileName is[" + Clip() +
                            L"], Description is[injected error], lpBuffer is[0x" + address + L"]"));
    // The old error comes with a full count; size and cut stay stopped.
    EXPECT_EQ(Read(64, &count), VXC_STATUS_READ);
    EXPECT_EQ(count, 64U);
    EXPECT_EQ(handle.GetFileSize(), 0U);
    EXPECT_EQ(handle.SetFilePointer(200, 0), 200); // seeks go on
}

TEST_F(SoftFileHandleTransferTest, AnOverlappedPointerReachesTheSystem) {
    ASSERT_EQ(OpenReadWrite(handle, Clip()), VXC_STATUS_OK);
    // The system has no such transfer and refuses it.
    uint8 place = 0;
    auto* const overlapped = reinterpret_cast<_VXC_OVERLAPPED*>(&place);
    uint32 count = 9;
    EXPECT_EQ(handle.ReadFile(buffer.data(), 10, &count, overlapped), VXC_STATUS_READ);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(handle.WriteFile(buffer.data(), 10, &count, overlapped), VXC_STATUS_WRITE);
    EXPECT_EQ(count, 0U);
}

TEST_F(SoftFileHandleTransferTest, CutAfterAFailedReadDoesNothing) {
    ASSERT_EQ(OpenReadWrite(handle, Clip()), VXC_STATUS_OK);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_ReadFile));
    Read(64);
    handle.SetEndofFile();
    EXPECT_EQ(plan.Calls(Op::VXC_SetEndOfFile), 0);
    EXPECT_EQ(Read(0), VXC_STATUS_READ);
}

TEST_F(SoftFileHandleTransferTest, CutEndsTheFileAtThePointerAndForgetsThePosition) {
    ASSERT_EQ(OpenReadWrite(handle, Clip()), VXC_STATUS_OK);
    handle.SetFilePointer(1234, 0);
    handle.SetEndofFile();
    EXPECT_EQ(KnownPosition(), kUnknownPosition);
    EXPECT_EQ(handle.GetFileSize(), 1234U);
}

TEST_F(SoftFileHandleTransferTest, FailedCutLeavesNoStatus) {
    ASSERT_EQ(OpenReadWrite(handle, Clip()), VXC_STATUS_OK);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_SetEndOfFile));
    handle.SetEndofFile();
    EXPECT_EQ(plan.Fired(), 1);
    EXPECT_EQ(Read(0), VXC_STATUS_OK);
    EXPECT_EQ(KnownPosition(), kUnknownPosition);
}

TEST_F(SoftFileHandleTransferTest, WritesMoveAKnownPosition) {
    ASSERT_EQ(OpenReadWrite(handle, folder.Wide("new")), VXC_STATUS_OK);
    handle.SetFilePointer(0, 0);
    uint32 count = 0;
    EXPECT_EQ(handle.WriteFile(content.data(), 500, &count, nullptr), VXC_STATUS_OK);
    EXPECT_EQ(count, 500U);
    EXPECT_EQ(KnownPosition(), 500U);
    EXPECT_EQ(handle.WriteFile(content.data() + 500, 10, nullptr, nullptr), VXC_STATUS_OK);
    EXPECT_EQ(handle.GetFileSize(), 510U);
    handle.CloseFileHandle();
    const std::string written = folder.Read("new");
    EXPECT_TRUE(std::equal(written.begin(), written.end(), content.begin(),
                           [](char a, uint8 b) { return static_cast<uint8>(a) == b; }));
}

TEST_F(SoftFileHandleTransferTest, ShortWriteIsAFailureWithItsCount) {
    ASSERT_EQ(OpenReadWrite(handle, folder.Wide("new")), VXC_STATUS_OK);
    handle.SetFilePointer(0, 0);
    FaultPlan plan;
    plan.Add(CutShort(Op::VXC_WriteFile, 300));
    LogCapture log;
    uint32 count = 0;
    EXPECT_EQ(handle.WriteFile(content.data(), 500, &count, nullptr), VXC_STATUS_WRITE);
    EXPECT_EQ(count, 300U);
    EXPECT_EQ(KnownPosition(), kUnknownPosition);
    const auto errors = log.Texts(INFOTYPE_ERROR);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(
        errors[0].rfind(L"WriteFile(nNumberOfBytesToWrite[500] != nNumberOfBytesWritten[300]) error--", 0),
        0U);
}

TEST_F(SoftFileHandleTransferTest, FailedWriteIsLoggedWithTheSystemsText) {
    ASSERT_EQ(OpenReadWrite(handle, folder.Wide("new")), VXC_STATUS_OK);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_WriteFile).WithError(VXC_ERROR_DISK_FULL));
    LogCapture log;
    uint32 count = 9;
    EXPECT_EQ(handle.WriteFile(content.data(), 500, &count, nullptr), VXC_STATUS_WRITE);
    EXPECT_EQ(count, 0U);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                ElementsAre(L"WriteFile(nNumberOfBytesToWrite[500] != nNumberOfBytesWritten[0]) "
                            L"error--injected error"));
    // A later good write does not clear the status, nor does it make the position known.
    EXPECT_EQ(handle.WriteFile(content.data(), 500, &count, nullptr), VXC_STATUS_WRITE);
    EXPECT_EQ(count, 500U);
    EXPECT_EQ(KnownPosition(), kUnknownPosition);
}

TEST_F(SoftFileHandleTransferTest, SeekToZeroAlwaysReachesTheSystem) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    FaultPlan plan;
    EXPECT_EQ(handle.SetFilePointer(0, 0), 0);
    EXPECT_EQ(handle.SetFilePointer(0, 0), 0);
    EXPECT_EQ(plan.Calls(Op::VXC_SetFilePointer), 2);
}

TEST_F(SoftFileHandleTransferTest, SeekToTheKnownPositionCostsNoCall) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    FaultPlan plan;
    EXPECT_EQ(handle.SetFilePointer(4096, 0), 4096);
    EXPECT_EQ(handle.SetFilePointer(4096, 0), 4096);
    EXPECT_EQ(plan.Calls(Op::VXC_SetFilePointer), 1);
    Read(100);
    EXPECT_EQ(handle.SetFilePointer(4196, 0), 4196);
    EXPECT_EQ(plan.Calls(Op::VXC_SetFilePointer), 1);
    // Only an absolute seek is short.
    EXPECT_EQ(handle.SetFilePointer(0, 1), 4196);
    EXPECT_EQ(plan.Calls(Op::VXC_SetFilePointer), 2);
}

TEST_F(SoftFileHandleTransferTest, SeeksFromAllThreeOrigins) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    EXPECT_EQ(handle.SetFilePointer(10, 0), 10);
    EXPECT_EQ(handle.SetFilePointer(10, 1), 20);
    EXPECT_EQ(handle.SetFilePointer(static_cast<uint64>(-13), 1), 7);
    EXPECT_EQ(handle.SetFilePointer(static_cast<uint64>(-1), 2), int64{kSize - 1});
    EXPECT_EQ(handle.SetFilePointer(uint64{5} << 32 | 17, 0), int64{5} << 32 | 17);
}

TEST_F(SoftFileHandleTransferTest, AfterAFailedSeekTheSamePositionReachesTheSystem) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    handle.SetFilePointer(4096, 0);
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_SetFilePointer).WithError(VXC_ERROR_IO_DEVICE));
    LogCapture log;
    EXPECT_EQ(handle.SetFilePointer(5000, 0), -1);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                ElementsAre(L":SetFilePointer(injected error) error, pos is 5000"));
    EXPECT_EQ(handle.SetFilePointer(4096, 0), 4096);
    EXPECT_EQ(plan.Calls(Op::VXC_SetFilePointer), 2);
    EXPECT_EQ(Read(0), VXC_STATUS_OK); // the status never told of it
}

TEST_F(SoftFileHandleTransferTest, AnUnknownPositionIsNeverTakenForTheOneSought) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    FaultPlan plan;
    EXPECT_EQ(handle.SetFilePointer(kUnknownPosition, 0), -1);
    EXPECT_EQ(KnownPosition(), kUnknownPosition);
    EXPECT_EQ(handle.SetFilePointer(kUnknownPosition, 0), -1);
    EXPECT_EQ(plan.Calls(Op::VXC_SetFilePointer), 2);
}

TEST_F(SoftFileHandleTransferTest, NegativePositionsFail) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    EXPECT_EQ(handle.SetFilePointer(static_cast<uint64>(-1), 0), -1);
    EXPECT_EQ(handle.SetFilePointer(static_cast<uint64>(-20), 1), -1);
}

TEST_F(SoftFileHandleTransferTest, PositionWhoseLowHalfIsAllOnesIsNoFailure) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    EXPECT_EQ(handle.SetFilePointer(0xFFFFFFFFU, 0), int64{0xFFFFFFFF});
    EXPECT_EQ(KnownPosition(), 0xFFFFFFFFU);
}
