// Writing past the cache without a ring: bytes gather in the staging area, whole sectors go out at once.
#include "sinks/HostSinkFixture.h"

#include <gmock/gmock.h>

#include <algorithm>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

class WriteStagedTest : public HostSinkFixture {
protected:
    static constexpr uint32 kSize = 10'000;

    WriteStagedTest() : content(Pattern(kSize, 1)) {}

    // On a file with content.
    void Start(uint32 mode = kUpdate) {
        host.AddFile(L"full.mxf", content);
        ASSERT_EQ(sink.OpenFile(host.Tagged(L"full.mxf").c_str(), 0, 0, mode, VXC_FILE_FLAG_NO_BUFFERING, 0,
                                0, 0, 0, nullptr),
                  VXC_STATUS_OK);
        News();
    }
    std::vector<uint8> Content() const { return host.Content(L"full.mxf"); }
    void Patch(std::size_t position, const std::vector<uint8>& bytes) {
        content.resize(std::max(content.size(), position + bytes.size()));
        std::copy(bytes.begin(), bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(position));
    }

    std::vector<uint8> content; // as it is to be
};

} // namespace

TEST_F(WriteStagedTest, OnlyWholeSectorsGoOut) {
    Start();
    uint32 wentOut = 7;
    EXPECT_EQ(Write(Pattern(100, 2), &wentOut), 100);
    EXPECT_EQ(wentOut, 0U);
    EXPECT_THAT(News(), ElementsAre("seek 0"));
    EXPECT_EQ(Inspector::StageFill(sink), 100U);
    EXPECT_EQ(Write(Pattern(411, 3), &wentOut), 411);
    EXPECT_EQ(wentOut, 0U);
    EXPECT_EQ(Write(Pattern(1, 4), &wentOut), 1); // a sector exactly
    EXPECT_EQ(wentOut, 1U);
    EXPECT_THAT(News(), ElementsAre("write 512"));
    EXPECT_EQ(Inspector::StageFill(sink), 0U);
    EXPECT_EQ(Write(Pattern(1300, 5), &wentOut), 1300);
    EXPECT_EQ(wentOut, 1U);
    EXPECT_THAT(News(), ElementsAre("write 1024"));
    EXPECT_EQ(Inspector::StageFill(sink), 276U);
    EXPECT_EQ(Write(Pattern(236, 6)), 236); // the rest stood at the start of the area
    EXPECT_THAT(News(), ElementsAre("write 512"));
    EXPECT_EQ(Inspector::Position(sink), 2048U);
    Patch(0, Pattern(100, 2));
    Patch(100, Pattern(411, 3));
    Patch(511, Pattern(1, 4));
    Patch(512, Pattern(1300, 5));
    Patch(1812, Pattern(236, 6));
    EXPECT_EQ(Content(), content);
}

TEST_F(WriteStagedTest, AWriteTakesUpInTheSectorOfItsPosition) {
    Start();
    sink.Seek(1000, 1);
    EXPECT_TRUE(News().empty());
    EXPECT_EQ(Write(Pattern(10, 2)), 10);
    EXPECT_THAT(News(), ElementsAre("seek 512", "read 512", "seek 512"));
    EXPECT_EQ(Inspector::StageFill(sink), 498U);
    EXPECT_EQ(sink.Seek(0, 1), 0);
    EXPECT_THAT(News(), ElementsAre("step 0", "step 0", "read 512", "seek 512", "write 512"));
    Patch(1000, Pattern(10, 2));
    EXPECT_EQ(Content(), content);
}

TEST_F(WriteStagedTest, OnASectorNothingIsReadFirst) {
    Start();
    sink.Seek(1024, 1);
    EXPECT_EQ(Write(Pattern(512, 2)), 512);
    EXPECT_THAT(News(), ElementsAre("seek 1024", "write 512"));
    sink.Seek(0, 1); // nothing is staged
    EXPECT_TRUE(News().empty());
}

TEST_F(WriteStagedTest, WhatWasWrittenAndPaddedIsTakenUpAgain) {
    ASSERT_EQ(Open(kStaged), VXC_STATUS_OK);
    EXPECT_EQ(Write(Pattern(100, 2)), 100);
    sink.Seek(50, 1);
    News();
    EXPECT_EQ(Write(Pattern(10, 3)), 10);
    EXPECT_THAT(News(), ElementsAre("seek 0", "read 512", "seek 0"));
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    auto expected = Pattern(100, 2);
    const auto patch = Pattern(10, 3);
    std::copy(patch.begin(), patch.end(), expected.begin() + 50);
    EXPECT_EQ(host.Content(), expected);
}

TEST_F(WriteStagedTest, ThePadIsWhatTheDiskHoldsOrZeros) {
    Start();
    sink.Seek(kSize - 10, 1); // in the last, short sector
    EXPECT_EQ(Write(Pattern(5, 2)), 5);
    sink.Seek(0, 1);
    Patch(kSize - 10, Pattern(5, 2));
    auto padded = content;
    padded.resize(10'240, 0);
    EXPECT_EQ(Content(), padded);
    EXPECT_EQ(sink.GetFileSize(), kSize);
}

TEST_F(WriteStagedTest, BytesBeyondTheEndAreZeroWhateverTheAreaHeld) {
    Start();
    EXPECT_EQ(Write(Pattern(2000, 2)), 2000); // leaves old bytes in the area
    Patch(0, Pattern(2000, 2));
    sink.Seek(20'100, 1);
    EXPECT_EQ(Write(Pattern(5, 3)), 5);
    sink.Seek(0, 1);
    Patch(20'100, Pattern(5, 3));
    auto padded = content;
    padded.resize(20'480, 0);
    EXPECT_EQ(Content(), padded);
}

TEST_F(WriteStagedTest, TheAreaGrowsByWholeSectorsAndKeepsWhatIsStaged) {
    Start();
    EXPECT_EQ(Inspector::StageCapacity(sink), 1048576U);
    EXPECT_EQ(Write(Pattern(100, 2)), 100);
    const auto fits = Pattern(1048576 - 100, 3);
    EXPECT_EQ(Write(fits), static_cast<int>(fits.size()));
    EXPECT_EQ(Inspector::StageCapacity(sink), 1048576U);
    EXPECT_EQ(Write(Pattern(100, 4)), 100);
    const auto grows = Pattern(1048576 - 99, 5);
    EXPECT_EQ(Write(grows), static_cast<int>(grows.size()));
    EXPECT_EQ(Inspector::StageCapacity(sink), 1048576U + kSector);
    EXPECT_EQ(Inspector::StageFill(sink), 1U);
    sink.Seek(0, 1);
    Patch(0, Pattern(100, 2));
    Patch(100, fits);
    Patch(1048576, Pattern(100, 4));
    Patch(1048676, grows);
    EXPECT_TRUE(Slice(Content(), 0, content.size()) == content);
    EXPECT_EQ(Inspector::StageCapacity(sink), 1048576U + kSector);
}

TEST_F(WriteStagedTest, SizesThatDoNotFitEndTheWriting) {
    Start();
    EXPECT_EQ(Write(Pattern(100, 2)), 100);
    const uint8 byte = 0;
    EXPECT_EQ(sink.Write(&byte, 0xFFFFFFFFu, nullptr), 0); // with 100 bytes more than 32 bits hold
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Inspector::Position(sink), 100U);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(Content(), content);
}

TEST_F(WriteStagedTest, WithTheFirstMoveNothingIsTakenIn) {
    Start();
    sink.Seek(1000, 1);
    const StandingError error;
    host.Fail(HostFunction::SetFilePointer, 5);
    uint32 wentOut = 7;
    EXPECT_EQ(Write(Pattern(2000, 2), &wentOut), 0);
    EXPECT_EQ(wentOut, 0U);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Inspector::Position(sink), 1000U);
    EXPECT_THAT(News(), ElementsAre("seek 512"));
}

TEST_F(WriteStagedTest, WithoutTheSectorOrTheWayBackNothingGoesOut) {
    const StandingError error;
    for (const bool isRead : {true, false}) {
        SCOPED_TRACE(isRead);
        Start();
        sink.Seek(1000, 1);
        if (isRead) {
            host.Fail(HostFunction::Read, 5);
        } else {
            host.Fail(HostFunction::SetFilePointer, 5, 2);
        }
        uint32 wentOut = 7;
        EXPECT_EQ(Write(Pattern(2000, 2), &wentOut), 2000); // told by the next one
        EXPECT_EQ(wentOut, 0U);
        EXPECT_THAT(News(), ElementsAre("seek 512", "read 512", "seek 512"));
        EXPECT_EQ(Inspector::Position(sink), 3000U);
        EXPECT_EQ(Write(Pattern(1, 2)), 0);
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(Content(), content);
    }
}

TEST_F(WriteStagedTest, AFailedWriteIsToldByTheNextOne) {
    Start();
    host.Fail(HostFunction::Write, 112);
    uint32 wentOut = 0;
    EXPECT_EQ(Write(Pattern(700, 2), &wentOut), 700);
    EXPECT_EQ(wentOut, 1U);
    EXPECT_EQ(Inspector::StageFill(sink), 188U);
    EXPECT_EQ(Inspector::Position(sink), 700U);
    EXPECT_EQ(Write(Pattern(700, 2)), 0);
    News();
    sink.Seek(3, 1); // nothing is flushed any more
    EXPECT_TRUE(News().empty());
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(Inspector::StageFill(sink), 0U); // what was staged is dropped
}

// A flush that cannot pad must not put zeros over what stands behind the staged bytes.
TEST_F(WriteStagedTest, AFlushThatCannotPadWritesNothing) {
    const std::vector<std::vector<std::string>> asked = {{"step 0", "step 0", "read 512", "seek 0"},
                                                         {"step 0", "step 0", "read 512"},
                                                         {"step 0", "step 0", "read 512", "seek 0"}};
    const StandingError error;
    for (const int failing : {0, 1, 2}) {
        SCOPED_TRACE(failing);
        Start();
        EXPECT_EQ(Write(Pattern(10, 2)), 10);
        News();
        if (failing == 0) {
            host.Fail(HostFunction::Read, 5);
        } else {
            host.Fail(HostFunction::SetFilePointer, 5, failing + 1);
        }
        EXPECT_EQ(sink.Seek(700, 1), 700);
        EXPECT_EQ(News(), asked[static_cast<std::size_t>(failing)]);
        EXPECT_FALSE(Inspector::IsGood(sink));
        EXPECT_EQ(Inspector::StageFill(sink), 0U);
        EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(Content(), content);
    }
}

TEST_F(WriteStagedTest, AtTheEndOfTheFileNothingIsSpoiledByAFlushThatCannotRead) {
    Start();
    sink.Seek(0, 2);
    EXPECT_EQ(Write(Pattern(10, 2)), 10);
    Patch(kSize, Pattern(10, 2));
    host.Fail(HostFunction::Read, 5);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_FALSE(Inspector::IsGood(sink));
    auto padded = content;
    padded.resize(10'240, 0);
    EXPECT_EQ(Content(), padded);
}

TEST_F(WriteStagedTest, AFlushWhoseWriteFailsEndsTheWriting) {
    Start();
    EXPECT_EQ(Write(Pattern(10, 2)), 10);
    host.Fail(HostFunction::Write, 112);
    EXPECT_EQ(sink.Seek(700, 1), 700);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(Inspector::StageFill(sink), 0U);
    EXPECT_EQ(Write(Pattern(10, 2)), 0);
}

TEST_F(WriteStagedTest, AWriteOfNothingTakesUpTheSectorAndStoresNothing) {
    Start();
    sink.Seek(700, 1);
    uint32 wentOut = 7;
    EXPECT_EQ(sink.Write(nullptr, 0, &wentOut), 0);
    EXPECT_EQ(wentOut, 0U);
    EXPECT_THAT(News(), ElementsAre("seek 512", "read 512", "seek 512"));
    EXPECT_EQ(Inspector::LastOperation(sink), 1);
    EXPECT_EQ(sink.CloseFile(), VXC_STATUS_OK);
    EXPECT_EQ(Content(), content); // flushed as it was
}

// In direct mode the handle gives a place then, as no last error tells of the failure.
TEST_F(WriteStagedTest, AFlushWhoseMoveAHostFailsWritesNowhere) {
    FaultPlan plan;
    plan.Add(Answer(Op::VXC_GetLastError, VXC_ERROR_SUCCESS).FromThenOn());
    Start();
    EXPECT_EQ(Write(Pattern(100, 2)), 100);
    host.Fail(HostFunction::SetFilePointer, VXC_ERROR_IO_DEVICE, 2); // the one that tells the flush its place
    EXPECT_EQ(sink.Seek(7, 1), 7);
    EXPECT_FALSE(Inspector::IsGood(sink));
    EXPECT_EQ(host.Calls(HostFunction::Write), 0);
}
