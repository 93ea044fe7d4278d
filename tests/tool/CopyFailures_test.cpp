// vxcio copy: disks that take no more, and the words for it.
#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include "CopyReport.h"
#include "FileTarget.h"
#include "TargetFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using namespace vxcio::test;
using namespace vxcio::tool;
using testing::HasSubstr;

namespace {

constexpr std::size_t kSize = 5'000'001;

class ToolCopyFailuresTest : public testing::Test {
protected:
    TempFolder m_Folder;
    const std::string m_Clip = m_Folder.WritePattern("clip", kSize, 7);

    // With files that may not grow beyond a million bytes (blocks of 512).
    Outcome CopyLimited(const std::string& words) const {
        return RunProgram({"sh", "-c", "ulimit -f 1953; exec '" + ToolName() + "' copy " + words},
                          {.folder = m_Folder.Path().string()});
    }
};

std::string Bytes(std::size_t count) {
    const std::vector<uint8> pattern = Pattern(count, 7);
    return {pattern.begin(), pattern.end()};
}

} // namespace

TEST_F(ToolCopyFailuresTest, AFileThatMayNotGrowEndsWithFourAndTheOldTargetStays) {
    for (const char* way : {"", "--buffer 0", "--unbuffered", "--unbuffered --buffer 0", "--buffer 64M"}) {
        m_Folder.Write("to", "old");
        const Outcome outcome = CopyLimited(std::string("clip to ") + way);
        EXPECT_EQ(outcome.exitCode, 4) << way;
        EXPECT_EQ(outcome.out, "");
        const std::string part = m_Folder.Read("to.vxcio-part");
        EXPECT_THAT(outcome.error, testing::StartsWith("vxcio: copy: cannot write 'to': File too large; "
                                                       "'to.vxcio-part' holds "));
        EXPECT_TRUE(part == Bytes(part.size())) << way;
        EXPECT_EQ(m_Folder.Read("to"), "old");
        std::filesystem::remove(m_Folder.Name("to.vxcio-part"));
    }
}

TEST_F(ToolCopyFailuresTest, DiscardLeavesNothing) {
    const Outcome outcome = CopyLimited("clip to --discard");
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outcome.error, "vxcio: copy: cannot write 'to': File too large; nothing is left of it\n");
    EXPECT_FALSE(std::filesystem::exists(m_Folder.Name("to.vxcio-part")));
}

TEST_F(ToolCopyFailuresTest, AppendCutsBackToWhatWasThere) {
    for (const char* way : {"", "--buffer 0", "--unbuffered", "--unbuffered --buffer 0"}) {
        m_Folder.Write("to", Bytes(500'001));
        const Outcome outcome = CopyLimited(std::string("clip to --append ") + way);
        EXPECT_EQ(outcome.exitCode, 4);
        EXPECT_EQ(outcome.error,
                  "vxcio: copy: cannot write 'to': File too large; 'to' holds 500,001 bytes, as before\n");
        EXPECT_TRUE(m_Folder.Read("to") == Bytes(500'001)) << way;
    }
}

TEST_F(ToolCopyFailuresTest, ABadTargetEndsItForTheFilesThatAreLeft) {
    m_Folder.Write("small", "small");
    std::filesystem::create_directory(m_Folder.Name("folder"));
    const Outcome outcome = CopyLimited("clip small folder");
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, HasSubstr("vxcio: copy: 1 file was not begun\n"));
    EXPECT_FALSE(std::filesystem::exists(m_Folder.Name("folder/small")));
}

TEST_F(ToolCopyFailuresTest, ALossOfStandardOutputLeavesNoShortFile) {
    const Outcome outcome = RunTool({"copy", m_Clip, m_Folder.Name("to")}, {.outputFile = "/dev/full"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(m_Folder.Read("to") == Bytes(kSize)); // the copy was whole by then
}

// Programs with a sanitizer want more addresses than any limit leaves them.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(ToolCopyFailuresTest, ARingThatNoMemoryHoldsIsToldAndLeavesNothing) {
    const Outcome outcome = RunProgram(
        {"sh", "-c", "ulimit -v 2000000; exec '" + ToolName() + "' copy clip to --buffer 2147483647"},
        {.folder = m_Folder.Path().string()});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, HasSubstr("cannot write 'to': "));
    EXPECT_THAT(outcome.error, HasSubstr("no memory or thread for a ring"));
    EXPECT_FALSE(std::filesystem::exists(m_Folder.Name("to.vxcio-part")));
}
#endif

TEST(ToolCopyWordsTest, TheReasonIsTheSystems) {
    EXPECT_EQ(
        WriteReason("WriteFile(nNumberOfBytesToWrite[1048576] != nNumberOfBytesWritten[4096]) error--No "
                    "space left on device"),
        "No space left on device");
    EXPECT_EQ(WriteReason("CQLSoftFileHandle::WriteFile(/a (wait time:b) Time out !!!(wait time:1500 ms)"),
              "the disk did not answer within 1500 ms");
    EXPECT_EQ(WriteReason("CQLSoftFileHandle::WriteFile(x): no thread or memory for 5 bytes"),
              "CQLSoftFileHandle::WriteFile(x): no thread or memory for 5 bytes");
}

TEST(ToolTargetFileTest, KnowsItselfWhateverHappensToItsName) {
    const TempFolder folder;
    std::string reason;
    const TargetFile::Pointer file = TargetFile::MakeBeside(folder.Name("to"), reason);
    ASSERT_NE(file, nullptr) << reason;
    EXPECT_EQ(file->Name(), folder.Name("to.vxcio-part"));
    EXPECT_TRUE(file->Look().isThere);
    EXPECT_EQ(file->Look().bytes, 0u);
    std::filesystem::remove(file->Name());
    EXPECT_TRUE(file->Look().isKnown);
    EXPECT_FALSE(file->Look().isThere);
    EXPECT_FALSE(file->Look().isOther);
    folder.Write("to.vxcio-part", "another");
    EXPECT_FALSE(file->Look().isThere);
    EXPECT_TRUE(file->Look().isOther);
    EXPECT_NE(TargetFile::MakeBeside(folder.Name("missing/to"), reason), file);
    EXPECT_EQ(reason, "No such file or directory");
}

TEST(ToolTargetFileTest, NamesThatAreTheSameFileAreKnown) {
    const TempFolder folder;
    folder.Write("a", "");
    folder.Write("b", "");
    std::filesystem::create_symlink("a", folder.Name("link"));
    EXPECT_TRUE(AreSame(LookAt(folder.Name("a")), LookAt(folder.Name("link"))));
    EXPECT_EQ(LookAt(folder.Name("link")).place, std::filesystem::canonical(folder.Name("a")));
    EXPECT_EQ(LookAt(folder.Name("a")).place, folder.Name("a"));
    EXPECT_FALSE(AreSame(LookAt(folder.Name("a")), LookAt(folder.Name("b"))));
    EXPECT_FALSE(AreSame(LookAt(folder.Name("x")), LookAt(folder.Name("x"))));
}

namespace {

// A report whose time the test sets; what it prints goes to standard output.
class ToolCopyReportTest : public testing::Test {
protected:
    CopyReport::Clock::time_point m_Now{std::chrono::hours(1)};
    CopyJob m_Job{PlainInput("from"), "folder/to", "folder/to", false};

    Options Json() const {
        Options options;
        options.json = true;
        return options;
    }
};

} // namespace

TEST_F(ToolCopyReportTest, ProgressIsALineOfJsonEveryHalfSecond) {
    CopyReport report(Json(), [this] { return m_Now; });
    testing::internal::CaptureStdout();
    report.Begin(m_Job, "verify", 4000);
    report.Reach(100);
    m_Now += std::chrono::milliseconds(499);
    report.Reach(500);
    m_Now += std::chrono::milliseconds(1);
    report.Reach(1000);
    m_Now += std::chrono::milliseconds(499);
    report.Reach(2000);
    m_Now += std::chrono::milliseconds(1);
    report.Reach(4000);
    EXPECT_EQ(
        testing::internal::GetCapturedStdout(),
        "{\"event\":\"progress\",\"work\":\"verify\",\"to\":\"folder/to\",\"bytes\":1000,\"total\":4000,"
        "\"bytesPerSecond\":2000,\"secondsLeft\":1.5}\n"
        "{\"event\":\"progress\",\"work\":\"verify\",\"to\":\"folder/to\",\"bytes\":4000,\"total\":4000,"
        "\"bytesPerSecond\":4000,\"secondsLeft\":0.0}\n");
}

TEST_F(ToolCopyReportTest, WithoutASizeNoRemainingTimeIsMadeUp) {
    CopyReport report(Json(), [this] { return m_Now; });
    testing::internal::CaptureStdout();
    report.Begin(m_Job, "copy", 0);
    m_Now += std::chrono::seconds(2);
    report.Reach(1000);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "{\"event\":\"progress\",\"work\":\"copy\",\"to\":\"folder/"
              "to\",\"bytes\":1000,\"bytesPerSecond\":500}\n");
}

TEST_F(ToolCopyReportTest, NamesThatAreNoUtf8AreOneLineOfJsonAllTheSame) {
    CopyReport report(Json(), [this] { return m_Now; });
    m_Job.target = "a\xFF\nb";
    testing::internal::CaptureStdout();
    report.Tell(m_Job, CopyFacts{0, 3, 0.25, "d", "disk"});
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "{\"event\":\"copied\",\"from\":\"from\",\"to\":\"a\xEF\xBF\xBD\\nb\",\"start\":0,\"bytes\":3,"
              "\"seconds\":0.25,"
              "\"md5\":\"d\",\"verified\":true,\"verifiedFrom\":\"disk\"}\n");
}
