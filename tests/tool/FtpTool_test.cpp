// vxcio with names of files on real FTP servers.
#include "real/posix/FtpServers.h"
#include "real/posix/LocalPorts.h"
#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>

using namespace vxcio::test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// Of each wait for a reply that never comes the library makes 15 seconds. Without one all here take a
// fraction of this, also on a machine that does much else.
constexpr std::chrono::milliseconds kWithoutWaits{10000};

class ToolFtpTest : public testing::TestWithParam<FtpServer::Kind> {
public:
    explicit ToolFtpTest(const std::string& address = "127.0.0.1")
        : m_Server(GetParam(), {.address = address}) {}

protected:
    void SetUp() override { VXC_NEEDS_FTP_SERVER(m_Server); }

    std::string Name(const std::string& file) const {
        std::string url = m_Server.Url(file);
        return url.insert(6, m_Server.User() + ":" + m_Server.Password() + "@");
    }
    std::string Shown(const std::string& file) const {
        std::string url = m_Server.Url(file);
        return url.insert(6, m_Server.User() + "@");
    }
    Outcome Run(const std::vector<std::string>& words) const {
        return RunTool(words, {.folder = m_Folder.Path().string()});
    }
    // How long it takes.
    std::chrono::milliseconds Timed(const std::vector<std::string>& words) const {
        const auto start = std::chrono::steady_clock::now();
        const Outcome outcome = Run(words);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                     start);
    }
    std::string Digest(const std::string& content) const {
        return RunProgram({"md5sum", m_Folder.Write("digested", content)}).out.substr(0, 32);
    }

    TempFolder m_Folder;
    FtpServer m_Server;
};

// Servers connect back to the address a session comes from alone, so both ends have the machine's own.
class ToolFtpActiveTest : public ToolFtpTest {
protected:
    ToolFtpActiveTest() : ToolFtpTest(AddressForActive()) {}
    void SetUp() override {
        if (m_Server.Host().empty()) {
            GTEST_SKIP() << "this machine has only the loopback interface";
        }
        ToolFtpTest::SetUp();
    }
};

} // namespace

TEST_P(ToolFtpTest, FilesAreReadTheirSizesToldAndTheirDigestsMade) {
    m_Server.WritePattern("clip.mxf", 3'000'001, 5);
    m_Server.Write("empty", "");
    m_Server.Write("folder/a b%", "good morning");
    EXPECT_TRUE(Run({"cat", Name("clip.mxf")}).out == m_Server.Read("clip.mxf"));
    EXPECT_EQ(Run({"cat", Name("empty")}).out, "");
    EXPECT_EQ(Run({"cat", Name("folder/a%20b%25")}).out, "good morning");
    EXPECT_EQ(Run({"cat", "--offset", "2999999", Name("clip.mxf")}).out,
              m_Server.Read("clip.mxf").substr(2999999));
    EXPECT_EQ(Run({"cat", "--offset", "5", "--length", "2", Name("folder/a b%25")}).out, "mo");
    const nlohmann::json info = nlohmann::json::parse(Run({"info", "--json", Name("clip.mxf")}).out);
    EXPECT_EQ(info[0]["size"], 3'000'001);
    EXPECT_EQ(info[0]["source"], "CFtpSource");
    EXPECT_EQ(info[0]["name"], Shown("clip.mxf"));
    const Outcome md5 = Run({"md5", Name("clip.mxf"), Name("empty")});
    EXPECT_EQ(md5.exitCode, 0) << md5.error;
    EXPECT_EQ(md5.out, Digest(m_Server.Read("clip.mxf")) + "  " + Shown("clip.mxf") + "\n" + Digest("") +
                           "  " + Shown("empty") + "\n");
    EXPECT_EQ(Run({"md5", "--pre-read", "1M", Name("clip.mxf")}).out.substr(0, 32), md5.out.substr(0, 32));
}

TEST_P(ToolFtpTest, CopiesGoUpAndComeDownWhole) {
    const std::string clip = m_Folder.WritePattern("clip.mxf", 3'000'001, 6);
    const std::string content = m_Folder.Read("clip.mxf");
    m_Folder.Write("empty", "");
    m_Server.MakeFolder("folder");
    const Outcome up = Run({"copy", "--verify", "clip.mxf", "empty", Name("folder")});
    EXPECT_EQ(up.exitCode, 0) << up.error << m_Server.Log();
    EXPECT_EQ(up.error, "");
    EXPECT_EQ(up.out, Digest(content) + "  " + Shown("folder/clip.mxf") + "\n" + Digest("") + "  " +
                          Shown("folder/empty") + "\n");
    EXPECT_TRUE(m_Server.Read("folder/clip.mxf") == content);
    EXPECT_EQ(m_Server.Read("folder/empty"), "");
    EXPECT_FALSE(m_Server.Has("folder/clip.mxf.vxcio-part"));
    const Outcome down = Run({"copy", Name("folder/clip.mxf"), Name("folder/empty"), "."});
    EXPECT_EQ(down.exitCode, 0) << down.error;
    EXPECT_TRUE(m_Folder.Read("clip.mxf") == content);
    const Outcome across = Run({"copy", Name("folder/clip.mxf"), Name("across")});
    EXPECT_EQ(across.exitCode, 0) << across.error;
    EXPECT_TRUE(m_Server.Read("across") == content);
}

TEST_P(ToolFtpTest, AFileThatIsThereIsReplacedWhole) {
    m_Folder.Write("from", "the new content");
    m_Server.WritePattern("to", 100'000, 3);
    m_Server.Write("to.vxcio-part", "somebody else's");
    const Outcome outcome = Run({"copy", "from", Name("to")});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error << m_Server.Log();
    EXPECT_EQ(m_Server.Read("to"), "the new content");
    EXPECT_EQ(m_Server.Read("to.vxcio-part"), "somebody else's");
}

TEST_P(ToolFtpTest, ListingsTellWhatIsThere) {
    m_Server.Write("folder/b", "12345");
    m_Server.Write("folder/a c\xC3\xA4", "1");
    m_Server.MakeFolder("folder/sub");
    m_Server.MakeFolder("none");
    EXPECT_EQ(Run({"ls", Name("folder")}).out, "a c\xC3\xA4\nb\nsub\n");
    EXPECT_EQ(Run({"ls", Name("folder/")}).out, "a c\xC3\xA4\nb\nsub\n");
    EXPECT_EQ(Run({"ls", Name("none")}).out, "");
    EXPECT_THAT(Run({"ls", "-l", Name("folder/b")}).out, testing::MatchesRegex("- 5  2.*:..  b\n"));
    const nlohmann::json json = nlohmann::json::parse(Run({"ls", "--json", Name("folder")}).out);
    EXPECT_EQ(json[0]["kind"], "folder");
    EXPECT_EQ(json[0]["entries"][1]["sizeLow32"], 5);
    EXPECT_EQ(json[0]["entries"][2]["kind"], "folder");
    const Outcome missing = Run({"ls", Name("folder/x"), Name("folder")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_THAT(missing.error, HasSubstr("550"));
    EXPECT_THAT(missing.out, HasSubstr("\nb\n"));
}

TEST_P(ToolFtpTest, WhatIsThereExists) {
    m_Server.Write("folder/b", "12345");
    std::filesystem::create_symlink("folder", m_Server.Root() + "/link");
    const Outcome outcome = Run({"exists", Name("folder/b"), Name("folder"), Name("link"), Name("x"),
                                 Name("x/y"), Name("folder/b/")});
    EXPECT_EQ(outcome.exitCode, 3) << outcome.error;
    EXPECT_EQ(outcome.out, Shown("folder/b") + ": yes\n" + Shown("folder") + ": yes, a folder\n" +
                               Shown("link") + ": yes, a folder\n" + Shown("x") + ": no\n" + Shown("x/y") +
                               ": no\n" + Shown("folder/b/") + ": yes\n");
    EXPECT_EQ(Run({"exists", Name("folder/b")}).exitCode, 0);
}

TEST_P(ToolFtpTest, FilesAndFoldersAreMadeMovedAndRemoved) {
    m_Server.Write("a", "1");
    m_Server.Write("b", "2");
    EXPECT_EQ(Run({"mkdir", Name("new"), Name("new/sub")}).exitCode, 0);
    EXPECT_EQ(Run({"mv", Name("a"), Name("new/c")}).exitCode, 0);
    EXPECT_EQ(m_Server.Read("new/c"), "1");
    EXPECT_FALSE(m_Server.Has("a"));
    const Outcome removed = Run({"rm", Name("x"), Name("new/c"), Name("b")});
    EXPECT_EQ(removed.exitCode, 1); // one is not there, and the others go all the same
    EXPECT_THAT(removed.error, AllOf(HasSubstr(Shown("x")), HasSubstr("550")));
    EXPECT_FALSE(m_Server.Has("new/c") || m_Server.Has("b"));
    const Outcome full = Run({"rmdir", Name("new")});
    EXPECT_EQ(full.exitCode, 1);
    EXPECT_TRUE(m_Server.Has("new"));
    EXPECT_EQ(Run({"rmdir", Name("new/sub"), Name("new")}).exitCode, 0);
    EXPECT_FALSE(m_Server.Has("new"));
}

TEST_P(ToolFtpTest, NothingStandsInAvoidableWaits) {
    m_Server.WritePattern("large", 8'000'001, 5);
    m_Server.Write("small", "1");
    m_Folder.Write("from", "2");
    EXPECT_LT(Timed({"md5", Name("small"), Name("large"), Name("small")}), kWithoutWaits);
    EXPECT_LT(Timed({"cat", "--offset", "6000000", "--length", "3", Name("large")}), kWithoutWaits);
    EXPECT_LT(Timed({"cat", "--length", "3", Name("large")}), kWithoutWaits);
    EXPECT_LT(Timed({"info", Name("large"), Name("small")}), kWithoutWaits);
    EXPECT_LT(Timed({"ls", Name(""), Name("small"), Name("")}), kWithoutWaits);
    EXPECT_LT(Timed({"copy", "from", Name("to")}), kWithoutWaits);
}

TEST_P(ToolFtpActiveTest, FilesGoAndComeOverConnectionsThatTheServerMakes) {
    m_Folder.WritePattern("clip.mxf", 3'000'001, 6);
    const std::string content = m_Folder.Read("clip.mxf");
    for (const std::vector<std::string>& way :
         std::vector<std::vector<std::string>>{{"--active"}, {"--mode", "xdcam"}}) {
        const auto run = [&](std::vector<std::string> words) {
            words.insert(words.end(), way.begin(), way.end());
            const Outcome outcome = Run(words);
            EXPECT_EQ(outcome.exitCode, 0)
                << outcome.error << testing::PrintToString(words) << m_Server.Log();
            return outcome.out;
        };
        EXPECT_EQ(run({"copy", "--verify", "clip.mxf", Name("up.mxf")}),
                  Digest(content) + "  " + Shown("up.mxf") + "\n");
        EXPECT_TRUE(m_Server.Read("up.mxf") == content);
        EXPECT_EQ(run({"ls", Name("")}), "up.mxf\n");
        EXPECT_TRUE(run({"cat", Name("up.mxf")}) == content);
        EXPECT_EQ(run({"rm", Name("up.mxf")}), "");
    }
}

TEST_P(ToolFtpTest, AWrongPasswordAndAMissingFileAreToldInTheServersWords) {
    const Outcome missing = Run({"cat", Name("nothing")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_THAT(missing.error, AllOf(HasSubstr(Shown("nothing")), HasSubstr("550"), HasSubstr("0x80000704")));
    if (GetParam() == FtpServer::Kind::Vsftpd) {
        return; // its user needs no password
    }
    std::string wrong = m_Server.Url("x");
    const Outcome refused = Run({"cat", wrong.insert(6, m_Server.User() + ":no@")});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.error, AllOf(HasSubstr("refuses the password"), HasSubstr("530")));
}

INSTANTIATE_TEST_SUITE_P(Servers, ToolFtpTest, testing::ValuesIn(FtpServer::kAll),
                         [](const auto& tested) { return FtpServer::NameOf(tested.param); });
INSTANTIATE_TEST_SUITE_P(Servers, ToolFtpActiveTest, testing::ValuesIn(FtpServer::kAll),
                         [](const auto& tested) { return FtpServer::NameOf(tested.param); });
