// The tool over a disk that stalls.
#include "real/posix/StallFs.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

using namespace vxcio::test;
using testing::HasSubstr;

namespace {

constexpr std::size_t kSize = 5'000'001;

class ToolOverStallsTest : public testing::Test {
protected:
    TempFolder m_Folder;
    const std::string m_Clip = m_Folder.WritePattern("clip", kSize, 9);
    const StallFs m_Mount{m_Folder.Path().string()};
    // A file of settings by themselves: those of the machine do not count.
    const std::string m_Settings = m_Folder.Write(
        "settings", "[Software\\Norvex\\SoftCodec]\nDoubleRdThreshold = 200\nHandleTimeOut = 1500\n");

    void SetUp() override { VXC_NEEDS_STALLFS(m_Mount); }
    std::string Pair() const { return m_Mount.Name("clip") + "*" + m_Clip; }
    std::string Digest() const {
        const std::string line = RunProgram({"md5sum", m_Clip}).out;
        return line.substr(0, line.find(' '));
    }
};

} // namespace

TEST_F(ToolOverStallsTest, AFrozenCopyIsToldAndTheDigestIsRight) {
    ASSERT_EQ(m_Mount.Order("stall read clip 3000000"), "ok");
    const Outcome outcome = RunTool({"md5", Pair(), "-v", "--settings", m_Settings, "--time-out", "1000"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out, Digest() + "  " + Pair() + "\n");
    EXPECT_THAT(outcome.error,
                HasSubstr("vxcio: copy 1 '" + m_Mount.Name("clip") + "' did not answer within "));
    EXPECT_THAT(outcome.error, HasSubstr("vxcio: reading goes on from copy 2 '" + m_Clip + "'\n"));
    EXPECT_THAT(outcome.error, HasSubstr(" reads, the longest took "));
}

TEST_F(ToolOverStallsTest, TheTimeOutOfTheRunHoldsAndElseThatOfTheSettings) {
    ASSERT_EQ(m_Mount.Order("stall open clip"), "ok");
    const std::vector<std::string> read = {"cat", Pair(), "--settings", m_Settings, "-v", "--length", "1"};
    const Outcome bySettings = RunTool(read);
    EXPECT_EQ(bySettings.exitCode, 0);
    EXPECT_THAT(bySettings.error, HasSubstr("Time Out!!!, WaitTime: 1500 ms"));
    std::vector<std::string> other = read;
    other.insert(other.end(), {"--time-out", "1000"});
    EXPECT_THAT(RunTool(other).error, HasSubstr("Time Out!!!, WaitTime: 1000 ms"));
}

TEST_F(ToolOverStallsTest, ACopyThatHangsFromTheStartIsNamedAndDoneWithout) {
    ASSERT_EQ(m_Mount.Order("stall open clip"), "ok");
    const Outcome outcome = RunTool({"md5", Pair(), "--time-out", "1000"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out, Digest() + "  " + Pair() + "\n");
    EXPECT_THAT(outcome.error, HasSubstr("vxcio: warning: copy 1 '" + m_Mount.Name("clip") +
                                         "' cannot be read: the disk did not answer in time; "));
}

TEST_F(ToolOverStallsTest, AListOfCopiesIsReadWithoutAGapWhenACopyFreezes) {
    const std::string tail = m_Folder.WritePattern("tail", 1'000'000, 4);
    const std::string whole = RunProgram({"sh", "-c", "cat '" + m_Clip + "' '" + tail + "' | md5sum"}).out;
    for (const std::vector<std::string>& ahead :
         std::vector<std::vector<std::string>>{{}, {"--pre-read", "2M"}}) {
        ASSERT_EQ(m_Mount.Order("stall read clip 3000000"), "ok");
        std::vector<std::string> read = {"md5", "--join", Pair(), tail, "--settings", m_Settings};
        read.insert(read.end(), ahead.begin(), ahead.end());
        const Outcome outcome = RunTool(read);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        EXPECT_EQ(outcome.out.substr(0, 32), whole.substr(0, 32));
        ASSERT_EQ(m_Mount.Order("release"), "ok");
    }
}

TEST_F(ToolOverStallsTest, NothingOfTheNextFileFillsAGapOfAList) {
    const std::string tail = m_Folder.WritePattern("tail", 1'000'000, 4);
    ASSERT_EQ(m_Mount.Order("fail read clip 3000000"), "ok");
    for (const std::vector<std::string>& ahead :
         std::vector<std::vector<std::string>>{{}, {"--pre-read", "2M"}}) {
        std::vector<std::string> read = {"cat", "--join", m_Mount.Name("clip"), tail};
        read.insert(read.end(), ahead.begin(), ahead.end());
        const Outcome outcome = RunTool(read);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.error, HasSubstr(" of 6,000,001 bytes could be read: "));
        const std::vector<uint8> content = Pattern(kSize, 9);
        ASSERT_LE(outcome.out.size(), 3'000'000u);
        EXPECT_TRUE(std::equal(outcome.out.begin(), outcome.out.end(), content.begin(),
                               [](char left, uint8 right) { return static_cast<uint8>(left) == right; }));
    }
}
