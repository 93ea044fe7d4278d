// Repeat of short reads, over the system and over a host's own functions.
#include "filehandle/HandleFixture.h"

#include "support/HostTable.h"
#include "support/TestClock.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

using SoftFileHandleRepeatTest = HandleTransferTest;

class HostRepeatTest : public ::testing::Test {
protected:
    uint32 Open() {
        return handle.CreateFile(host.Tagged().c_str(), VXC_GENERIC_READ, 3, nullptr, VXC_OPEN_EXISTING, 0,
                                 nullptr, 0);
    }
    uint32 Read(uint32 bytes, uint32* count) { return handle.ReadFile(buffer.data(), bytes, count, nullptr); }

    HostTable host{L"host.mxf", Pattern(1000, 5)};
    CQLSoftFileHandle handle;
    std::vector<uint8> buffer = std::vector<uint8>(1000);
};

} // namespace

TEST_F(SoftFileHandleRepeatTest, SetRepeatGivesTheFormerValue) {
    EXPECT_EQ(handle.SetRepeat(5), 0U);
    EXPECT_EQ(handle.SetRepeat(0), 5U);
    EXPECT_EQ(handle.SetRepeat(1), 0U);
}

TEST_F(SoftFileHandleRepeatTest, ReadThatStaysShortIsTriedElevenTimesASecondApart) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    handle.SetRepeat(1);
    handle.SetFilePointer(kSize - 5, 0);
    TestClock clock;
    clock.AutoAdvance(true);
    FaultPlan plan;
    LogCapture log;
    uint32 count = 0;
    EXPECT_EQ(Read(10, &count), VXC_STATUS_OK);
    EXPECT_EQ(count, 5U);
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 11);
    EXPECT_EQ(clock.Sleeps(), std::vector<uint32>(10, 1000));
    EXPECT_EQ(log.Count(L"CQLSoftFileHandle::ReadFile() Repeat!\n"), 10U);
    EXPECT_EQ(log.Texts(INFOTYPE_TRACE).size(), 10U);
    EXPECT_EQ(KnownPosition(), kSize);
    EXPECT_EQ(std::vector<uint8>(buffer.begin(), buffer.begin() + 5), Bytes(kSize - 5, 5));
}

TEST_F(SoftFileHandleRepeatTest, RepeatEndsAsSoonAsTheReadIsWhole) {
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    handle.SetRepeat(1);
    handle.SetFilePointer(100, 0);
    TestClock clock;
    clock.AutoAdvance(true);
    FaultPlan plan;
    plan.Add(CutShort(Op::VXC_ReadFile, 3));
    plan.Add(Fail(Op::VXC_ReadFile).Nth(2));
    uint32 count = 0;
    // The second attempt fails, the third is whole: the full count with the error of the second.
    EXPECT_EQ(Read(10, &count), VXC_STATUS_READ);
    EXPECT_EQ(count, 10U);
    EXPECT_EQ(plan.Calls(Op::VXC_ReadFile), 3);
    EXPECT_EQ(std::vector<uint8>(buffer.begin(), buffer.begin() + 10), Bytes(100, 10));
}

TEST_F(HostRepeatTest, ARepeatTurnedOnDuringAReadBeginsWithTheNextOne) {
    static CQLSoftFileHandle* s_handle = nullptr;
    static int s_reads = 0;
    s_handle = &handle;
    s_reads = 0;
    host.Table().pfnRead = [](void*, void*, uint32, uint32* done) -> uint64 {
        ++s_reads;
        s_handle->SetRepeat(1);
        *done = 3;
        return 0;
    };
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    TestClock clock;
    clock.AutoAdvance(true);
    uint32 count = 0;
    EXPECT_EQ(Read(10, &count), VXC_STATUS_OK);
    EXPECT_EQ(s_reads, 1);
    EXPECT_EQ(count, 3U);
    Read(10, &count);
    EXPECT_EQ(s_reads, 12);
}

TEST_F(HostRepeatTest, ARepeatTurnedOffDuringAReadEndsIt) {
    static CQLSoftFileHandle* s_handle = nullptr;
    static int s_reads = 0;
    s_handle = &handle;
    s_reads = 0;
    host.Table().pfnRead = [](void*, void*, uint32, uint32* done) -> uint64 {
        if (++s_reads == 3) {
            s_handle->SetRepeat(0);
        }
        *done = 0;
        return 0;
    };
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    TestClock clock;
    clock.AutoAdvance(true);
    handle.SetRepeat(1);
    uint32 count = 0;
    EXPECT_EQ(Read(10, &count), VXC_STATUS_OK);
    EXPECT_EQ(s_reads, 3);
}

TEST_F(HostRepeatTest, ARepeatSleepsThenGoesBackThenSpeaksThenReads) {
    static TestClock* s_clock = nullptr;
    static LogCapture* s_log = nullptr;
    static std::vector<std::wstring> s_order;
    static const auto note = [](const wchar_t* step) {
        s_order.push_back(std::wstring(step) + L" slept " + std::to_wstring(s_clock->Sleeps().size()) +
                          L" spoke " + std::to_wstring(s_log->Count(L"Repeat!")));
    };
    TestClock clock;
    clock.AutoAdvance(true);
    LogCapture log;
    s_clock = &clock;
    s_log = &log;
    s_order.clear();
    host.Table().pfnRead = [](void*, void*, uint32 bytes, uint32* done) -> uint64 {
        note(L"read");
        *done = s_order.size() < 4 ? 0 : bytes;
        return 0;
    };
    host.Table().pfnSetFilePointer = [](void*, uint32, int32*, uint32, uint32*) {
        note(L"seek");
        return uint32{0};
    };
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    handle.SetRepeat(1);
    uint32 count = 0;
    Read(10, &count);
    EXPECT_EQ(count, 10U);
    EXPECT_THAT(s_order, ElementsAre(L"seek slept 0 spoke 0", L"read slept 0 spoke 0",
                                     L"seek slept 1 spoke 0", L"read slept 1 spoke 1"));
}
