// How fast a file handle says that it reads.
#include "filehandle/HandleFixture.h"

#include "frame/ModuleValues.h"
#include "support/TestClock.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

class BitrateTest : public HandleTransferTest {
protected:
    void SetUp() override {
        ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
        Module().EnableBitrateInfo = 1;
    }
    void TearDown() override { Module().EnableBitrateInfo = 0; }

    std::wstring Line(const wchar_t* rates) const {
        wchar_t text[200];
        std::swprintf(text, 200, L"this->0x%x:CQLSoftFileHandle::ReadFile():%ls",
                      static_cast<uint32>(reinterpret_cast<std::uintptr_t>(&handle)), rates);
        return text;
    }

    TestClock clock;
    LogCapture log;
};

} // namespace

TEST_F(BitrateTest, PeriodEndsWithTheFirstReadThatFinishesAfterMoreThanASecond) {
    Read(1000);
    clock.Advance(1000);
    Read(1000); // finishes at exactly 1000 ms: not yet
    EXPECT_TRUE(log.Lines().empty());
    clock.Advance(1);
    Read(10 * kSize); // what was asked for counts, not what came
    EXPECT_THAT(log.Texts(), ElementsAre(Line(L"Bitrate = 0.00 Mbps, AvergeBitrate = 0.82 Mbps")));
    log.Clear();
    clock.Advance(2000);
    Read(1000); // opens a new period
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(BitrateTest, APeriodStartsWithoutTheSumsOfTheFormerOne) {
    clock.AutoAdvance(true);
    handle.SetRepeat(1);
    handle.SetFilePointer(kSize, 0);
    Read(1000000); // ends a period of ten seconds by itself
    EXPECT_EQ(log.Texts().back(), Line(L"Bitrate = 0.80 Mbps, AvergeBitrate = 0.80 Mbps"));
    EXPECT_EQ(log.Lines().back().level, INFOTYPE_TRACE);
    Read(500000);
    EXPECT_EQ(log.Texts().back(), Line(L"Bitrate = 0.40 Mbps, AvergeBitrate = 0.40 Mbps"));
}

TEST_F(BitrateTest, AnOpenStartsWithoutTheSumsOfTheFormerFile) {
    Read(1000000);
    clock.Advance(500);
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    log.Clear();
    clock.Advance(600);
    Read(2002); // not the first file's second
    EXPECT_TRUE(log.Lines().empty());
    clock.Advance(1001);
    Read(1001);
    EXPECT_THAT(log.Texts(), ElementsAre(Line(L"Bitrate = 0.00 Mbps, AvergeBitrate = 0.02 Mbps")));
}

TEST_F(BitrateTest, AnOpenForgetsTheTimeSpentInsideReadsOfTheFormerFile) {
    clock.AutoAdvance(true);
    handle.SetRepeat(1);
    FaultPlan plan;
    plan.Add(CutShort(Op::VXC_ReadFile, 3));
    Read(1000); // one second with its repeat: the period has not ended
    handle.SetRepeat(0);
    ASSERT_EQ(OpenRead(handle, Clip()), VXC_STATUS_OK);
    log.Clear();
    Read(1001);
    clock.Advance(2002);
    Read(1001);
    EXPECT_THAT(log.Texts(), ElementsAre(Line(L"Bitrate = 0.00 Mbps, AvergeBitrate = 0.01 Mbps")));
}

TEST_F(BitrateTest, RateCountsTheTimeInsideReadsAlone) {
    Read(1000);
    clock.Advance(1500);
    handle.SetRepeat(1); // a read that stays short spends ten seconds inside
    clock.AutoAdvance(true);
    handle.SetFilePointer(kSize, 0);
    Read(1000000);
    // 1001000 bytes in 10000 ms of reading and 11500 ms of the period.
    EXPECT_EQ(log.Texts().back(), Line(L"Bitrate = 0.80 Mbps, AvergeBitrate = 0.70 Mbps"));
}

TEST_F(BitrateTest, NothingIsMeasuredWhileItIsOff) {
    Module().EnableBitrateInfo = 0;
    Read(1000);
    clock.Advance(5000);
    Read(1000);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(BitrateTest, ReadThatIsStoppedEarlyMayOpenAPeriodButIsNotCounted) {
    Read(0);
    clock.Advance(1001);
    Read(1001); // 1001 bytes over 1001 ms: the period began with the read of nothing
    EXPECT_THAT(log.Texts(), ElementsAre(Line(L"Bitrate = 0.00 Mbps, AvergeBitrate = 0.01 Mbps")));
}

TEST(BitrateWrapTest, TheTickCountMayWrapWithinAPeriodAndWithinARead) {
    const TempFolder folder(TempFolder::Kind::Memory);
    folder.Write("clip", "abc");
    TestClock clock(0xFFFFFFFFU - 500); // a period begins half a second before the wrap
    CQLSoftFileHandle handle;
    ASSERT_EQ(OpenRead(handle, folder.Wide("clip")), VXC_STATUS_OK);
    Module().EnableBitrateInfo = 1;
    LogCapture log;
    handle.SetRepeat(1);
    clock.AutoAdvance(true);
    std::vector<uint8> buffer(1000000);
    handle.ReadFile(buffer.data(), 1000000, nullptr, nullptr); // ten seconds across the wrap
    Module().EnableBitrateInfo = 0;
    EXPECT_TRUE(log.Contains(L"Bitrate = 0.80 Mbps, AvergeBitrate = 0.80 Mbps"));
}
