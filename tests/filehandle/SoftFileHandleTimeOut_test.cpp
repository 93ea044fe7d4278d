// What each operation of a file handle gives, logs and marks when its worker does not answer in time.
#include "filehandle/ThreadFixture.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

using SoftFileHandleTimeOutTest = HungTest;
using Inspector = SoftFileHandleInspector;

} // namespace

TEST_F(SoftFileHandleTimeOutTest, Open) {
    host.Hold(HostFunction::Open, gate);
    LogCapture log;
    LetTimeOut([&] { EXPECT_EQ(Open(), VXC_STATUS_TIME_OUT); });
    EXPECT_THAT(clock.Waits(), ElementsAre(kLimit));
    const std::wstring told = L"CQLSoftFileHandle::CreateFile(D:\\clip.mxf) Time Out!!!, WaitTime: 5000 ms\n";
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), ElementsAre(told));
    EXPECT_THAT(log.Texts(),
                ElementsAre(L"CQLSoftFileHandle::CreateFile(D:\\clip.mxf) is Double Thread Mode",
                            L"will IOCallbackSet->pfnOpen(D:\\clip.mxf, 0)", told, L"SetDiskError(D)"));
    EXPECT_TRUE(drive.IsMarked());
    EXPECT_EQ(handle.SetFilePointer(5, 0), -1);
    EXPECT_EQ(handle.GetFileSize(), 0U);
}

TEST_F(SoftFileHandleTimeOutTest, OpenForWriteAccessHasALimitOfItsOwn) {
    host.Hold(HostFunction::Open, gate);
    LogCapture log;
    LetTimeOut([&] { EXPECT_EQ(Open(kName, VXC_GENERIC_WRITE), VXC_STATUS_TIME_OUT); }, kLimit + 1);
    EXPECT_TRUE(log.Contains(L"WaitTime: 5001 ms"));
}

TEST_F(SoftFileHandleTimeOutTest, ReadTimesOutAndCallerBufferStaysUntouched) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    host.Hold(HostFunction::Read, gate);
    LogCapture log;
    uint32 count = 9;
    LetTimeOut([&] { EXPECT_EQ(Read(100, &count), VXC_STATUS_TIME_OUT); });
    EXPECT_EQ(count, 0U);
    EXPECT_THAT(log.Texts(), ElementsAre(L"CQLSoftFileHandle::ReadFile(D:\\clip.mxf) Time out, WaitTime is "
                                         L"5000 ms !!!",
                                         L"SetDiskError(D)"));
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR).size(), 1U);
    EXPECT_EQ(Inspector::Record(handle)->dwStatus, VXC_STATUS_TIME_OUT);
    // The late bytes land elsewhere.
    gate.Open();
    handle.CloseFileHandle();
    EXPECT_EQ(buffer, std::vector<uint8>(kSize, 0xEE));
}

TEST_F(SoftFileHandleTimeOutTest, AnAnswerThatIsThereButNotYetToldWhenTheLimitPassesIsInTime) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    host.Hold(HostFunction::Read, gate);
    uint32 count = 0;
    LogCapture log;
    FaultPlan plan;
    Gate signal;
    std::thread caller([&] { EXPECT_EQ(Read(100, &count), VXC_STATUS_OK); });
    ASSERT_TRUE(gate.WaitUntilReached());
    ASSERT_TRUE(clock.WaitForSleepers(1));
    plan.Add(Hold(Op::VXC_SetEvent, signal));
    gate.Open();
    ASSERT_TRUE(signal.WaitUntilReached());
    EXPECT_EQ(clock.Advance(kLimit), 1);
    caller.join();
    EXPECT_EQ(count, 100U);
    EXPECT_FALSE(drive.IsMarked());
    EXPECT_TRUE(log.Lines().empty());

    // Its late signal is not taken for that of the next answer.
    gate.Close();
    host.Hold(HostFunction::Read, gate);
    caller = std::thread([&] { EXPECT_EQ(Read(100, &count), VXC_STATUS_OK); });
    ASSERT_TRUE(clock.WaitForSleepers(1));
    const int begun = clock.Begun();
    signal.Open();
    ASSERT_TRUE(clock.WaitForBegun(begun + 1));
    gate.Open();
    caller.join();
    EXPECT_EQ(count, 100U);
}

TEST_F(SoftFileHandleTimeOutTest, ReadBlockLeavesItsMemoryToTheWorker) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    host.Hold(HostFunction::Read, gate);
    AlignedBuffer block(4096, 4096);
    uint32 count = 9;
    LetTimeOut([&] { EXPECT_EQ(handle.ReadBlock(block, 100, &count), VXC_STATUS_TIME_OUT); });
    EXPECT_EQ(count, 0U);
    EXPECT_FALSE(block);
    EXPECT_EQ(block.Size(), 0U);
}

TEST_F(SoftFileHandleTimeOutTest, Write) {
    ASSERT_EQ(Open(kName, VXC_GENERIC_WRITE), VXC_STATUS_OK);
    host.Hold(HostFunction::Write, gate);
    LogCapture log;
    uint32 count = 9;
    LetTimeOut(
        [&] { EXPECT_EQ(handle.WriteFile(buffer.data(), 100, &count, nullptr), VXC_STATUS_TIME_OUT); });
    EXPECT_EQ(count, 0U);
    EXPECT_THAT(log.Texts(),
                ElementsAre(L"SetDiskError(D)",
                            L"CQLSoftFileHandle::WriteFile(D:\\clip.mxf) Time out !!!(wait time:5000 ms)"));
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR).size(), 1U);
    count = 9;
    EXPECT_EQ(handle.WriteFile(buffer.data(), 100, &count, nullptr), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(count, 9U) << "stopped before it touches anything";
}

TEST_F(SoftFileHandleTimeOutTest, TheLateWriteTakesTheBytesOfItsTime) {
    ASSERT_EQ(Open(kShared, VXC_GENERIC_WRITE), VXC_STATUS_OK);
    host.Hold(HostFunction::Write, gate);
    uint32 count = 9;
    LetTimeOut([&] { handle.WriteFile(buffer.data(), 100, &count, nullptr); });
    std::fill(buffer.begin(), buffer.end(), uint8{0x11});
    gate.Open();
    handle.CloseFileHandle();
    const std::vector<uint8> content = host.Content(kShared);
    EXPECT_EQ(std::vector<uint8>(content.begin(), content.begin() + 100), std::vector<uint8>(100, 0xEE));
}

TEST_F(SoftFileHandleTimeOutTest, SeekGivesThePositionAskedForAndOnlyTheStatusTells) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    host.Hold(HostFunction::SetFilePointer, gate);
    LogCapture log;
    LetTimeOut([&] { EXPECT_EQ(handle.SetFilePointer(0x1FFFFFFFFU, VXC_FILE_BEGIN), 0x1FFFFFFFF); });
    EXPECT_THAT(
        log.Texts(),
        ElementsAre(L"SetDiskError(D)",
                    L"CQLSoftFileHandle::SetFilePointer(D:\\clip.mxf) Time out, Pos is:8589934591 !!!"));
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR).size(), 1U);
    EXPECT_EQ(Inspector::Record(handle)->qwPosition, 0x1FFFFFFFFU);
    EXPECT_EQ(Status(), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(handle.SetFilePointer(5, 0), -1);
    EXPECT_EQ(host.Calls(HostFunction::SetFilePointer), 1);
}

TEST_F(SoftFileHandleTimeOutTest, SetEndofFile) {
    ASSERT_EQ(Open(kName, VXC_GENERIC_WRITE), VXC_STATUS_OK);
    host.Hold(HostFunction::SetEndofFile, gate);
    LogCapture log;
    LetTimeOut([&] { handle.SetEndofFile(); }, kLimit + 1);
    EXPECT_THAT(log.Texts(), ElementsAre(L"SetDiskError(D)",
                                         L"CQLSoftFileHandle::SetEndofFile(D:\\clip.mxf) Time out !!!, "
                                         L"WaitTime is :5001 ms"));
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR).size(), 1U);
    EXPECT_EQ(Status(), VXC_STATUS_TIME_OUT);
}

TEST_F(SoftFileHandleTimeOutTest, GetFileSize) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    host.Hold(HostFunction::GetFileSize, gate);
    LogCapture log;
    LetTimeOut([&] { EXPECT_EQ(handle.GetFileSize(), 0U); });
    EXPECT_THAT(log.Texts(),
                ElementsAre(L"SetDiskError(D)", L"CQLSoftFileHandle::GetFileSize(D:\\clip.mxf) Time out !!!, "
                                                L"WaitTime is 5000 ms"));
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR).size(), 1U);
    EXPECT_EQ(Status(), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(handle.GetFileSize(), 0U);
    EXPECT_EQ(host.Calls(HostFunction::GetFileSize), 1);
}

TEST_F(SoftFileHandleTimeOutTest, Close) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    host.Hold(HostFunction::CloseFile, gate);
    LogCapture log;
    LetTimeOut([&] { EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT); });
    EXPECT_EQ(log.Texts(INFOTYPE_ERROR),
              std::vector<std::wstring>{L"CQLSoftFileHandle::CloseFileHandle(D:\\clip.mxf)--CloseHandle() "
                                        L"Time out !!!, WaitTime:5000 ms"});
    EXPECT_TRUE(drive.IsMarked());
    const std::vector<std::wstring> lines = log.Texts();
    ASSERT_EQ(lines.size(), 7U);
    EXPECT_EQ(lines[0], L"CQLSoftFileHandle::CloseFileHandle()--All Thread Quit\n");
    EXPECT_EQ(lines[3], L"SetDiskError(D)");
    EXPECT_EQ(lines[4], log.Texts(INFOTYPE_ERROR)[0]);
    // The record goes all the same, and the object is ready again.
    EXPECT_EQ(log.Count(L"--delete m_pSCreateFile"), 2U);
    EXPECT_EQ(Inspector::Record(handle), nullptr);
    EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_OK);
    gate.Open();
    EXPECT_TRUE(log.WaitFor(L"CloseFileThread(SCreateFile*:0x", 2));
    EXPECT_EQ(host.OpenHandles(), 0);
}

TEST_F(SoftFileHandleTimeOutTest, NamesWithoutALetterMarkNothing) {
    ASSERT_EQ(Open(kShared), VXC_STATUS_OK);
    LogCapture log;
    LoseARead();
    EXPECT_FALSE(log.Contains(L"SetDiskError"));
    EXPECT_TRUE(log.Contains(L"CQLSoftFileHandle::ReadFile(\\\\server\\clip.mxf) Time out"));
}

TEST_F(SoftFileHandleTimeOutTest, LaterOperationsOnTheDiskAreRefusedInTime) {
    CQLSoftFileHandle other;
    ASSERT_EQ(OpenThreaded(other, host.Tagged(), VXC_GENERIC_READ | VXC_GENERIC_WRITE), VXC_STATUS_OK);
    CQLSoftFileHandle third;
    ASSERT_EQ(OpenThreaded(third, host.Tagged()), VXC_STATUS_OK);
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    LoseARead();
    host.ClearLog();
    LogCapture log;
    EXPECT_EQ(third.GetFileSize(), 0U);
    EXPECT_EQ(log.Texts(INFOTYPE_TRACE),
              (std::vector<std::wstring>{
                  L"GetDiskError(D: Error) \n",
                  L"CQLSoftFileHandle::GetFileSizeThread() of D:\\clip.mxf , Find Disk Time out error"}));
    log.Clear();
    other.SetEndofFile();
    EXPECT_EQ(log.Texts(INFOTYPE_TRACE),
              (std::vector<std::wstring>{
                  L"GetDiskError(D: Error) \n",
                  L"CQLSoftFileHandle::SetEndofFileThread() of D:\\clip.mxf , Find Disk Time out error"}));
    EXPECT_EQ(Inspector::Record(other)->qwPosition, 0U);
    log.Clear();
    CQLSoftFileHandle fourth;
    EXPECT_EQ(OpenThreaded(fourth, host.Tagged()), VXC_STATUS_TIME_OUT);
    EXPECT_EQ(log.Texts(INFOTYPE_TRACE),
              (std::vector<std::wstring>{
                  L"CQLSoftFileHandle::CreateFile(D:\\clip.mxf) is Double Thread Mode",
                  L"GetDiskError(D: Error) \n",
                  L"CQLSoftFileHandle::CreateFileThread() of D:\\clip.mxf , Find Disk Time out error"}));
    log.Clear();
    // No worker of it is left: the close worker is asked, and refuses.
    EXPECT_EQ(fourth.CloseFileHandle(), VXC_STATUS_TIME_OUT);
    EXPECT_TRUE(log.Contains(L"CQLSoftFileHandle::CloseFileThread() of D:\\clip.mxf , Find Disk Time out "
                             L"error"));
    EXPECT_THAT(host.Order(), ElementsAre());
    // Direct mode asks nobody.
    EXPECT_EQ(OpenRead(fourth, host.Tagged()), VXC_STATUS_TIME_OUT) << "left by the close";
    EXPECT_THAT(host.Order(), ElementsAre(HostFunction::Open));
}

TEST_F(SoftFileHandleTimeOutTest, LongLivedWorkersDoNotAskTheFaultTable) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    SetDiskError(L'D');
    uint32 count = 0;
    EXPECT_EQ(handle.SetFilePointer(10, 0), 10);
    EXPECT_EQ(Read(100, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 100U);
    drive.Heal();
}

TEST_F(SoftFileHandleTimeOutTest, WithoutALimitTheCallerWaitsForAsLongAsItTakes) {
    const TimeOuts endless(VXC_INFINITE, VXC_INFINITE);
    CQLSoftFileHandle patient;
    ASSERT_EQ(OpenThreaded(patient, host.Tagged()), VXC_STATUS_OK);
    host.Hold(HostFunction::Read, gate);
    std::thread caller([&] {
        uint32 count = 0;
        EXPECT_EQ(patient.ReadFile(buffer.data(), 100, &count, nullptr), VXC_STATUS_OK);
        EXPECT_EQ(count, 100U);
    });
    EXPECT_TRUE(gate.WaitUntilReached());
    clock.Advance(uint64{1} << 33);
    gate.Open();
    caller.join();
    EXPECT_EQ(patient.CloseFileHandle(), VXC_STATUS_OK);
    EXPECT_TRUE(clock.Waits().empty());
    EXPECT_FALSE(drive.IsMarked());
}
