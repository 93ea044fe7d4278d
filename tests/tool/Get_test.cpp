// vxcio get with servers of all manners.
#include "real/posix/LocalPorts.h"
#include "support/Gate.h"
#include "support/TempFolder.h"
#include "tool/OddFtpServer.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>

using namespace vxcio::test;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class ToolGetTest : public testing::Test {
protected:
    Outcome Run(std::vector<std::string> words, const std::string& typed = "") const {
        words.insert(words.begin(), "get");
        return RunTool(words, {.folder = m_Folder.Path().string(), .typed = typed});
    }
    static std::string Text(std::size_t bytes, unsigned seed = 9) {
        const std::vector<uint8> pattern = Pattern(bytes, seed);
        return {pattern.begin(), pattern.end()};
    }
    bool Has(const std::string& file) const { return std::filesystem::exists(m_Folder.Name(file)); }
    std::string Digest(const std::string& content) const {
        return RunProgram({"md5sum", m_Folder.Write("digested", content)}).out.substr(0, 32);
    }
    void ExpectNothingBeside(const std::string& file) const {
        EXPECT_FALSE(Has(file + ".qlqlql"));
        EXPECT_FALSE(Has(file + ".qlqlql.from"));
    }
    // A part of so many bytes, left by the tool itself when the server broke off.
    void LeavePart(OddFtpServer& server, std::size_t bytes) const {
        server.Change([&](OddFtpServer::Ways& now) { now.sendsMost = bytes; });
        const Outcome outcome = Run({server.Url("clip")});
        ASSERT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.error, HasSubstr("426 broken off"));
        ASSERT_EQ(m_Folder.Read("clip.qlqlql").size(), bytes);
        ASSERT_TRUE(Has("clip.qlqlql.from"));
        server.Change([&](OddFtpServer::Ways& now) { now.sendsMost = OddFtpServer::kAll; });
    }
    static std::size_t Count(const std::vector<std::string>& lines, const std::string& start) {
        std::size_t count = 0;
        for (const std::string& line : lines) {
            count += line.starts_with(start) ? 1 : 0;
        }
        return count;
    }

    TempFolder m_Folder;
};

} // namespace

// ---- Whole files ----

TEST_F(ToolGetTest, AFileComesHereIntoAFolderOrUnderAnotherName) {
    const OddFtpServer server({.files = {{"clip", Text(3'000'001)}, {"empty", ""}}});
    std::filesystem::create_directory(m_Folder.Name("folder"));
    const Outcome here = Run({server.Url("clip")});
    EXPECT_EQ(here.exitCode, 0) << here.error;
    EXPECT_EQ(here.error, "");
    EXPECT_EQ(here.out, "# 3,000,001 bytes in './clip'\n");
    EXPECT_EQ(Run({server.Url("clip"), "folder"}).exitCode, 0);
    EXPECT_EQ(Run({server.Url("clip"), "folder/other"}).exitCode, 0);
    EXPECT_EQ(Run({server.Url("empty")}).exitCode, 0);
    for (const char* const file : {"clip", "folder/clip", "folder/other"}) {
        EXPECT_TRUE(m_Folder.Read(file) == Text(3'000'001)) << file;
        ExpectNothingBeside(file);
    }
    EXPECT_EQ(m_Folder.Read("empty"), "");
}

TEST_F(ToolGetTest, JsonTellsWhatCameAndWhatFailed) {
    OddFtpServer server({.files = {{"clip", Text(300'000)}}});
    const nlohmann::json good = nlohmann::json::parse(Run({"--json", server.Url("clip")}).out);
    EXPECT_EQ(good["event"], "copied");
    EXPECT_EQ(good["bytes"], 300'000);
    EXPECT_EQ(good["from"], server.Shown("clip"));
    EXPECT_FALSE(good["verified"]);
    server.Change([&](OddFtpServer::Ways& now) { now.sendsMost = 1000; });
    const nlohmann::json bad = nlohmann::json::parse(Run({"--json", server.Url("clip"), "b"}).out);
    EXPECT_EQ(bad["event"], "failed");
    EXPECT_EQ(bad["exitCode"], 1);
    EXPECT_EQ(bad["left"]["name"], "b.qlqlql");
    EXPECT_EQ(bad["left"]["bytes"], 1000);
}

TEST_F(ToolGetTest, TheLibrarysOwnWordsAreForWhoWantsThem) {
    const OddFtpServer server({.files = {{"clip", "1"}}});
    EXPECT_THAT(Run({"-v", server.Url("clip")}).error, HasSubstr("get: Begin transfer, please wait..."));
}

TEST_F(ToolGetTest, WithoutAPassiveTransferOfModeNormalTheFileHasItsOwnNameAtOnce) {
    const std::string address = AddressForActive();
    if (address.empty()) {
        GTEST_SKIP() << "this machine has only the loopback interface";
    }
    OddFtpServer server({.files = {{"clip", Text(300'000)}}, .sendsMost = 1000, .address = address});
    const Outcome outcome = Run({"--active", server.Url("clip")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("'./clip' holds 1,000 bytes"));
    ExpectNothingBeside("clip");
}

TEST_F(ToolGetTest, VerifyingMakesTheDigestOfBothAndFindsADifference) {
    OddFtpServer server({.files = {{"clip", Text(300'000)}}});
    const Outcome good = Run({"--verify", server.Url("clip"), "clip"});
    EXPECT_EQ(good.exitCode, 0) << good.error;
    EXPECT_EQ(good.out, Digest(Text(300'000)) + "  clip\n");
    // The transfer and the question for the size see the one content, the digest another one.
    OddFtpServer other(
        {.files = {{"clip", Text(300'000)}}, .laterContent = Text(300'000, 10), .downloadsBefore = 2});
    const Outcome bad = Run({"--verify", other.Url("clip"), "other"});
    EXPECT_EQ(bad.exitCode, 3);
    EXPECT_EQ(bad.out, "");
    EXPECT_THAT(bad.error, HasSubstr("is spoilt"));
    EXPECT_FALSE(Has("other"));
    EXPECT_TRUE(m_Folder.Read("other.qlqlql") == Text(300'000));
}

// ---- Questions ----

TEST_F(ToolGetTest, AFileThatIsThereStaysUnlessTheAnswerIsYes) {
    const OddFtpServer server({.files = {{"clip", "new"}}});
    struct Case {
        std::vector<std::string> words;
        std::string typed;
        bool isYes;
    };
    for (const Case& one : {Case{{}, "", false}, Case{{"--no"}, "", false}, Case{{"--no"}, "y\n", false},
                            Case{{}, "n\n", false}, Case{{}, "\n", false}, Case{{}, "yesterday\n", false},
                            Case{{}, "\x04", false}, // the end of the input
                            Case{{}, "y\n", true}, Case{{}, " YES \n", true}, Case{{"--yes"}, "n\n", true},
                            Case{{"--yes"}, "", true}}) {
        m_Folder.Write("clip", "as before");
        std::vector<std::string> words = one.words;
        words.push_back(server.Url("clip"));
        const Outcome outcome = Run(words, one.typed);
        const std::string what = testing::PrintToString(one.words) + one.typed + outcome.error;
        EXPECT_EQ(outcome.exitCode, one.isYes ? 0 : 1) << what;
        EXPECT_EQ(m_Folder.Read("clip"), one.isYes ? "new" : "as before") << what;
        ExpectNothingBeside("clip");
        if (one.words.empty() && !one.typed.empty()) {
            EXPECT_THAT(outcome.error, HasSubstr("Do you want to overwrite './clip' ? [y/N] "));
        } else if (!one.isYes) {
            EXPECT_THAT(outcome.error, HasSubstr("'./clip' is there and stays as it is: "));
        }
    }
    EXPECT_THAT(Run({server.Url("clip")}).error, HasSubstr("nobody to ask; --yes"));
}

TEST_F(ToolGetTest, APartIsNotLostWithoutAQuestionEither) {
    const OddFtpServer server({.files = {{"clip", "new"}}});
    m_Folder.Write("clip.qlqlql", "somebody's");
    for (const std::vector<std::string>& more :
         std::vector<std::vector<std::string>>{{}, {"--no"}, {"--active"}, {"--resume"}}) {
        std::vector<std::string> words = {server.Url("clip")};
        words.insert(words.end(), more.begin(), more.end());
        const Outcome outcome = Run(words);
        EXPECT_EQ(outcome.exitCode, 1) << testing::PrintToString(more);
        EXPECT_THAT(outcome.error, HasSubstr("'./clip.qlqlql' is there and stays as it is"));
        EXPECT_EQ(m_Folder.Read("clip.qlqlql"), "somebody's");
        EXPECT_FALSE(Has("clip"));
    }
    const Outcome asked = Run({server.Url("clip")}, "y\n"); // once
    EXPECT_EQ(asked.exitCode, 0) << asked.error;
    EXPECT_EQ(m_Folder.Read("clip"), "new");
    ExpectNothingBeside("clip");
}

TEST_F(ToolGetTest, TheWishToStopEndsAQuestion) {
    const OddFtpServer server({.files = {{"clip", "new"}}});
    m_Folder.Write("clip", "as before");
    ToolProcess tool({ToolName(), "get", server.Url("clip")},
                     {.folder = m_Folder.Path().string(), .typed = "y"}); // and no end of the line
    ASSERT_TRUE(server.WaitFor("RETR clip"));
    tool.Signal(SIGINT);
    EXPECT_EQ(tool.Finish().exitCode, 130);
    EXPECT_EQ(m_Folder.Read("clip"), "as before");
}

// ---- What fails ----

TEST_F(ToolGetTest, SizesThatAreNotTrueMakeNoFile) {
    for (const char* const told : {"213 300001", "213 299999", "213 5000000000", "213 1"}) {
        const OddFtpServer server({.files = {{"clip", Text(300'000)}}, .replies = {{"SIZE clip", told}}});
        std::filesystem::remove(m_Folder.Name("clip.qlqlql"));
        const Outcome outcome = Run({server.Url("clip")});
        EXPECT_EQ(outcome.exitCode, 1) << told;
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.error, HasSubstr(" bytes came: ")) << told;
        EXPECT_FALSE(Has("clip")) << told;
    }
}

TEST_F(ToolGetTest, WhereTheServerTellsNoSizeItsListingAndItsLastWordDecide) {
    for (const char* const told : {"213 0", "500 what"}) {
        OddFtpServer server({.files = {{"clip", Text(300'000)}, {"empty", ""}}, .replies = {{"SIZE", told}}});
        const Outcome good = Run({"--yes", server.Url("clip")});
        EXPECT_EQ(good.exitCode, 0) << good.error;
        EXPECT_TRUE(m_Folder.Read("clip") == Text(300'000));
        ExpectNothingBeside("clip");
        EXPECT_EQ(Run({"--yes", server.Url("empty")}).exitCode, 0);
        for (const std::size_t most : {std::size_t{0}, std::size_t{1000}}) {
            server.Change([&](OddFtpServer::Ways& now) { now.sendsMost = most; });
            const Outcome cut = Run({"--yes", server.Url("clip"), "cut"});
            EXPECT_EQ(cut.exitCode, 1) << most;
            EXPECT_FALSE(Has("cut")) << most;
        }
        server.Change([&](OddFtpServer::Ways& now) { now.sendsMost = OddFtpServer::kAll; });
        server.Change([&](OddFtpServer::Ways& now) {
            now.listing = "-rw-r--r--   1 norvex   norvex 299999 Nov 22 03:22 clip\r\n";
        });
        const Outcome listed = Run({"--yes", server.Url("clip"), "listed"});
        EXPECT_EQ(listed.exitCode, 1);
        EXPECT_THAT(listed.error, HasSubstr("cannot be known"));
        EXPECT_FALSE(Has("listed"));
        std::filesystem::remove(m_Folder.Name("cut.qlqlql"));
    }
}

TEST_F(ToolGetTest, AMissingFileAndARefusedUserAreToldAndNothingIsTouched) {
    const OddFtpServer server({.files = {{"clip", "1"}}});
    m_Folder.Write("clip", "as before");
    const Outcome missing = Run({"--yes", server.Url("nothing"), "clip"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_THAT(missing.error, AllOf(HasSubstr(server.Shown("nothing")), HasSubstr("550 none")));
    const OddFtpServer refusing({.files = {{"clip", "1"}}, .replies = {{"PASS", "530 no"}}});
    const Outcome refused = Run({"--yes", refusing.Url("clip")});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.error, AllOf(HasSubstr("refuses the password"), HasSubstr("530 no")));
    EXPECT_EQ(m_Folder.Read("clip"), "as before");
}

TEST_F(ToolGetTest, AFolderThatIsNotThereAndADiskThatTakesNoMoreEndWithFour) {
    const OddFtpServer server({.files = {{"clip", Text(3'000'000)}}});
    const Outcome missing = Run({server.Url("clip"), "none/clip"});
    EXPECT_EQ(missing.exitCode, 4);
    EXPECT_THAT(missing.error, HasSubstr("there is no folder 'none/'"));
    EXPECT_THAT(server.Commands(), testing::IsEmpty());
    const Outcome full =
        RunProgram({"bash", "-c", "ulimit -f 1500; exec \"$@\"", "-", ToolName(), "get", server.Url("clip")},
                   {.folder = m_Folder.Path().string()});
    EXPECT_EQ(full.exitCode, 4) << full.error;
    EXPECT_THAT(full.error, HasSubstr("cannot write './clip'"));
    EXPECT_FALSE(Has("clip"));
}

TEST_F(ToolGetTest, TheWishToStopLeavesAPartThatIsGoneOnWith) {
    Gate within;
    OddFtpServer server({.files = {{"clip", Text(9'000'000)}}, .withinFile = &within, .gateAt = 5'000'000});
    ToolProcess tool({ToolName(), "get", server.Url("clip")}, {.folder = m_Folder.Path().string()});
    ASSERT_TRUE(within.WaitUntilReached());
    tool.Signal(SIGINT);
    within.Open();
    const Outcome outcome = tool.Finish();
    EXPECT_EQ(outcome.exitCode, 130) << outcome.error;
    EXPECT_THAT(outcome.error, HasSubstr("was interrupted"));
    EXPECT_FALSE(Has("clip"));
    server.Change([&](OddFtpServer::Ways& now) { now.withinFile = nullptr; });
    const Outcome resumed = Run({"--resume", "--yes", server.Url("clip")});
    EXPECT_EQ(resumed.exitCode, 0) << resumed.error;
    EXPECT_TRUE(m_Folder.Read("clip") == Text(9'000'000));
    ExpectNothingBeside("clip");
}

TEST_F(ToolGetTest, AServerThatFallsSilentCostsTheTimeThatIsTold) {
    for (const char* const command : {"USER", "RETR"}) {
        const OddFtpServer server({.files = {{"clip", "1"}}, .replies = {{command, ""}}});
        const auto start = std::chrono::steady_clock::now();
        const Outcome outcome = Run({"--time-out", "1000", server.Url("clip")});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.error, HasSubstr("does not answer within 1000 ms")) << command;
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15)) << command;
    }
    Gate within;
    const OddFtpServer server(
        {.files = {{"clip", Text(5'000'000)}}, .withinFile = &within, .gateAt = 2'500'000});
    const Outcome outcome = Run({"--time-out", "1000", server.Url("clip")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error,
                AllOf(HasSubstr("Time Out"), HasSubstr("'./clip.qlqlql' holds 2,097,152 bytes")));
    EXPECT_FALSE(Has("clip"));
}

// ---- Going on ----

TEST_F(ToolGetTest, APartOfTheToolsOwnIsComparedInPlacesAndGoneOnWith) {
    const std::string content = Text(30'000'000);
    OddFtpServer server({.files = {{"clip", content}}});
    LeavePart(server, 20'000'000);
    const std::size_t before = Count(server.Commands(), "REST ");
    const Outcome outcome = Run({"--resume", "--json", server.Url("clip")});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("\"resumed\":20000000"), HasSubstr("\"bytes\":30000000")));
    EXPECT_TRUE(m_Folder.Read("clip") == content);
    ExpectNothingBeside("clip");
    EXPECT_GE(Count(server.Commands(), "REST ") - before, 10u); // near places are reached by reading on
}

TEST_F(ToolGetTest, WithoutARecordThatFitsAllOfThePartIsCompared) {
    const std::string content = Text(30'000'000);
    std::string changed = content;
    changed[11'200'123] ^= 1; // between two of the places
    struct Case {
        const char* name;
        void (*change)(const TempFolder& folder, OddFtpServer& server);
    };
    for (const Case& one :
         {Case{"no record", [](const TempFolder&folder,
                               OddFtpServer&) { std::filesystem::remove(folder.Name("clip.qlqlql.from")); }},
          Case{"a wrong record",
               [](const TempFolder&folder, OddFtpServer&) {
                   folder.Write("clip.qlqlql.from", std::string("vxcio part 1\nfrom \0\xFF", 20));
               }},
          Case{"of another size",
               [](const TempFolder&folder, OddFtpServer&) {
                   std::string text = folder.Read("clip.qlqlql.from");
                   folder.Write("clip.qlqlql.from", text.replace(text.find("bytes 2"), 7, "bytes 3"));
               }},
          Case{"another time",
               [](const TempFolder&, OddFtpServer&server) {
                   server.Change([&](OddFtpServer::Ways& now) { now.listedTime = "Nov 23  2020"; });
               }},
          Case{"no time", [](const TempFolder&, OddFtpServer&server) {
                   server.Change([&](OddFtpServer::Ways& now) { now.listing = "x\r\n"; });
               }}}) {
        OddFtpServer server({.files = {{"clip", content}}});
        LeavePart(server, 20'000'000);
        server.Change("clip", changed);
        one.change(m_Folder, server);
        const std::string part = m_Folder.Read("clip.qlqlql");
        const Outcome outcome = Run({"--resume", server.Url("clip")});
        EXPECT_EQ(outcome.exitCode, 1) << one.name;
        EXPECT_THAT(outcome.error, AllOf(HasSubstr("differs from the source at byte 11,200,123"),
                                         HasSubstr("stays as it is")))
            << one.name;
        EXPECT_TRUE(m_Folder.Read("clip.qlqlql") == part) << one.name;
        EXPECT_FALSE(Has("clip"));
        const Outcome anew = Run({"--resume", "--yes", server.Url("clip")});
        EXPECT_EQ(anew.exitCode, 0) << one.name << anew.error;
        EXPECT_TRUE(m_Folder.Read("clip") == changed) << one.name;
        ExpectNothingBeside("clip");
        std::filesystem::remove(m_Folder.Name("clip"));
    }
}

// Its next change may be listed with the same time.
TEST_F(ToolGetTest, APartOfASourceThatIsNewHasNoRecordAndIsComparedAsAWhole) {
    const std::string content = Text(30'000'000);
    std::string changed = content;
    changed[11'200'123] ^= 1;
    std::array<char, 16> today{};
    const std::time_t clock = std::time(nullptr);
    ASSERT_GT(std::strftime(today.data(), today.size(), "%b %e %H:%M", std::gmtime(&clock)), 0u);
    OddFtpServer server({.files = {{"clip", content}}, .sendsMost = 20'000'000, .listedTime = today.data()});
    EXPECT_EQ(Run({server.Url("clip")}).exitCode, 1);
    ASSERT_TRUE(Has("clip.qlqlql"));
    EXPECT_FALSE(Has("clip.qlqlql.from"));
    server.Change([&](OddFtpServer::Ways& now) { now.sendsMost = OddFtpServer::kAll; });
    server.Change("clip", changed);
    const Outcome outcome = Run({"--resume", server.Url("clip")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("differs from the source at byte 11,200,123"));
    server.Change("clip", content);
    EXPECT_EQ(Run({"--resume", server.Url("clip")}).exitCode, 0);
    EXPECT_TRUE(m_Folder.Read("clip") == content);
}

TEST_F(ToolGetTest, APartWithoutARecordThatIsTheStartIsGoneOnWith) {
    const OddFtpServer server({.files = {{"clip", Text(3'000'000)}}});
    for (const std::size_t bytes : {1u, 1'500'000u, 3'000'000u}) {
        m_Folder.Write("clip.qlqlql", Text(3'000'000).substr(0, bytes));
        const Outcome outcome = Run({"--resume", "--verify", server.Url("clip"), "clip"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        EXPECT_EQ(outcome.out, Digest(Text(3'000'000)) + "  clip\n");
        EXPECT_TRUE(m_Folder.Read("clip") == Text(3'000'000));
        ExpectNothingBeside("clip");
        std::filesystem::remove(m_Folder.Name("clip"));
    }
}

TEST_F(ToolGetTest, APartThatIsLargerOrOfAnotherFileIsNotGoneOnWithAndAnEmptyOneIsNone) {
    const OddFtpServer server({.files = {{"clip", "good morning"}}});
    for (const char* const part : {"good morning, all", "good evening", "x"}) {
        m_Folder.Write("clip.qlqlql", part);
        const Outcome outcome = Run({"--resume", "--no", server.Url("clip")});
        EXPECT_EQ(outcome.exitCode, 1) << part;
        EXPECT_THAT(outcome.error, HasSubstr("is not gone on with: it "));
        EXPECT_EQ(m_Folder.Read("clip.qlqlql"), part);
    }
    EXPECT_EQ(Run({"--resume", server.Url("clip")}, "y\n").exitCode, 0);
    EXPECT_EQ(m_Folder.Read("clip"), "good morning");
    std::filesystem::remove(m_Folder.Name("clip"));
    m_Folder.Write("clip.qlqlql", "");
    EXPECT_EQ(Run({"--resume", server.Url("clip")}).exitCode, 0);
    EXPECT_EQ(m_Folder.Read("clip"), "good morning");
}

TEST_F(ToolGetTest, GoingOnThatBreaksOffKeepsWhatCame) {
    OddFtpServer server({.files = {{"clip", Text(3'000'000)}}});
    LeavePart(server, 1'000'000);
    server.Change([&](OddFtpServer::Ways& now) { now.sendsMost = 1'500'000; });
    const Outcome outcome = Run({"--resume", server.Url("clip")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("426 broken off"));
    const std::string part = m_Folder.Read("clip.qlqlql");
    EXPECT_GT(part.size(), 1'000'000u);
    EXPECT_TRUE(part == Text(part.size()));
    EXPECT_THAT(m_Folder.Read("clip.qlqlql.from"),
                HasSubstr("\nbytes " + std::to_string(part.size()) + "\n"));
    m_Folder.Write("clip", "as before");
    server.Change([&](OddFtpServer::Ways& now) { now.sendsMost = OddFtpServer::kAll; });
    EXPECT_EQ(Run({"--resume", server.Url("clip")}).exitCode, 1); // the file itself is asked about, too
    EXPECT_EQ(m_Folder.Read("clip"), "as before");
    EXPECT_EQ(Run({"--resume", "--yes", server.Url("clip")}).exitCode, 0);
    EXPECT_TRUE(m_Folder.Read("clip") == Text(3'000'000));
    ExpectNothingBeside("clip");
}

TEST_F(ToolGetTest, WhatCannotBeMeantIsWrongUsage) {
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"get"},
                                               {"get", "clip"},
                                               {"get", "clip", "ftp://h/x"},
                                               {"get", "ftp://h/x", "ftp://h/y"},
                                               {"get", "ftp://h/x", "y", "z"},
                                               {"get", "--yes", "--no", "ftp://h/x"},
                                               {"get", "--resume", "--active", "ftp://h/x"},
                                               {"get", "--resume", "--mode", "xdcam", "ftp://h/x"},
                                               {"put", "clip"},
                                               {"put", "clip", "clop"},
                                               {"put", "a", "b", "ftp://h/x"},
                                               {"put", "ftp://h/x", "ftp://h/y"},
                                               {"put", "--resume", "--mode", "2", "clip", "ftp://h/x"}}) {
        EXPECT_EQ(RunTool(words).exitCode, 2) << testing::PrintToString(words);
    }
}
