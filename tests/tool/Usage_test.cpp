// Help, wrong usage, and the log.
#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

using namespace vxcio::test;
using testing::HasSubstr;
using testing::Not;

TEST(ToolUsageTest, HelpOfEveryVerbGoesToStandardOutput) {
    const std::vector<std::vector<std::string>> verbs = {{},
                                                         {"info"},
                                                         {"cat"},
                                                         {"md5"},
                                                         {"copy"},
                                                         {"path"},
                                                         {"shares", "a"},
                                                         {"get"},
                                                         {"put"},
                                                         {"path"},
                                                         {"shares"},
                                                         {"settings"},
                                                         {"settings", "list"},
                                                         {"settings", "get"},
                                                         {"settings", "set"},
                                                         {"settings", "unset"},
                                                         {"plug"},
                                                         {"plug", "load"},
                                                         {"plug", "call"},
                                                         {"plug", "bench"},
                                                         {"xdcam"},
                                                         {"xdcam", "info"},
                                                         {"xdcam", "space"},
                                                         {"xdcam", "fetch"}};
    for (std::vector<std::string> verb : verbs) {
        verb.emplace_back("--help");
        const Outcome outcome = RunTool(verb);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_THAT(outcome.out, HasSubstr("Usage: vxcio"));
        EXPECT_EQ(outcome.error, "");
    }
    EXPECT_THAT(RunTool({"--help"}).out, HasSubstr("Exit codes: 0 "));
    EXPECT_THAT(RunTool({"--version"}).out, testing::StartsWith("vxcio 3.0.18"));
}

TEST(ToolUsageTest, WrongUsageEndsWithTwoAndSaysWhy) {
    const std::vector<std::vector<std::string>> bad = {{},
                                                       {"dance"},
                                                       {"cat"},
                                                       {"cat", "a", "b"},
                                                       {"info"},
                                                       {"md5"},
                                                       {"copy"},
                                                       {"settings"},
                                                       {"-v"},
                                                       {"settings", "dance"},
                                                       {"settings", "get"},
                                                       {"settings", "set", "HandleTimeOut"},
                                                       {"cat", "a", "--nonsense"},
                                                       {"info", "a", "--log"},
                                                       {"info", "a", "--log-level", "9"},
                                                       {"info", "cat", "-x"}};
    for (const std::vector<std::string>& arguments : bad) {
        const Outcome outcome = RunTool(arguments);
        EXPECT_EQ(outcome.exitCode, 2) << testing::PrintToString(arguments);
        EXPECT_THAT(outcome.error, testing::StartsWith("vxcio: "));
        EXPECT_EQ(outcome.out, "");
    }
}

namespace {
const std::string kTrace = " [8] VXCSoftCodecIO: GetDiskSectorSize(";
}

TEST(ToolLogTest, VerboseShowsTheLogOfTheLibraryBesideTheData) {
    const TempFolder folder;
    const std::string clip = folder.Write("clip", "data");
    const Outcome outcome = RunTool({"cat", clip, "-v"});
    EXPECT_EQ(outcome.out, "data");
    EXPECT_THAT(outcome.error, HasSubstr(kTrace + clip + ")--1\n"));
    EXPECT_EQ(RunTool({"-v", "cat", clip, "--log-level", "1"}).error, "");
}

TEST(ToolLogTest, TheLogGoesToTheEndOfAFile) {
    const TempFolder folder;
    const std::string clip = folder.Write("clip", "data");
    const std::string log = folder.Write("log", "before\n");
    const Outcome outcome = RunTool({"cat", clip, "--log", log});
    EXPECT_EQ(outcome.out, "data");
    EXPECT_EQ(outcome.error, "");
    EXPECT_THAT(folder.Read("log"), testing::StartsWith("before\n"));
    EXPECT_THAT(folder.Read("log"), HasSubstr(kTrace + clip + ")--1\n"));
}

TEST(ToolLogTest, ALogThatCannotBeWrittenCostsOneWarning) {
    const TempFolder folder;
    const std::string clip = folder.Write("clip", "data");
    for (const std::string& log :
         {std::string("/dev/full"), folder.Name("missing/log"), folder.Path().string()}) {
        const Outcome outcome = RunTool({"cat", clip, "--log", log});
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.out, "data");
        EXPECT_THAT(outcome.error,
                    testing::StartsWith("vxcio: warning: the log cannot be written to '" + log + "': "));
        EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1);
    }
}

TEST(ToolLogTest, LogLinesKeepTheirLevelsApart) {
    const TempFolder folder;
    const Outcome outcome = RunTool({"md5", folder.Name("missing"), "-v"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.error, HasSubstr("[8] VXCSoftCodecIO: "));
    EXPECT_THAT(outcome.error, Not(HasSubstr("[1] ")));
}
