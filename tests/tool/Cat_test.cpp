#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>

using namespace vxcio::test;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class ToolCatTest : public testing::Test {
protected:
    TempFolder m_Folder;

    std::string Clip(std::size_t bytes) const { return m_Folder.WritePattern("clip.mxf", bytes, 7); }

    // A file of this size without data, whose last bytes are `tail`.
    std::string Sparse(std::uint64_t size, const std::string& tail) const {
        std::string name = m_Folder.Write("sparse.mxf", "");
        std::filesystem::resize_file(name, size);
        std::fstream file(name, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(size - tail.size()));
        file << tail;
        file.close();
        return name;
    }
};

std::string Bytes(std::size_t count, std::size_t from = 0) {
    const std::vector<uint8> pattern = Pattern(from + count, 7);
    return {pattern.begin() + static_cast<std::ptrdiff_t>(from), pattern.end()};
}

} // namespace

TEST_F(ToolCatTest, AWholeFileComesOutAsItIs) {
    const Outcome outcome = RunTool({"cat", Clip(3'000'001)});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.error, "");
    EXPECT_TRUE(outcome.out == Bytes(3'000'001));
}

TEST_F(ToolCatTest, OffsetAndLengthCutOutAPart) {
    const std::string clip = Clip(10'000);
    EXPECT_TRUE(RunTool({"cat", clip, "--offset", "700", "--length", "10"}).out == Bytes(10, 700));
    EXPECT_TRUE(RunTool({"cat", "--offset=4K", clip}).out == Bytes(10'000 - 4096, 4096));
    EXPECT_TRUE(RunTool({"cat", clip, "--length", "1M"}).out == Bytes(10'000));
    const Outcome none = RunTool({"cat", clip, "--length", "0"});
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(none.exitCode, 0);
}

TEST_F(ToolCatTest, AnOffsetAtOrBeyondTheEndGivesNothing) {
    const std::string clip = Clip(100);
    for (const char* offset : {"100", "101", "5G", "9223372036854775807"}) {
        const Outcome outcome = RunTool({"cat", clip, "--offset", offset});
        EXPECT_EQ(outcome.out, "") << offset;
        EXPECT_EQ(outcome.exitCode, 0) << offset;
    }
}

TEST_F(ToolCatTest, UnbufferedReadingTakesAnyPositionLengthAndBlock) {
    const std::string clip = Clip(300'001);
    EXPECT_TRUE(RunTool({"cat", clip, "--unbuffered"}).out == Bytes(300'001));
    EXPECT_TRUE(RunTool({"cat", clip, "--unbuffered", "--block", "777"}).out == Bytes(300'001));
    EXPECT_TRUE(RunTool({"cat", clip, "--unbuffered", "--offset", "700", "--length", "10"}).out ==
                Bytes(10, 700));
}

TEST_F(ToolCatTest, BlocksOfAnySizeGiveTheSameBytes) {
    const std::string clip = Clip(5'000);
    for (const char* block : {"1", "13", "4K", "2147483647"}) {
        EXPECT_TRUE(RunTool({"cat", clip, "--block", block}).out == Bytes(5'000)) << block;
    }
}

TEST_F(ToolCatTest, SizesThatMakeNoSenseAreWrongUsage) {
    const std::string clip = Clip(10);
    for (const std::vector<std::string>& bad : {std::vector<std::string>{"--block", "0"},
                                                {"--block", "2G"},
                                                {"--block", "1x"},
                                                {"--offset", "-1"},
                                                {"--offset", "9223372036854775808"},
                                                {"--length", "99999999999999999999"},
                                                {"--length", ""}}) {
        const Outcome outcome = RunTool({"cat", clip, bad[0], bad[1]});
        EXPECT_EQ(outcome.exitCode, 2) << bad[0] << " " << bad[1];
        EXPECT_THAT(outcome.error, HasSubstr(bad[0]));
        EXPECT_EQ(outcome.out, "");
    }
}

TEST_F(ToolCatTest, FilesOverFourGibibytesAreReadAtTheirEnd) {
    const std::string sparse = Sparse((4ull << 30) + 5, "tail!");
    EXPECT_EQ(RunTool({"cat", sparse, "--offset", "4G"}).out, "tail!");
    EXPECT_EQ(RunTool({"cat", sparse, "--offset", "4294967297", "--unbuffered"}).out, "ail!");
    const std::string exact = Sparse(4ull << 30, "end");
    EXPECT_EQ(RunTool({"cat", exact, "--offset", "4294967293"}).out, "end");
}

TEST_F(ToolCatTest, NamesAreTakenLetterForLetter) {
    for (const char* name :
         {"{}", "[a,b]", "[x", "cat", "-v", "a b", "\xFF\xC3", "back\\slash", "line\nend"}) {
        m_Folder.Write(name, name);
        const Outcome outcome = RunTool({"cat", "--", name}, {.folder = m_Folder.Path().string()});
        EXPECT_EQ(outcome.out, name);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    }
}

TEST_F(ToolCatTest, FailedOpensTellTheNameAndTheReason) {
    m_Folder.Write("secret", "x");
    std::filesystem::permissions(m_Folder.Name("secret"), std::filesystem::perms::none);
    m_Folder.Write("httpd.conf", "x");
    struct Case {
        std::string name;
        const char* reason;
    };
    const std::string folder = m_Folder.Path().string();
    for (const Case& bad : {Case{"", "the name is empty"},
                            {"missing", "No such file or directory"},
                            {"missing/clip", "path or drive is not there"},
                            {"secret/clip", "Not a directory"},
                            {".", "it is a folder"},
                            {"secret", "Permission denied"},
                            {std::string(5000, 'x'), "the name is too long"},
                            {std::string(300, 'x'), "the name is too long"},
                            {"httpd.conf", "URLs"},
                            {"HTTP:/host/clip", "URLs"},
                            {"clip0123456789ABCDEFVXCIO8", "a host's own file functions"},
                            {"clip89ABCDEFVXCIO4", "a host's own file functions"},
                            {"Q:\\clip.mxf", "cannot open"},
                            {"\\\\server\\share\\clip.mxf", "cannot open"}}) {
        const Outcome outcome = RunTool({"cat", bad.name}, {.folder = folder, .obeyPermissions = true});
        EXPECT_EQ(outcome.exitCode, 1) << bad.name;
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.error, StartsWith("vxcio: cat: cannot open '" + bad.name + "': ")) << bad.name;
        EXPECT_THAT(outcome.error, HasSubstr(bad.reason)) << bad.name;
    }
    EXPECT_EQ(RunTool({"cat", "./httpd.conf"}, {.folder = folder}).out, "x");
}

TEST_F(ToolCatTest, ReadingLeavesNothingBehind) {
    Clip(100);
    RunTool({"cat", "clip.mxf"}, {.folder = m_Folder.Path().string()});
    RunTool({"cat", "missing"}, {.folder = m_Folder.Path().string()});
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_Folder.Path())) {
        names.push_back(entry.path().filename().string());
    }
    EXPECT_THAT(names, testing::ElementsAre("clip.mxf"));
    EXPECT_TRUE(m_Folder.Read("clip.mxf") == Bytes(100));
}

TEST_F(ToolCatTest, AFullDiskBehindStandardOutputIsTold) {
    const Outcome outcome = RunTool({"cat", Clip(100'000)}, {.outputFile = "/dev/full"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("cannot write to standard output: No space left on device"));
}

TEST_F(ToolCatTest, AReaderThatGoesAwayEndsItInSilence) {
    ToolProcess process({ToolName(), "cat", Sparse(1ull << 30, "x")}, {});
    EXPECT_EQ(process.ReadOutput(10), std::string(10, '\0'));
    process.CloseOutput();
    const Outcome outcome = process.Finish();
    EXPECT_EQ(outcome.exitCode, 141);
    EXPECT_EQ(outcome.error, "");
}

TEST_F(ToolCatTest, AnInterruptEndsItBetweenBlocks) {
    const std::string sparse = Sparse(8ull << 30, "x");
    for (const int signal : {SIGINT, SIGTERM}) {
        ToolProcess process({ToolName(), "cat", sparse}, {});
        EXPECT_EQ(process.ReadOutput(1).size(), 1u);
        process.Signal(signal);
        const Outcome outcome = process.Finish();
        EXPECT_EQ(outcome.exitCode, 130);
        EXPECT_EQ(outcome.error, "");
        EXPECT_LT(outcome.out.size(), 1ull << 30);
    }
}

TEST_F(ToolCatTest, FilesWithoutASizeAreReadToTheirEnd) {
    std::ifstream version("/proc/version");
    std::string text;
    std::getline(version, text);
    const Outcome outcome = RunTool({"cat", "/proc/version"});
    EXPECT_EQ(outcome.out, text + "\n");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(RunTool({"cat", "/dev/zero", "--length", "5"}).out, std::string(5, '\0'));
}

TEST_F(ToolCatTest, AFileThatEndsEarlyIsAFailure) {
    const std::string sparse = Sparse(8ull << 30, "x");
    ToolProcess process({ToolName(), "cat", sparse}, {});
    // The pipe is full by now and holds the tool until we read on.
    EXPECT_EQ(process.ReadOutput(1).size(), 1u);
    std::filesystem::resize_file(sparse, 1u << 20);
    const Outcome outcome = process.Finish();
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, StartsWith("vxcio: cat: '" + sparse + "': only "));
    EXPECT_THAT(outcome.error, HasSubstr(" of 8,589,934,592 bytes could be read: the file ended early\n"));
}

TEST_F(ToolCatTest, AReadErrorIsToldWithTheLibrarysOwnWords) {
    // The first page of a process is never there.
    const Outcome outcome = RunTool({"cat", "/proc/self/mem"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.error,
                StartsWith("vxcio: cat: '/proc/self/mem': only 0 bytes could be read: ReadFile("));
    EXPECT_EQ(RunTool({"md5", "/proc/self/mem"}).exitCode, 1);
}
