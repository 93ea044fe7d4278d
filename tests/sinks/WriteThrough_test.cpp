// Writing without a ring and through the cache: each write goes straight to the file.
#include "sinks/HostSinkFixture.h"

#include <gmock/gmock.h>

#include <algorithm>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

class WriteThroughTest : public HostSinkFixture {
protected:
    void Start(uint32 mode = kCreate) {
        ASSERT_EQ(Open(kThrough, mode), VXC_STATUS_OK);
        News();
    }
};

} // namespace

TEST_F(WriteThroughTest, OnlyTheFirstWriteOfARunMovesTheFile) {
    Start();
    uint32 wentOut = 7;
    EXPECT_EQ(Write(Pattern(100, 1), &wentOut), 100);
    EXPECT_EQ(wentOut, 1U);
    EXPECT_THAT(News(), ElementsAre("seek 0", "write 100"));
    EXPECT_EQ(Write(Pattern(1, 2)), 1);
    EXPECT_THAT(News(), ElementsAre("write 1"));
    EXPECT_EQ(sink.Seek(40, 1), 40);
    EXPECT_TRUE(News().empty());
    EXPECT_EQ(Write(Pattern(5, 3)), 5);
    EXPECT_THAT(News(), ElementsAre("seek 40", "write 5"));
    EXPECT_EQ(Inspector::Position(sink), 45U);
    EXPECT_EQ(sink.GetFileSize(), 101U);
    auto expected = Pattern(100, 1);
    expected.push_back(Pattern(1, 2)[0]);
    const auto patch = Pattern(5, 3);
    std::copy(patch.begin(), patch.end(), expected.begin() + 40);
    EXPECT_EQ(host.Content(), expected);
}

TEST_F(WriteThroughTest, AfterAReadTheFileIsMovedBack) {
    Start();
    Write(Pattern(100, 1));
    sink.Seek(0, 1);
    std::vector<uint8> head(10);
    EXPECT_EQ(sink.ReadBack(head.data(), 10), 10);
    News();
    Write(Pattern(5, 3));
    EXPECT_THAT(News(), ElementsAre("seek 10", "write 5"));
}

TEST_F(WriteThroughTest, AFailedWriteGivesNothingAndEndsAllWriting) {
    Start();
    Write(Pattern(100, 1));
    host.Fail(HostFunction::Write, 112);
    uint32 wentOut = 7;
    EXPECT_EQ(Write(Pattern(50, 2), &wentOut), 0);
    EXPECT_EQ(wentOut, 1U);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Inspector::Position(sink), 100U);
    EXPECT_EQ(sink.GetFileSize(), 100U);
    News();
    wentOut = 7;
    EXPECT_EQ(Write(Pattern(50, 2), &wentOut), 0);
    EXPECT_EQ(wentOut, 7U);
    EXPECT_TRUE(News().empty());
}

TEST_F(WriteThroughTest, AShortWriteFailsAndMovesThePositionByWhatWentOut) {
    Start();
    host.ShortenWrites(30);
    EXPECT_EQ(Write(Pattern(100, 1)), 0);
    EXPECT_EQ(Inspector::Position(sink), 30U);
    EXPECT_EQ(sink.GetFileSize(), 30U);
    EXPECT_FALSE(Inspector::IsGood(sink));
}

TEST_F(WriteThroughTest, AMoveThatFailsIsKeptAndTheWriteGoesOn) {
    Start();
    const StandingError error;
    host.Fail(HostFunction::SetFilePointer, 5);
    uint32 wentOut = 0;
    EXPECT_EQ(Write(Pattern(100, 1), &wentOut), 100);
    EXPECT_EQ(wentOut, 1U);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Write(Pattern(100, 1)), 0);
}

TEST_F(WriteThroughTest, AWriteOfNothingMovesTheFileAndTellsThatItWentOut) {
    Start();
    uint32 wentOut = 0;
    EXPECT_EQ(sink.Write(nullptr, 0, &wentOut), 0);
    EXPECT_EQ(wentOut, 1U);
    EXPECT_THAT(News(), ElementsAre("seek 0"));
    EXPECT_TRUE(Inspector::IsGood(sink));
}

TEST_F(WriteThroughTest, WritesAppendBehindWhatIsThere) {
    HostTable full(L"full.mxf", Pattern(1000, 9));
    ASSERT_EQ(sink.OpenFile(full.Tagged().c_str(), 0, 0, kAppend, 0, 0, 0, 0, 0, nullptr), VXC_STATUS_OK);
    full.ClearLog();
    EXPECT_EQ(Write(Pattern(5, 3)), 5);
    EXPECT_THAT(Asked(full), ElementsAre("seek 1000", "write 5"));
    EXPECT_EQ(sink.GetFileSize(), 1005U);
}
