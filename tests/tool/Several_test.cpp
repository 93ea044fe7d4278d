// Two copies of one clip, lists, and reading ahead, through the tool as it stands.
#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>

using namespace vxcio::test;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr std::size_t kSize = 3'500'003;

std::string Bytes(std::size_t from, std::size_t count) {
    const std::vector<uint8> pattern = Pattern(from + count, 7);
    return {pattern.begin() + static_cast<std::ptrdiff_t>(from), pattern.end()};
}

class ToolSeveralTest : public testing::Test {
protected:
    TempFolder m_Folder;
    const std::string m_First = m_Folder.WritePattern("first.mxf", kSize, 7);
    const std::string m_Second = m_Folder.WritePattern("second.mxf", kSize, 7);

    // The clip in pieces, an empty one among them.
    std::vector<std::string> Pieces() const {
        return {m_Folder.Write("1", Bytes(0, 1'000'000)), m_Folder.Write("2", ""),
                m_Folder.Write("3", Bytes(1'000'000, 3)),
                m_Folder.Write("4", Bytes(1'000'003, kSize - 1'000'003))};
    }
    std::string Pair() const { return m_First + "*" + m_Second; }
};

std::vector<std::string> With(std::vector<std::string> words, const std::vector<std::string>& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

std::string FirstWord(const std::string& text) {
    return text.substr(0, text.find(' '));
}

} // namespace

TEST_F(ToolSeveralTest, TwoCopiesAreReadAsOneClip) {
    for (const std::vector<std::string>& options :
         std::vector<std::vector<std::string>>{{},
                                               {"--unbuffered"},
                                               {"--pre-read", "2M"},
                                               {"--unbuffered", "--pre-read", "4M"},
                                               {"--block", "777K"}}) {
        const Outcome outcome = RunTool(With({"cat", Pair()}, options));
        EXPECT_EQ(outcome.exitCode, 0) << testing::PrintToString(options);
        EXPECT_EQ(outcome.error, "");
        EXPECT_TRUE(outcome.out == Bytes(0, kSize)) << testing::PrintToString(options);
    }
    EXPECT_TRUE(RunTool({"cat", Pair(), "--offset", "1000001", "--length", "5"}).out == Bytes(1'000'001, 5));
}

TEST_F(ToolSeveralTest, AMissingCopyCostsAWarningAndNothingElse) {
    for (const std::string& name :
         {m_First + "*" + m_Folder.Name("none"), m_Folder.Name("none") + "*" + m_Second}) {
        const Outcome outcome = RunTool({"cat", name});
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_TRUE(outcome.out == Bytes(0, kSize));
        const std::string number = name.starts_with(m_First) ? "2" : "1";
        EXPECT_THAT(outcome.error,
                    StartsWith("vxcio: warning: copy " + number + " '" + m_Folder.Name("none") +
                               "' cannot be read: No such file or directory"));
    }
    const std::string empty = m_Folder.Write("empty", "");
    EXPECT_THAT(RunTool({"cat", m_First + "*" + empty}).error,
                StartsWith("vxcio: warning: copy 2 '" + empty + "' cannot be read: it is empty"));
}

TEST_F(ToolSeveralTest, WithoutEitherCopyBothReasonsAreTold) {
    const Outcome outcome = RunTool({"cat", m_Folder.Name("x") + "*" + m_Folder.Path().string()});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.error, HasSubstr("copy 1 '" + m_Folder.Name("x") + "': No such file or directory"));
    EXPECT_THAT(outcome.error, HasSubstr("copy 2 '" + m_Folder.Path().string() + "': it is a folder"));
}

TEST_F(ToolSeveralTest, ACopyThatEndsEarlyIsNoWholeClip) {
    std::filesystem::resize_file(m_Second, kSize - 10);
    // Copy 1 is read while it is there; where both end early the bytes that were promised are missing.
    EXPECT_EQ(RunTool({"cat", Pair()}).exitCode, 0);
    const Outcome verbose = RunTool({"cat", m_Second + "*" + m_Folder.WritePattern("short", 1000, 7), "-v"});
    EXPECT_EQ(verbose.exitCode, 0);
    EXPECT_THAT(verbose.error, HasSubstr("vxcio: the two copies differ in size\n"));
}

TEST_F(ToolSeveralTest, AnyFileCanBeNamed) {
    m_Folder.Write("a*b", "star");
    m_Folder.Write("@x", "at");
    const ToolProcess::Setting here{.folder = m_Folder.Path().string()};
    EXPECT_EQ(RunTool({"cat", "a**b"}, here).out, "star");
    EXPECT_EQ(RunTool({"cat", "./@x"}, here).out, "at");
    EXPECT_THAT(RunTool({"cat", "a*b"}, here).error, HasSubstr("copy 1 'a': No such file"));
    EXPECT_THAT(RunTool({"cat", "@x"}, here).error, HasSubstr("cannot read the list 'x': No such file"));
}

TEST_F(ToolSeveralTest, JoinedNamesAreOneStream) {
    for (const std::vector<std::string>& options : std::vector<std::vector<std::string>>{
             {}, {"--unbuffered"}, {"--pre-read", "64K"}, {"--block", "13K", "--pre-read", "1M"}}) {
        const Outcome outcome = RunTool(With(With({"cat", "--join"}, options), Pieces()));
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        EXPECT_TRUE(outcome.out == Bytes(0, kSize)) << testing::PrintToString(options);
    }
    const std::vector<std::string> part = {"cat", "--join", "--offset", "999990", "--length", "20"};
    EXPECT_TRUE(RunTool(With(part, Pieces())).out == Bytes(999'990, 20));
}

TEST_F(ToolSeveralTest, AListFileIsOneStreamAndEachEntryMayHaveTwoCopies) {
    Pieces();
    m_Folder.Write("3b", Bytes(1'000'000, 3));
    m_Folder.Write("list", "# the clip\n1\n\n3*3b\n4\n");
    for (const char* ahead : {"1", "3M"}) {
        const Outcome outcome = RunTool({"cat", "@" + m_Folder.Name("list"), "--pre-read", ahead});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        EXPECT_TRUE(outcome.out == Bytes(0, kSize));
    }
}

TEST_F(ToolSeveralTest, TheEntryThatFailsIsNamed) {
    std::vector<std::string> names = Pieces();
    names[2] = m_Folder.Name("none");
    const Outcome outcome = RunTool(With({"cat", "--join"}, names));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.error, HasSubstr("entry 3 of 4, '" + names[2] + "': No such file or directory"));
    names[2] += "*" + m_Folder.Name("nor");
    EXPECT_THAT(RunTool(With({"md5", "--join"}, names)).error,
                HasSubstr("entry 3 of 4, '" + names[2] + "': neither copy could be opened: copy 1 "));
    names[2] = "st**ar";
    EXPECT_THAT(RunTool(With({"cat", "--join"}, names)).error,
                HasSubstr("'st*ar': a name that holds a '*' cannot be part of a list"));
}

TEST_F(ToolSeveralTest, DigestsAreThoseOfTheBytesInOrder) {
    const std::string digest = FirstWord(RunProgram({"md5sum", m_First}).out);
    for (const std::vector<std::string>& options : std::vector<std::vector<std::string>>{
             {}, {"--pre-read", "2M"}, {"--unbuffered", "--pre-read", "2M"}, {"--unbuffered"}}) {
        EXPECT_EQ(RunTool(With({"md5", m_First}, options)).out, digest + "  " + m_First + "\n");
        EXPECT_EQ(FirstWord(RunTool(With({"md5", Pair()}, options)).out), digest);
        EXPECT_EQ(FirstWord(RunTool(With(With({"md5", "--join"}, options), Pieces())).out), digest);
    }
    const json all = json::parse(RunTool({"md5", "--json", Pair()}).out);
    EXPECT_EQ(all[0], json({{"name", Pair()}, {"size", kSize}, {"md5", digest}}));
}

TEST_F(ToolSeveralTest, ListsOfDigestsNameFilesAsTheyStand) {
    m_Folder.Write("a*b", "star");
    const ToolProcess::Setting here{.folder = m_Folder.Path().string()};
    m_Folder.Write("list", RunProgram({"md5sum", "a*b"}, here).out);
    EXPECT_EQ(RunTool({"md5", "-c", "list"}, here).out, "a*b: OK\n");
    EXPECT_EQ(RunTool({"md5", "-c", "--join", "list"}, here).exitCode, 2);
}

TEST_F(ToolSeveralTest, InfoShowsBothCopies) {
    const Outcome outcome = RunTool({"info", Pair(), "--pre-read", "3M"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, HasSubstr("  size         3,500,003 bytes (3.3 MiB)\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  read-ahead   on, at least 3,145,728 bytes (3.0 MiB)\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  copy 1  " + m_First + "\n    size         3,500,003 bytes"));
    EXPECT_THAT(outcome.out, HasSubstr("  copy 2  " + m_Second + "\n    size         3,500,003 bytes"));
    EXPECT_THAT(outcome.out, HasSubstr("    sector size  "));

    const json all = json::parse(RunTool({"info", "--json", m_First + "*" + m_Folder.Name("none")}).out);
    ASSERT_EQ(all[0]["copies"].size(), 2u);
    EXPECT_EQ(all[0]["copies"][0]["size"], kSize);
    EXPECT_GT(all[0]["copies"][0]["sectorSize"], 0);
    EXPECT_THAT(all[0]["copies"][1]["error"], HasSubstr("No such file"));
}

TEST_F(ToolSeveralTest, InfoShowsTheFilesOfAList) {
    const Outcome outcome = RunTool(With({"info", "--join"}, Pieces()));
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, HasSubstr("  source       CDataSourceArray\n  size         3,500,003 bytes"));
    EXPECT_THAT(outcome.out, HasSubstr("  files        4\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  file 3  " + m_Folder.Name("3") + "\n    size         3 bytes\n"));
    const json all =
        json::parse(RunTool(With({"info", "--json", "--join", "--pre-read", "1M"}, Pieces())).out);
    ASSERT_EQ(all[0]["files"].size(), 4u);
    EXPECT_EQ(all[0]["files"][2]["size"], 3);
    EXPECT_EQ(all[0]["readAhead"], json({{"asked", 1 << 20}, {"on", true}}));
}

TEST_F(ToolSeveralTest, OptionsThatMakeNoSenseAreWrongUsage) {
    for (const std::vector<std::string>& bad :
         std::vector<std::vector<std::string>>{{"cat", m_First, m_Second},
                                               {"--pre-read", "0"},
                                               {"--pre-read", "2G"},
                                               {"--pre-read", "-1"},
                                               {"--time-out", "999"},
                                               {"--time-out", "4294967296"},
                                               {"--time-out", "2K"},
                                               {"--time-out", "0x1000"},
                                               {"--time-out", ""}}) {
        const Outcome outcome = RunTool(bad[0] == "cat" ? bad : With({"cat", m_First}, bad));
        EXPECT_EQ(outcome.exitCode, 2) << testing::PrintToString(bad);
        EXPECT_EQ(outcome.out, "");
    }
    for (const char* good : {"1000", "4294967295"}) {
        EXPECT_EQ(RunTool({"cat", m_First, "--time-out", good}).exitCode, 0) << good;
    }
    const Outcome star = RunTool({"md5", m_First + "*"});
    EXPECT_EQ(star.exitCode, 1);
    EXPECT_THAT(star.error, HasSubstr("names no second copy"));
}

TEST_F(ToolSeveralTest, AFileOfAListThatShrinksIsNotMadeUpByTheNextOne) {
    constexpr std::size_t kLong = 9'000'000;
    const std::string first = m_Folder.Write("long", Bytes(0, kLong));
    const std::string last = m_Folder.Write("last", "12345");
    ToolProcess process({ToolName(), "cat", "--block", "64K", "--join", first, last}, {});
    EXPECT_TRUE(process.ReadOutput(100'000) == Bytes(0, 100'000)); // the pipe keeps it from the rest
    std::filesystem::resize_file(first, 5'000'000);
    const Outcome outcome = process.Finish();
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("of 9,000,005 bytes could be read: "));
    EXPECT_EQ(outcome.out.size(), 5'000'005u - 100'000u);
}
