// Which of its waits a file handle in thread mode keeps where, each with a length of its own.
#include "filehandle/ThreadFixture.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

using Inspector = SoftFileHandleInspector;

constexpr uint32 kOpenWait = 1001;
constexpr uint32 kWriteWait = 1002;
constexpr uint32 kReadWait = 1003;
constexpr uint32 kSeekWait = 1004;

class WaitsTest : public HungTest {
protected:
    // A file of a share, on which every close waits; its next call of `function` hangs.
    void OpenAndHold(HostFunction function, uint32 access = VXC_GENERIC_READ | VXC_GENERIC_WRITE) {
        gate.Close();
        ASSERT_EQ(Open(kShared, access), VXC_STATUS_OK);
        Inspector::SetWaits(handle, kOpenWait, kWriteWait, kReadWait, kSeekWait);
        host.Hold(function, gate);
    }
    void CloseTimesOut(uint32 limit) {
        LetTimeOut([&] { EXPECT_EQ(handle.CloseFileHandle(), VXC_STATUS_TIME_OUT); }, limit);
        gate.Open();
    }

    uint32 count = 0;
};

} // namespace

TEST_F(WaitsTest, ReadsAndTheEndOfTheirWorker) {
    OpenAndHold(HostFunction::Read);
    LetTimeOut([&] { Read(10, &count); }, kReadWait);
    CloseTimesOut(kReadWait);
}

TEST_F(WaitsTest, WritesAndTheEndOfTheirWorker) {
    OpenAndHold(HostFunction::Write);
    LetTimeOut([&] { handle.WriteFile(buffer.data(), 10, &count, nullptr); }, kWriteWait);
    CloseTimesOut(kWriteWait);
}

TEST_F(WaitsTest, SeeksAndTheEndOfTheirWorker) {
    OpenAndHold(HostFunction::SetFilePointer);
    LetTimeOut([&] { handle.SetFilePointer(5, VXC_FILE_BEGIN); }, kSeekWait);
    CloseTimesOut(kSeekWait);
}

TEST_F(WaitsTest, CutsAndTheEndOfALateOne) {
    OpenAndHold(HostFunction::SetEndofFile);
    LetTimeOut([&] { handle.SetEndofFile(); }, kOpenWait);
    CloseTimesOut(kReadWait);
}

TEST_F(WaitsTest, SizesAndTheEndOfALateOne) {
    OpenAndHold(HostFunction::GetFileSize);
    LetTimeOut([&] { handle.GetFileSize(); }, kOpenWait);
    CloseTimesOut(kReadWait);
}

TEST_F(WaitsTest, Closes) {
    OpenAndHold(HostFunction::CloseFile);
    CloseTimesOut(kOpenWait);
}

TEST_F(WaitsTest, OpensAndTheEndOfALateOne) {
    Inspector::SetWaits(handle, kOpenWait, kWriteWait, kReadWait, kSeekWait);
    host.Hold(HostFunction::Open, gate);
    LetTimeOut([&] { EXPECT_EQ(Open(kShared), VXC_STATUS_TIME_OUT); }, kLimit);
    CloseTimesOut(kLimit);
}

TEST_F(WaitsTest, EveryOpenTakesTheLimitOfItsTime) {
    const TimeOuts later(700, 800);
    host.Hold(HostFunction::Open, gate, 1, true);
    LetTimeOut([&] { EXPECT_EQ(Open(), VXC_STATUS_TIME_OUT); }, 700);
    EXPECT_EQ(Inspector::ReadWait(handle), kLimit) << "the others are those of the construction";
    handle.CloseFileHandle();
    drive.Heal();
    gate.Open();
    gate.Close();
    LetTimeOut([&] { EXPECT_EQ(Open(kName, VXC_GENERIC_WRITE), VXC_STATUS_TIME_OUT); }, 800);
}
