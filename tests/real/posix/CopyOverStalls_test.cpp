// vxcio copy to and from disks that stall, fail, fill up and store wrong bytes.
#include "real/posix/StallFs.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

using namespace vxcio::test;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr std::size_t kSize = 9'000'001;

class CopyOverStallsTest : public testing::Test {
protected:
    TempFolder m_Folder;
    const std::string m_Clip = m_Folder.WritePattern("clip", kSize, 9);
    const StallFs m_Mount{m_Folder.Path().string(), StallFs::Access::Writable};

    void SetUp() override { VXC_NEEDS_STALLFS(m_Mount); }

    static std::string Bytes(std::size_t count) {
        const std::vector<uint8> pattern = Pattern(count, 9);
        return {pattern.begin(), pattern.end()};
    }
    bool Exists(const std::string& name) const { return std::filesystem::exists(m_Folder.Name(name)); }
    std::string Part(const std::string& name) const { return "'" + m_Mount.Name(name + ".vxcio-part") + "'"; }
};

// The four ways of writing.
const std::vector<std::vector<std::string>> kWays = {
    {}, {"--buffer", "0"}, {"--unbuffered"}, {"--unbuffered", "--buffer", "0"}};

std::vector<std::string> Command(std::vector<std::string> words, const std::vector<std::string>& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

} // namespace

TEST_F(CopyOverStallsTest, AWriteThatFailsMidwayEndsWithFourWhateverTheWay) {
    for (const std::vector<std::string>& way : kWays) {
        ASSERT_EQ(m_Mount.Order("fail write * 3000000"), "ok");
        const Outcome outcome = RunTool(Command({"copy", m_Clip, m_Mount.Name("to")}, way));
        EXPECT_EQ(outcome.exitCode, 4);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.error, StartsWith("vxcio: copy: cannot write '" + m_Mount.Name("to") +
                                              "': Input/output error; " + Part("to") + " holds "));
        EXPECT_FALSE(Exists("to"));
        EXPECT_TRUE(std::filesystem::remove(m_Folder.Name("to.vxcio-part")));
        ASSERT_EQ(m_Mount.Order("release"), "ok");
    }
}

TEST_F(CopyOverStallsTest, AWriteThatFailsInTheLastLapOfTheRingIsFound) {
    // Only the very last byte fails, which no later write could tell; with and without threads of the handle.
    for (const std::vector<std::string>& way : kWays) {
        for (const char* const limit : {"10000", "4294967295"}) {
            ASSERT_EQ(m_Mount.Order("fail write * " + std::to_string(kSize - 1)), "ok");
            const Outcome outcome =
                RunTool(Command({"copy", m_Clip, m_Mount.Name("to"), "--time-out", limit}, way));
            EXPECT_EQ(outcome.exitCode, 4) << outcome.out << testing::PrintToString(way) << limit;
            EXPECT_THAT(outcome.error, HasSubstr("Input/output error; "));
            EXPECT_FALSE(Exists("to"));
            EXPECT_TRUE(std::filesystem::remove(m_Folder.Name("to.vxcio-part")));
            ASSERT_EQ(m_Mount.Order("release"), "ok");
        }
    }
}

TEST_F(CopyOverStallsTest, AFullDiskIsToldInTheSystemsWordsAndTheOldTargetStays) {
    m_Folder.Write("to", "old");
    ASSERT_EQ(m_Mount.Order("fill write * 5000000"), "ok");
    const Outcome outcome = RunTool({"copy", m_Clip, m_Mount.Name("to"), "--discard"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outcome.error, "vxcio: copy: cannot write '" + m_Mount.Name("to") +
                                 "': No space left on device; nothing is left of it\n");
    EXPECT_EQ(m_Folder.Read("to"), "old");
    EXPECT_FALSE(Exists("to.vxcio-part"));
}

TEST_F(CopyOverStallsTest, AppendingToADiskThatFillsUpLeavesTheFileAsItWas) {
    for (const std::vector<std::string>& way : kWays) {
        m_Folder.Write("to", Bytes(1'000'001));
        ASSERT_EQ(m_Mount.Order("fill write to 3000000"), "ok");
        const Outcome outcome =
            RunTool(Command({"copy", m_Clip, m_Mount.Name("to"), "--append", "--json"}, way));
        EXPECT_EQ(outcome.exitCode, 4);
        EXPECT_THAT(outcome.error, HasSubstr("No space left on device; '" + m_Mount.Name("to") +
                                             "' holds 1,000,001 bytes, as before\n"));
        EXPECT_THAT(outcome.out, HasSubstr("\"event\":\"failed\""));
        EXPECT_THAT(outcome.out, HasSubstr("\"exitCode\":4,\"left\":{\"name\":\"" + m_Mount.Name("to") +
                                           "\",\"bytes\":1000001}}\n"));
        EXPECT_TRUE(m_Folder.Read("to") == Bytes(1'000'001));
        ASSERT_EQ(m_Mount.Order("release"), "ok");
    }
}

TEST_F(CopyOverStallsTest, ADiskThatAnswersNoWriteEndsWithFourAndNoHang) {
    ASSERT_EQ(m_Mount.Order("stall write * 3000000"), "ok");
    const Outcome outcome = RunTool({"copy", m_Clip, m_Mount.Name("to"), "--time-out", "1000"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error,
                HasSubstr("the disk did not answer within 1000 ms; " + Part("to") + " holds "));
    ASSERT_EQ(m_Mount.Order("release"), "ok");
}

TEST_F(CopyOverStallsTest, ADiskThatAnswersNoQuestionEndsWithFourAndNoHang) {
    ASSERT_EQ(m_Mount.Order("stall stat *"), "ok");
    const Outcome outcome = RunTool({"copy", m_Clip, m_Mount.Name("to"), "--time-out", "1000"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outcome.error, "vxcio: copy: cannot write '" + m_Mount.Name("to") +
                                 "': the disk does not answer within 1000 ms\n");
    ASSERT_EQ(m_Mount.Order("release"), "ok");
}

TEST_F(CopyOverStallsTest, ASyncThatFailsOrHangsEndsWithFour) {
    ASSERT_EQ(m_Mount.Order("fail sync *"), "ok");
    for (const char* const option : {"--sync", "--verify"}) {
        const Outcome outcome = RunTool({"copy", m_Clip, m_Mount.Name("to"), option, "--discard"});
        EXPECT_EQ(outcome.exitCode, 4) << option;
        EXPECT_THAT(outcome.error, HasSubstr("': Input/output error; "));
    }
    ASSERT_EQ(m_Mount.Order("release"), "ok");
    ASSERT_EQ(m_Mount.Order("stall sync *"), "ok");
    const Outcome outcome = RunTool({"copy", m_Clip, m_Mount.Name("to"), "--sync", "--time-out", "1000"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, HasSubstr("the disk does not answer within 1000 ms; "));
    EXPECT_FALSE(Exists("to"));
    ASSERT_EQ(m_Mount.Order("release"), "ok");
}

TEST_F(CopyOverStallsTest, VerifyFindsAByteThatTheDiskStoredWrong) {
    for (const std::vector<std::string>& way : kWays) {
        ASSERT_EQ(m_Mount.Order("spoil write * 4000000"), "ok");
        const Outcome outcome = RunTool(Command({"copy", m_Clip, m_Mount.Name("to"), "--verify"}, way));
        EXPECT_EQ(outcome.exitCode, 3);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.error, "vxcio: copy: the copy to '" + m_Mount.Name("to") +
                                     "' is spoilt: what stands there is not what was written; " + Part("to") +
                                     " holds 9,000,001 bytes\n");
        EXPECT_FALSE(Exists("to"));
        EXPECT_TRUE(std::filesystem::remove(m_Folder.Name("to.vxcio-part")));
        ASSERT_EQ(m_Mount.Order("release"), "ok");
    }
}

TEST_F(CopyOverStallsTest, VerifyOfWhatWasAppendedFindsAWrongByteInItAndCutsItOff) {
    m_Folder.Write("to", Bytes(1'000'001));
    ASSERT_EQ(m_Mount.Order("spoil write to 4000000"), "ok");
    const Outcome outcome = RunTool({"copy", m_Clip, m_Mount.Name("to"), "--verify", "--append"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(outcome.error, HasSubstr("' holds 1,000,001 bytes, as before\n"));
    EXPECT_TRUE(m_Folder.Read("to") == Bytes(1'000'001));
}

TEST_F(CopyOverStallsTest, VerifySaysWhereAFileSystemDoesNotTellOfADisk) {
    const Outcome outcome = RunTool({"copy", m_Clip, m_Mount.Name("to"), "--verify", "--json"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, HasSubstr("\"verified\":true,\"verifiedFrom\":\"unknown\"}\n"));
    EXPECT_THAT(outcome.error, HasSubstr("was read back from a file system that does not tell"));
    EXPECT_TRUE(m_Folder.Read("to") == Bytes(kSize));
}

TEST_F(CopyOverStallsTest, AReadBackThatFailsIsNoGoodCopy) {
    ASSERT_EQ(m_Mount.Order("fail read to.vxcio-part 4000000"), "ok");
    const Outcome outcome = RunTool({"copy", m_Clip, m_Mount.Name("to"), "--verify"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, HasSubstr("': it cannot be read back: only "));
    EXPECT_FALSE(Exists("to"));
}

TEST_F(CopyOverStallsTest, ASourceThatFailsMidwayEndsWithOneAndSaysWhatStandsThere) {
    ASSERT_EQ(m_Mount.Order("fail read clip 4000000"), "ok");
    const TempFolder other;
    const Outcome outcome = RunTool({"copy", m_Mount.Name("clip"), other.Name("to")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, StartsWith("vxcio: copy: '" + m_Mount.Name("clip") + "': only "));
    EXPECT_THAT(outcome.error, HasSubstr("; '" + other.Name("to.vxcio-part") + "' holds "));
    EXPECT_FALSE(std::filesystem::exists(other.Name("to")));
    const std::string part = other.Read("to.vxcio-part");
    EXPECT_GT(part.size(), 0u);
    EXPECT_TRUE(part == Bytes(part.size()));
}

TEST_F(CopyOverStallsTest, TheSecondCopyOfASourceTakesOver) {
    const TempFolder other;
    ASSERT_EQ(m_Mount.Order("stall read clip 4000000"), "ok");
    const Outcome outcome = RunTool(
        {"copy", m_Mount.Name("clip") + "*" + m_Clip, other.Name("to"), "--time-out", "1000", "--settings",
         other.Write("settings", "[Software\\Norvex\\SoftCodec]\nDoubleRdThreshold = 200\n")});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_TRUE(other.Read("to") == Bytes(kSize));
}

TEST_F(CopyOverStallsTest, AnInterruptedCopyTellsWhatStandsThere) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const TempFolder other;
        ASSERT_EQ(m_Mount.Order("stall read clip 4000000"), "ok");
        ToolProcess process(
            {ToolName(), "copy", m_Mount.Name("clip"), other.Name("to"), "--pre-read", "0", "--json"}, {});
        ASSERT_TRUE(m_Mount.WaitUntilStanding(1));
        process.Signal(signal);
        ASSERT_EQ(m_Mount.Order("release"), "ok");
        const Outcome outcome = process.Finish();
        EXPECT_EQ(outcome.exitCode, 130);
        const std::string part = other.Read("to.vxcio-part");
        EXPECT_TRUE(part == Bytes(part.size()));
        EXPECT_THAT(outcome.error,
                    StartsWith("vxcio: copy: the copy to '" + other.Name("to") + "' was interrupted; '" +
                               other.Name("to.vxcio-part") + "' holds "));
        EXPECT_THAT(outcome.out, HasSubstr("\"bytes\":" + std::to_string(part.size()) + "}}\n"));
        EXPECT_FALSE(std::filesystem::exists(other.Name("to")));
    }
}

TEST_F(CopyOverStallsTest, ATargetThatIsRemovedOrReplacedMeanwhileIsNoGoodCopy) {
    for (const bool replaced : {false, true}) {
        const TempFolder other;
        ASSERT_EQ(m_Mount.Order("stall read clip 4000000"), "ok");
        ToolProcess process(
            {ToolName(), "copy", m_Mount.Name("clip"), other.Name("to"), "--pre-read", "0", "--unbuffered"},
            {});
        ASSERT_TRUE(m_Mount.WaitUntilStanding(1));
        ASSERT_TRUE(std::filesystem::remove(other.Name("to.vxcio-part")));
        if (replaced) {
            other.Write("to.vxcio-part", "another");
        }
        ASSERT_EQ(m_Mount.Order("release"), "ok");
        const Outcome outcome = process.Finish();
        EXPECT_EQ(outcome.exitCode, 4);
        EXPECT_THAT(outcome.error, HasSubstr("somebody removed, renamed or replaced '" +
                                             other.Name("to.vxcio-part") + "' while it was written; "));
        // The close makes a file of that name where there is none, to cut it.
        EXPECT_THAT(outcome.error, HasSubstr("' is another file by now\n"));
        EXPECT_FALSE(std::filesystem::exists(other.Name("to")));
    }
}
