// vxcio put with servers of all manners, and both verbs with real ones.
#include "real/posix/FtpServers.h"
#include "real/posix/LocalPorts.h"
#include "support/TempFolder.h"
#include "tool/OddFtpServer.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>

using namespace vxcio::test;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using Files = std::map<std::string, std::string>;

std::string Text(std::size_t bytes, unsigned seed = 9) {
    const std::vector<uint8> pattern = Pattern(bytes, seed);
    return {pattern.begin(), pattern.end()};
}

class ToolPutTest : public testing::Test {
protected:
    Outcome Run(std::vector<std::string> words, const std::string& typed = "") const {
        words.insert(words.begin(), "put");
        return RunTool(words, {.folder = m_Folder.Path().string(), .typed = typed});
    }

    TempFolder m_Folder;
};

} // namespace

TEST_F(ToolPutTest, AFileGoesUpWholeAndItsDigestIsTold) {
    const OddFtpServer server({.files = {{"other", "1"}}});
    m_Folder.Write("clip", Text(3'000'001));
    const Outcome outcome = Run({"--verify", "clip", server.Url("")});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.out, RunProgram({"md5sum", m_Folder.Name("clip")}).out.substr(0, 32) + "  " +
                               server.Shown("clip") + "\n");
    EXPECT_EQ(server.Files(), (Files{{"clip", Text(3'000'001)}, {"other", "1"}}));
    EXPECT_THAT(server.Commands(), Contains("STOR clip.qlqlql"));
}

TEST_F(ToolPutTest, AFileThatIsThereStaysUnlessTheAnswerIsYes) {
    m_Folder.Write("from", "new");
    struct Case {
        std::vector<std::string> words;
        std::string typed;
        bool isYes;
    };
    for (const Case& one : {Case{{}, "", false}, Case{{"--no"}, "", false}, Case{{}, "n\n", false},
                            Case{{}, "y\n", true}, Case{{"--yes"}, "", true}}) {
        // One that its listing shows, and one that it does not.
        for (const char* const listing : {"", "x\r\n"}) {
            const OddFtpServer server({.files = {{"to", "as before"}}, .listing = listing});
            std::vector<std::string> words = one.words;
            words.insert(words.end(), {"from", server.Url("to")});
            const Outcome outcome = Run(words, one.typed);
            EXPECT_EQ(outcome.exitCode, one.isYes ? 0 : 1) << outcome.error;
            EXPECT_EQ(server.Files(), (Files{{"to", one.isYes ? "new" : "as before"}}));
            if (!one.isYes) {
                EXPECT_THAT(outcome.error, HasSubstr("is there and stays as it is"));
                EXPECT_THAT(server.Commands(), Not(Contains(StartsWith("STOR"))));
            }
        }
    }
}

TEST_F(ToolPutTest, APartIsNotLostWithoutAQuestionEither) {
    OddFtpServer server({.files = {{"to.qlqlql", "somebody's"}}});
    m_Folder.Write("to", "new");
    for (const std::vector<std::string>& more :
         std::vector<std::vector<std::string>>{{}, {"--no"}, {"--resume"}}) {
        std::vector<std::string> words = {"to", server.Url("")};
        words.insert(words.end(), more.begin(), more.end());
        EXPECT_EQ(Run(words).exitCode, 1);
        EXPECT_EQ(server.Files(), (Files{{"to.qlqlql", "somebody's"}}));
    }
    EXPECT_EQ(Run({"--yes", "to", server.Url("")}).exitCode, 0);
    EXPECT_EQ(server.Files(), (Files{{"to", "new"}}));
    m_Folder.Write("empty", "new");
    server.Change("empty.qlqlql", ""); // in which nothing is lost
    EXPECT_EQ(Run({"empty", server.Url("")}).exitCode, 0);
    EXPECT_EQ(server.Files(), (Files{{"to", "new"}, {"empty", "new"}}));
}

TEST_F(ToolPutTest, AnUploadThatWasCutIsGoneOnWith) {
    OddFtpServer server({.takesMost = 1'000'000});
    m_Folder.Write("to", Text(9'000'000));
    const Outcome cut = Run({"to", server.Url("")});
    EXPECT_EQ(cut.exitCode, 4);
    const std::size_t there = server.Files().at("to.qlqlql").size();
    EXPECT_GE(there, 1'000'000u);
    EXPECT_EQ(server.Files().count("to"), 0u);
    server.Change([&](OddFtpServer::Ways& now) { now.takesMost = OddFtpServer::kAll; });
    const Outcome resumed = Run({"--resume", "--json", "--verify", "to", server.Url("")});
    EXPECT_EQ(resumed.exitCode, 0) << resumed.error;
    EXPECT_THAT(resumed.out, AllOf(HasSubstr("\"resumed\":" + std::to_string(there)),
                                   HasSubstr("\"bytes\":9000000"), HasSubstr("\"verified\":true"),
                                   HasSubstr(RunProgram({"md5sum", m_Folder.Name("to")}).out.substr(0, 32))));
    EXPECT_TRUE(server.Files() == (Files{{"to", Text(9'000'000)}}));
    EXPECT_THAT(server.Commands(), Contains("APPE to.qlqlql"));
}

TEST_F(ToolPutTest, APartOfAnotherFileOrALargerOneIsSentAnew) {
    m_Folder.Write("to", "good morning");
    for (const char* const part : {"good evening", "good mornings", "x"}) {
        OddFtpServer server({.files = {{"to.qlqlql", part}}});
        const Outcome outcome = Run({"--resume", "to", server.Url("")});
        EXPECT_EQ(outcome.exitCode, 1) << part;
        EXPECT_THAT(outcome.error, HasSubstr("is not gone on with: it "));
        EXPECT_EQ(server.Files(), (Files{{"to.qlqlql", part}}));
        const Outcome anew = Run({"--resume", "--yes", "to", server.Url("")});
        EXPECT_EQ(anew.exitCode, 0) << anew.error;
        EXPECT_EQ(server.Files(), (Files{{"to", "good morning"}}));
        EXPECT_THAT(server.Commands(), Not(Contains(StartsWith("APPE"))));
    }
}

TEST_F(ToolPutTest, APartThatIsWholeGetsItsNameAndNothingIsSent) {
    OddFtpServer server({.files = {{"to.qlqlql", "good morning"}}});
    m_Folder.Write("to", "good morning");
    EXPECT_EQ(Run({"--resume", "to", server.Url("")}).exitCode, 0);
    EXPECT_EQ(server.Files(), (Files{{"to", "good morning"}}));
    EXPECT_THAT(server.Commands(), Not(Contains(testing::AnyOf(StartsWith("APPE"), StartsWith("STOR")))));
}

TEST_F(ToolPutTest, AServerThatSpoilsWhatIsAddedMakesNoFile) {
    OddFtpServer server({.files = {{"to.qlqlql", "good "}, {"to", "as before"}}, .appends = false});
    m_Folder.Write("from", "good morning");
    const Outcome outcome = Run({"--resume", "--yes", "from", server.Url("to")});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.error, AllOf(HasSubstr("holds 7 bytes instead of 12"), HasSubstr("--active")));
    EXPECT_EQ(server.Files().at("to"), "as before");
}

TEST_F(ToolPutTest, VerifyingFindsADifference) {
    // The question for the size is one download, and the first that reads is the next.
    OddFtpServer server({.files = {}, .laterContent = "good evening", .downloadsBefore = 1});
    m_Folder.Write("to", "good morning");
    const Outcome outcome = Run({"--verify", "to", server.Url("")});
    EXPECT_EQ(outcome.exitCode, 3) << outcome.error;
    EXPECT_EQ(server.Files(), (Files{{"to.qlqlql", "good morning"}}));
}

// ---- Real servers ----

class ToolGetPutServersTest : public testing::TestWithParam<FtpServer::Kind> {
protected:
    ToolGetPutServersTest() : m_Server(GetParam()) {}
    void SetUp() override { VXC_NEEDS_FTP_SERVER(m_Server); }
    std::string Name(const std::string& file) const {
        std::string url = m_Server.Url(file);
        return url.insert(6, m_Server.User() + ":" + m_Server.Password() + "@");
    }
    Outcome Run(const std::vector<std::string>& words) const {
        return RunTool(words, {.folder = m_Folder.Path().string()});
    }

    TempFolder m_Folder;
    FtpServer m_Server;
};

TEST_P(ToolGetPutServersTest, FilesComeAndAreGoneOnWith) {
    m_Server.WritePattern("clip", 12'500'000, 5);
    const std::string content = m_Server.Read("clip");
    EXPECT_EQ(Run({"get", Name("clip"), "whole"}).exitCode, 0);
    EXPECT_TRUE(m_Folder.Read("whole") == content);
    m_Folder.Write("clip.qlqlql", content.substr(0, 12'000'000));
    const Outcome outcome = Run({"get", "--resume", "--verify", Name("clip")});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error << m_Server.Log();
    EXPECT_TRUE(m_Folder.Read("clip") == content);
    EXPECT_FALSE(std::filesystem::exists(m_Folder.Name("clip.qlqlql")));
}

// The library asks for the part by a RETR without a data connection ahead of the APPE. One of the servers
// answers that where the upload's connection is meant to be.
TEST_P(ToolGetPutServersTest, FilesGoAndAreGoneOnWithOrNotPublished) {
    const std::string content = Text(3'000'000);
    m_Folder.Write("clip", content);
    EXPECT_EQ(Run({"put", "clip", Name("whole")}).exitCode, 0);
    EXPECT_TRUE(m_Server.Read("whole") == content);
    m_Server.Write("third.qlqlql", "somebody's");
    const Outcome over = Run({"put", "--yes", "clip", Name("third")});
    EXPECT_EQ(over.exitCode, 0) << over.error << m_Server.Log();
    EXPECT_TRUE(m_Server.Read("third") == content);
    m_Server.Write("clip.qlqlql", content.substr(0, 1'000'000));
    const Outcome outcome = Run({"put", "--resume", "clip", Name("clip")});
    if (GetParam() == FtpServer::Kind::PyFtpdLib) {
        EXPECT_EQ(outcome.exitCode, 4) << outcome.error;
        EXPECT_FALSE(m_Server.Has("clip"));
        return;
    }
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error << m_Server.Log();
    EXPECT_TRUE(m_Server.Read("clip") == content);
    EXPECT_FALSE(m_Server.Has("clip.qlqlql"));
    EXPECT_EQ(Run({"put", "clip", Name("clip")}).exitCode, 1);
}

INSTANTIATE_TEST_SUITE_P(Servers, ToolGetPutServersTest, testing::ValuesIn(FtpServer::kAll),
                         [](const auto& tested) { return FtpServer::NameOf(tested.param); });

TEST(ToolPutActiveTest, InActiveTransfersEveryServerAddsToAFile) {
    const std::string address = AddressForActive();
    if (address.empty()) {
        GTEST_SKIP() << "this machine has only the loopback interface";
    }
    const TempFolder folder;
    const FtpServer server(FtpServer::Kind::PyFtpdLib, {.address = address});
    VXC_NEEDS_FTP_SERVER(server);
    const std::string content = Text(3'000'000);
    server.Write("clip.qlqlql", content.substr(0, 1'000'000));
    std::string url = server.Url("clip");
    url.insert(6, server.User() + ":" + server.Password() + "@");
    const Outcome outcome = RunTool({"put", "--active", "--resume", folder.Write("clip", content), url});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error << server.Log();
    EXPECT_TRUE(server.Read("clip") == content);
}
