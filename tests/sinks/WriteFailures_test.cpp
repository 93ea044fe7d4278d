// Threaded writing when moves, reads and writes fail, and calls on a sink that is closed or has failed.
#include "sinks/HostSinkFixture.h"

#include "filehandle/ThreadFixture.h"

#include <gmock/gmock.h>

#include <algorithm>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using RingInspector = WriteBufferRingInspector;

namespace {

class WriteFailuresTest : public HostSinkFixture {
protected:
    static constexpr uint32 kSize = 10'000;

    WriteFailuresTest() : content(Pattern(kSize, 1)) {}

    // On a file with content.
    void Start(uint32 flags = 0) {
        host.AddFile(L"full.mxf", content);
        ASSERT_EQ(sink.OpenFile(host.Tagged(L"full.mxf").c_str(), 1, 0, kUpdate, flags, 0, 0, 0, 0, nullptr),
                  VXC_STATUS_OK);
        News();
    }
    std::vector<uint8> Content() const { return host.Content(L"full.mxf"); }

    const std::vector<uint8> content;
};

class WriteFailuresInAllPathsTest : public HostSinkFixture,
                                    public ::testing::WithParamInterface<WritePath> {};

INSTANTIATE_TEST_SUITE_P(Sinks, WriteFailuresInAllPathsTest, ::testing::ValuesIn(kWritePaths),
                         [](const auto& param) { return param.param.name; });

} // namespace

TEST_F(WriteFailuresTest, WithTheFirstMoveNothingIsTakenIn) {
    const StandingError error;
    for (const uint32 flags : {0U, VXC_FILE_FLAG_NO_BUFFERING}) {
        Start(flags);
        sink.Seek(1000, 1);
        News();
        host.Fail(HostFunction::SetFilePointer, 5);
        uint32 wentOut = 7;
        EXPECT_EQ(Write(Pattern(kNode, 2), &wentOut), 0);
        EXPECT_EQ(wentOut, 0U);
        EXPECT_EQ(Inspector::Position(sink), 1000U);
        EXPECT_EQ(sink.GetFileSize(), kSize);
        EXPECT_FALSE(Inspector::IsGood(sink));
        EXPECT_EQ(News().size(), 1U);
        EXPECT_EQ(Write(Pattern(1, 2)), 0);
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(Content(), content);
    }
}

// Otherwise a full node would go out at a wrong place, or with zeros in the place of the sector's head.
TEST_F(WriteFailuresTest, WithoutTheSectorOrTheWayBackNoNodeGoesOut) {
    const StandingError error;
    for (const bool isRead : {true, false}) {
        SCOPED_TRACE(isRead);
        Start(VXC_FILE_FLAG_NO_BUFFERING);
        EXPECT_EQ(sink.EnableMD5_Check(0), 1);
        EXPECT_EQ(sink.BeginMD5_Check(0), 1);
        sink.Seek(1000, 1);
        News();
        if (isRead) {
            host.Fail(HostFunction::Read, 5);
        } else {
            host.Fail(HostFunction::SetFilePointer, 5, 2);
        }
        uint32 wentOut = 7;
        EXPECT_EQ(Write(Pattern(3 * kNode, 2), &wentOut),
                  static_cast<int>(3 * kNode)); // told by the next one
        EXPECT_EQ(wentOut, 0U);
        EXPECT_THAT(News(), ElementsAre("seek 512", "read 512", "seek 512"));
        EXPECT_EQ(Inspector::Position(sink), 3 * kNode + 1000);
        EXPECT_EQ(sink.GetFileSize(), 3 * kNode + 1000);
        EXPECT_EQ(Write(Pattern(1, 2)), 0);
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(Content(), content);
    }
}

TEST_F(WriteFailuresTest, BytesOfAFailedTakeUpAreFedToTheDigestAllTheSame) {
    Start(VXC_FILE_FLAG_NO_BUFFERING);
    EXPECT_EQ(sink.EnableMD5_Check(0), 1);
    EXPECT_EQ(sink.BeginMD5_Check(0), 1);
    EXPECT_EQ(Write(Pattern(1000, 2)), 1000);
    std::vector<uint8> none;
    EXPECT_EQ(sink.ReadBack(none.data(), 0), 0);
    host.Fail(HostFunction::Read, 5);
    EXPECT_EQ(Write(Pattern(500, 3)), 500);
    EXPECT_EQ(Inspector::Inner(sink).MD5State()->Position(), 1500U);
}

TEST_F(WriteFailuresTest, AFailedWriteOfTheThreadIsToldALapLate) {
    ASSERT_EQ(Open(3 * kNode, 0, kCreate, kNode), VXC_STATUS_OK);
    host.Fail(HostFunction::Write, 112);
    const auto node = Pattern(kNode, 2);
    uint32 wentOut = 0;
    EXPECT_EQ(Write(node, &wentOut), static_cast<int>(kNode)); // this one fails on the disk
    EXPECT_EQ(Write(node), static_cast<int>(kNode));
    EXPECT_TRUE(Inspector::IsGood(sink));
    EXPECT_EQ(Write(node, &wentOut), 0); // meets the failed node
    EXPECT_EQ(wentOut, 1U);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Inspector::Position(sink), 3 * kNode); // it was taken in all the same
    EXPECT_EQ(sink.GetFileSize(), 3 * kNode);
    EXPECT_EQ(Write(node), 0);
    EXPECT_EQ(Inspector::Position(sink), 3 * kNode);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
}

TEST_F(WriteFailuresTest, AWriteThatMeetsAFailedNodeGoesOnToItsEnd) {
    ASSERT_EQ(Open(kThreadedPath), VXC_STATUS_OK);
    host.Fail(HostFunction::Write, 112);
    EXPECT_EQ(Write(Pattern(4 * kNode + 5, 2)), 0);
    EXPECT_EQ(Inspector::Position(sink), 4 * kNode + 5);
    EXPECT_EQ(Inspector::Ring(sink)->Node().dwUsed, 5U);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_LE(host.Calls(HostFunction::Write), 4); // the last five bytes were dropped
}

TEST_F(WriteFailuresTest, AFlushDoesNotLookAtWhatBecameOfItsNode) {
    Start();
    host.Fail(HostFunction::Write, 112);
    EXPECT_EQ(Write(Pattern(10, 2)), 10);
    EXPECT_EQ(sink.Seek(0, 1), 0);
    EXPECT_EQ(Inspector::Ring(sink)->Node().bWriteOK, 0U);
    EXPECT_TRUE(Inspector::IsGood(sink));
    EXPECT_EQ(Write(Pattern(10, 2)), 10);
}

TEST_F(WriteFailuresTest, AWaitThatCannotBeHadEndsTheWriting) {
    Start();
    EXPECT_EQ(Write(Pattern(10, 2)), 10);
    {
        FaultPlan plan;
        plan.Add(Fail(Op::VXC_WaitForSingleObject).FromThenOn().OnThisThread());
        uint32 wentOut = 7;
        EXPECT_EQ(Write(Pattern(kNode, 3), &wentOut), 0);
        EXPECT_EQ(wentOut, 0U);
    }
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
}

TEST_F(WriteFailuresTest, AFlushThatCannotBeWaitedForEndsTheWriting) {
    Start();
    EXPECT_EQ(Write(Pattern(10, 2)), 10);
    {
        FaultPlan plan;
        plan.Add(Fail(Op::VXC_WaitForSingleObject).FromThenOn().OnThisThread());
        EXPECT_EQ(sink.Seek(0, 1), 0);
    }
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
}

TEST_P(WriteFailuresInAllPathsTest, NoBufferGivesNothingAndChangesNothing) {
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    News();
    uint32 wentOut = 7;
    EXPECT_EQ(sink.Write(nullptr, 5, &wentOut), 0);
    EXPECT_EQ(wentOut, 0U);
    EXPECT_EQ(sink.Write(nullptr, 5, nullptr), 0);
    EXPECT_TRUE(News().empty());
    EXPECT_TRUE(Inspector::IsGood(sink));
    EXPECT_EQ(Inspector::LastOperation(sink), 0);
    EXPECT_EQ(sink.GetFileSize(), 0U);
}

TEST_P(WriteFailuresInAllPathsTest, AClosedSinkTakesNothingAndLeavesTheFlagAlone) {
    uint32 wentOut = 7;
    EXPECT_EQ(Write(Pattern(5, 1), &wentOut), 0);
    EXPECT_EQ(wentOut, 7U);
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(5, 1), &wentOut), 5);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    News();
    wentOut = 7;
    EXPECT_EQ(Write(Pattern(5, 1), &wentOut), 0);
    EXPECT_EQ(wentOut, 7U);
    EXPECT_TRUE(News().empty());
}

TEST_P(WriteFailuresInAllPathsTest, ASeekOnAClosedSinkTouchesNothing) {
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(5, 1)), 5);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    News();
    EXPECT_EQ(sink.Seek(100, 1), 100);
    EXPECT_EQ(sink.Seek(50, 1), 50);
    EXPECT_EQ(sink.GetFileSize(), 100U);
    EXPECT_TRUE(News().empty());
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_TRUE(News().empty());
}

TEST_P(WriteFailuresInAllPathsTest, AFailedSinkIsGoodAgainAfterTheNextOpen) {
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(5, 1)), 5);
    host.Fail(HostFunction::Read, 5);
    std::vector<uint8> head(5);
    sink.ReadBack(head.data(), 5);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_FALSE(Inspector::IsGood(sink));
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(5, 2)), 5);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(Slice(host.Content(), 0, 5), Pattern(5, 2));
}

TEST_P(WriteFailuresInAllPathsTest, TheSizeGrowsWithThePositionAndNeverShrinks) {
    ASSERT_EQ(Open(GetParam()), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(1000, 1)), 1000);
    EXPECT_EQ(sink.GetFileSize(), 1000U);
    sink.Seek(10, 1);
    EXPECT_EQ(Write(Pattern(100, 1)), 100);
    EXPECT_EQ(sink.GetFileSize(), 1000U);
    EXPECT_EQ(Write(Pattern(891, 1)), 891);
    EXPECT_EQ(sink.GetFileSize(), 1001U);
    sink.Seek(5000, 1);
    EXPECT_EQ(sink.GetFileSize(), 5000U);
}
