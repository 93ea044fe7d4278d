// Thread mode of a file handle: blocks, writes, and a host's own functions on the workers.
#include "filehandle/ThreadFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

using ThreadTransferTest = ThreadTest;
using ThreadHostTest = HungTest;

} // namespace

TEST_F(ThreadTransferTest, ReadBlockHandsItsOwnMemoryToTheWorkerAndGetsItBack) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    AlignedBuffer block(8192, 4096);
    const uint8* const memory = block.Data();
    uint32 count = 0;
    EXPECT_EQ(threaded.ReadBlock(block, 8192, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 8192U);
    EXPECT_EQ(block.Data(), memory);
    EXPECT_EQ(block.Size(), 8192U);
    EXPECT_EQ(std::vector<uint8>(memory, memory + 8192), Bytes(0, 8192));
    EXPECT_EQ(Record().transferBuffer.Size(), 0U);
    EXPECT_EQ(Record().qwPosition, kUnknownPosition);
    EXPECT_EQ(threaded.ReadBlock(block, 8192, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, kSize - 8192U);
}

TEST_F(ThreadTransferTest, ReadBlockRefusesABlockThatIsTooSmall) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    FaultPlan plan;
    for (CQLSoftFileHandle* const one : {&threaded, &handle}) {
        AlignedBuffer block(100, 0);
        AlignedBuffer none;
        uint32 count = 9;
        EXPECT_EQ(one->ReadBlock(block, 101, &count), VXC_STATUS_READ);
        EXPECT_EQ(count, 0U);
        EXPECT_EQ(one->ReadBlock(none, 1, &count), VXC_STATUS_READ);
        EXPECT_EQ(one->ReadBlock(none, 0, &count), VXC_STATUS_OK);
    }
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 0);
}

TEST_F(ThreadTransferTest, ReadBlockOfADirectHandleReadsIntoTheBlock) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    AlignedBuffer block(200, 0);
    uint32 count = 0;
    EXPECT_EQ(handle.ReadBlock(block, 200, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 200U);
    EXPECT_EQ(std::vector<uint8>(block.Data(), block.Data() + 200), Bytes(0, 200));
}

TEST_F(ThreadTransferTest, UnbufferedReadsNeedNoOtherMemory) {
    ASSERT_EQ(Open(VXC_GENERIC_READ, VXC_FILE_FLAG_NO_BUFFERING), VXC_STATUS_OK);
    uint32 count = 0;
    EXPECT_EQ(Read(8192, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 8192U);
    EXPECT_EQ(std::vector<uint8>(buffer.begin(), buffer.begin() + 8192), Bytes(0, 8192));
}

TEST_F(ThreadTransferTest, AWriteDoesNotMoveTheKnownPosition) {
    ASSERT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    threaded.SetFilePointer(500, VXC_FILE_BEGIN);
    const std::vector<uint8> four = {1, 2, 3, 4};
    uint32 count = 0;
    EXPECT_EQ(threaded.WriteFile(four.data(), 4, &count, nullptr), VXC_STATUS_OK);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(Record().qwPosition, 500U);
    // So a seek back is taken for one that is not needed; one by 0 tells where the file stands.
    EXPECT_EQ(threaded.SetFilePointer(500, VXC_FILE_BEGIN), 500);
    EXPECT_EQ(threaded.SetFilePointer(0, VXC_FILE_CURRENT), 504);
    EXPECT_EQ(threaded.SetFilePointer(500, VXC_FILE_BEGIN), 500);
    Read(4);
    EXPECT_EQ(std::vector<uint8>(buffer.begin(), buffer.begin() + 4), four);
}

TEST_F(ThreadTransferTest, AShortWriteIsAFailure) {
    ASSERT_EQ(Open(VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    FaultPlan plan;
    plan.Add(CutShort(Op::VXC_WriteFile, 3));
    LogCapture log;
    uint32 count = 0;
    EXPECT_EQ(threaded.WriteFile(buffer.data(), 10, &count, nullptr), VXC_STATUS_WRITE);
    EXPECT_EQ(count, 3U);
    ASSERT_EQ(log.Texts(INFOTYPE_ERROR).size(), 1U);
    EXPECT_TRUE(log.Contains(L"WriteFile(nNumberOfBytesToWrite[10] != nNumberOfBytesWritten[3]) error--"));
    plan.Add(Fail(Op::VXC_WriteFile));
    EXPECT_EQ(threaded.WriteFile(buffer.data(), 10, &count, nullptr), VXC_STATUS_WRITE);
    EXPECT_EQ(count, 0U) << "not the count of the write before";
    EXPECT_EQ(threaded.WriteFile(buffer.data(), 10, &count, nullptr), VXC_STATUS_OK);
    count = 9;
    EXPECT_EQ(threaded.WriteFile(buffer.data(), 0, &count, nullptr), VXC_STATUS_OK);
    EXPECT_EQ(threaded.WriteFile(buffer.data(), 1, nullptr, nullptr), VXC_STATUS_OK);
}

TEST_F(ThreadHostTest, AHostsFunctionsRunOnWorkersWithTheLogsOfDirectMode) {
    LogCapture log;
    ASSERT_EQ(Open(kShared, VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    EXPECT_TRUE(log.Contains(L"will IOCallbackSet->pfnOpen(\\\\server\\clip.mxf, 0)"));
    host.FreeTable();
    uint32 count = 0;
    EXPECT_EQ(handle.SetFilePointer(10, VXC_FILE_BEGIN), 10);
    EXPECT_EQ(Read(10, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 10U);
    EXPECT_EQ(handle.WriteFile(buffer.data(), 10, &count, nullptr), VXC_STATUS_OK);
    EXPECT_EQ(handle.SetFilePointer(500, VXC_FILE_BEGIN), 500);
    handle.SetEndofFile();
    EXPECT_EQ(handle.GetFileSize(), 500U);
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_THAT(host.Order(),
                ElementsAre(HostFunction::Open, HostFunction::SetFilePointer, HostFunction::Read,
                            HostFunction::Write, HostFunction::SetFilePointer, HostFunction::SetEndofFile,
                            HostFunction::GetFileSize, HostFunction::CloseFile));
    for (const HostCall& call : host.Log()) {
        EXPECT_NE(call.thread, std::this_thread::get_id()) << HostFunctionName(call.function);
    }
    EXPECT_TRUE(log.Contains(L"will IOCallbackSet->pfnCloseFile(0x"));
    EXPECT_FALSE(log.Contains(L"--CloseHandle()"));
}

TEST_F(ThreadHostTest, AHostsErrorsAreLoggedWithTheirTexts) {
    ASSERT_EQ(Open(kShared, VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    LogCapture log;
    uint32 count = 0;
    host.Fail(HostFunction::Read, 5);
    EXPECT_EQ(Read(10, &count), VXC_STATUS_READ);
    EXPECT_TRUE(log.Contains(L"IOCallbackSet->pfnRead return Err host error 5"));
    host.Fail(HostFunction::Write, 6);
    EXPECT_EQ(handle.WriteFile(buffer.data(), 10, &count, nullptr), VXC_STATUS_WRITE);
    EXPECT_TRUE(log.Contains(L"IOCallbackSet->pfnWrite return Err host error 6"));
    host.Fail(HostFunction::SetFilePointer, 7);
    EXPECT_EQ(handle.SetFilePointer(5, VXC_FILE_BEGIN), -1);
    EXPECT_TRUE(log.Contains(L"IOCallbackSet->pfnSetFilePointer return Err host error 7"));
    EXPECT_EQ(Status(), VXC_STATUS_READ);
    // An error number beside a position that is good is logged and no more.
    host.FailAfterEffect(HostFunction::SetFilePointer, 8);
    EXPECT_EQ(handle.SetFilePointer(5, VXC_FILE_BEGIN), 5);
    EXPECT_EQ(Status(), VXC_STATUS_OK);
    host.FailAfterEffect(HostFunction::SetEndofFile, 9);
    handle.SetEndofFile();
    EXPECT_TRUE(log.Contains(L"IOCallbackSet->pfnSetEndofFile return Err host error 9"));
    EXPECT_EQ(Status(), VXC_STATUS_OK);
    host.Fail(HostFunction::GetFileSize, 10);
    EXPECT_EQ(handle.GetFileSize(), 0U);
    EXPECT_TRUE(log.Contains(L"IOCallbackSet->pfnGetFileSize return Err host error 10"));
}

TEST_F(ThreadHostTest, ACountThatClaimsTooMuchIsHeldAgainstTheRequest) {
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    host.ClaimMore(1'000'000);
    uint32 count = 0;
    EXPECT_EQ(Read(100, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 100U);
    EXPECT_EQ(buffer[100], 0xEE);
}

TEST_F(ThreadHostTest, ATableThatCannotBeReadIsAFailedOpen) {
    const std::wstring wild = ADDVXCIOID(kShared, reinterpret_cast<void*>(8)).c_str();
    EXPECT_EQ(OpenThreaded(handle, wild), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OPEN_READ);
}

TEST_F(ThreadHostTest, AHostThatThrowsFailsTheOperationAlone) {
    host.Table().pfnRead = [](void*, void*, uint32, uint32*) -> uint64 { throw std::runtime_error("no"); };
    host.Table().pfnGetFileSize = [](void*, uint32*) -> uint64 { throw std::runtime_error("no"); };
    host.Table().pfnSetFilePointer = [](void*, uint32, int32*, uint32, uint32*) -> uint32 {
        throw std::runtime_error("no");
    };
    host.Table().pfnCloseFile = [](void*) -> uint64 { throw std::runtime_error("no"); };
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    uint32 count = 9;
    EXPECT_EQ(handle.GetFileSize(), 0U);
    EXPECT_EQ(Read(10, &count), VXC_STATUS_READ);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(handle.SetFilePointer(5, VXC_FILE_BEGIN), -1);
    handle.CloseFileHandle();
    host.Table().pfnOpen = [](const wchar_t*, uint32, uint32*) -> void* { throw std::runtime_error("no"); };
    EXPECT_EQ(Open(kShared), VXC_STATUS_OPEN_READ);
}

TEST_F(ThreadHostTest, LargeReadsFollowEachOtherAndTheLimitCountsAsForOthers) {
    constexpr uint32 kLarge = 0x10000;
    constexpr int kReads = 500;
    constexpr const wchar_t* kLargeName = L"\\\\server\\large.mxf";
    const std::vector<uint8> content = Pattern(4 * kLarge, 9);
    host.AddFile(kLargeName, content);
    ASSERT_EQ(Open(kLargeName), VXC_STATUS_OK);
    std::vector<uint8> large(kLarge);
    uint32 count = 0;
    const auto read = [&] { return handle.ReadFile(large.data(), kLarge, &count, nullptr); };
    for (int i = 0; i < kReads; ++i) {
        const auto part = static_cast<std::ptrdiff_t>(kLarge) * (i % 4);
        handle.SetFilePointer(static_cast<uint64>(part), VXC_FILE_BEGIN);
        ASSERT_EQ(read(), VXC_STATUS_OK);
        ASSERT_EQ(count, kLarge);
        ASSERT_TRUE(std::equal(large.begin(), large.end(), content.begin() + part)) << i;
    }
    handle.SetFilePointer(kLarge, VXC_FILE_BEGIN);
    host.Hold(HostFunction::Read, gate);
    LetTimeOut([&] { EXPECT_EQ(read(), VXC_STATUS_TIME_OUT); });
    EXPECT_EQ(count, 0U);
}
