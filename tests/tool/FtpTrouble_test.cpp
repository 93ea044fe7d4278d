// vxcio with FTP servers that do not do what they should, and with passwords that nobody is to see.
#include "real/posix/FtpServers.h"
#include "support/TempFolder.h"
#include "tool/OddFtpServer.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <fstream>

using namespace vxcio::test;
using testing::HasSubstr;
using testing::Not;

namespace {

class ToolFtpTroubleTest : public testing::Test {
protected:
    Outcome Run(const std::vector<std::string>& words) const {
        return RunTool(words, {.folder = m_Folder.Path().string()});
    }
    static std::string Text(std::size_t bytes) {
        const std::vector<uint8> pattern = Pattern(bytes, 9);
        return {pattern.begin(), pattern.end()};
    }

    TempFolder m_Folder;
};

} // namespace

TEST_F(ToolFtpTroubleTest, AnUploadThatTheServerCutsIsNoCopy) {
    const OddFtpServer server({.files = {{"to", "as before"}}, .keepsMost = 1000});
    m_Folder.Write("from", Text(5000));
    const Outcome outcome = Run({"copy", "from", server.Url("to")});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.error, AllOf(HasSubstr("holds 1,000 bytes instead of 5,000"),
                                     HasSubstr(server.Shown("to.vxcio-part") + "' holds 1,000 bytes")));
    EXPECT_EQ(server.Files().at("to"), "as before");
    EXPECT_EQ(Run({"copy", "--discard", "from", server.Url("to")}).exitCode, 4);
    EXPECT_EQ(server.Files().count("to.vxcio-part.1"), 0u);
}

TEST_F(ToolFtpTroubleTest, AServerThatReplacesNothingHasTheFormerFileDeletedFirst) {
    const OddFtpServer server({.files = {{"to", "former"}}, .replaces = false});
    m_Folder.Write("from", "new");
    const Outcome outcome = Run({"copy", "from", server.Url("to")});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(server.Files(), (std::map<std::string, std::string>{{"to", "new"}}));
}

TEST_F(ToolFtpTroubleTest, AnUploadThatIsRefusedLeavesNothing) {
    const OddFtpServer server({.replies = {{"STOR", "552 the disk is full"}}});
    m_Folder.Write("from", "new");
    const Outcome outcome = Run({"copy", "from", server.Url("to")});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, AllOf(HasSubstr("552 the disk is full"), HasSubstr("0x80000705")));
    EXPECT_TRUE(server.Files().empty());
}

TEST_F(ToolFtpTroubleTest, AServerThatTellsNoSizesIsReadToItsWordOfSuccess) {
    const OddFtpServer server({.files = {{"clip", Text(300'000)}}, .tellsSizes = false});
    EXPECT_TRUE(Run({"cat", server.Url("clip")}).out == Text(300'000));
    const Outcome copied = Run({"copy", server.Url("clip"), "clip"});
    EXPECT_EQ(copied.exitCode, 0) << copied.error;
    EXPECT_TRUE(m_Folder.Read("clip") == Text(300'000));
    const Outcome up = Run({"copy", "clip", server.Url("again")}); // its size stands in the listing
    EXPECT_EQ(up.exitCode, 0) << up.error;
}

TEST_F(ToolFtpTroubleTest, ADownloadThatBreaksOffIsNoFile) {
    for (const bool tellsSizes : {true, false}) {
        const OddFtpServer server(
            {.files = {{"clip", Text(300'000)}}, .tellsSizes = tellsSizes, .sendsMost = 100'000});
        const Outcome outcome = Run({"copy", "--discard", server.Url("clip"), "clip"});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.error, HasSubstr("426 broken off"));
        EXPECT_THROW(m_Folder.Read("clip"), std::runtime_error);
    }
}

TEST_F(ToolFtpTroubleTest, LinesThatNobodyUnderstandsAreCounted) {
    const OddFtpServer server({.listing = "total 4\r\n"
                                          "-rw-r--r-- 1 u g 1\r\n"
                                          "-rw-r--r--   1 norvex   norvex           12 Nov 22 03:22 b\r\n"
                                          "-rw-r--r-- 1 u g 1 x\r\n"
                                          "lrw-r--r--   1 norvex   norvex           12 Nov 22 03:22 link\r\n"
                                          "drwxr-xr-x   1 norvex   norvex           12 Nov 22 03:22 a\r\n"
                                          "drwxr-xr-x   1 norvex   norvex           12 Nov 22 03:22 ..\r\n"});
    const Outcome outcome = Run({"ls", server.Url("")});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out, "a\nb\n");
    EXPECT_THAT(outcome.error, HasSubstr("2 lines of the listing"));
}

// What came is no listing of the folder, and a name that it does not show is not free for that.
TEST_F(ToolFtpTroubleTest, AListingThatBreaksOffIsNone) {
    const OddFtpServer server(
        {.files = {{"a", "1"}, {"to", "as before"}, {"to.vxcio-part", "somebody's"}}, .listsMost = 100});
    const Outcome listed = Run({"ls", server.Url("")});
    EXPECT_EQ(listed.exitCode, 1);
    EXPECT_EQ(listed.out, "");
    EXPECT_THAT(listed.error, HasSubstr("the listing broke off"));
    const std::map<std::string, std::string> before = server.Files();
    m_Folder.Write("from", "new");
    for (const char* const name : {"to", ""}) {
        const Outcome copied = Run({"copy", "from", server.Url(name)});
        EXPECT_EQ(copied.exitCode, 4);
        EXPECT_THAT(copied.error, HasSubstr("the listing broke off")) << name;
    }
    EXPECT_THAT(server.Commands(), Not(testing::Contains(testing::StartsWith("STOR"))));
    EXPECT_EQ(server.Files(), before);
}

TEST_F(ToolFtpTroubleTest, WhetherANameIsThereIsNotToldWhereTheServerDoesNotTellIt) {
    const std::map<std::string, std::string> files = {{"clip", "1"}};
    const auto ask = [&](const OddFtpServer::Ways& ways, const std::vector<std::string>& words,
                         const std::string& name, const char* reason) {
        const OddFtpServer server(ways);
        std::vector<std::string> all = {"exists", server.Url(name)};
        all.insert(all.end(), words.begin(), words.end());
        const Outcome outcome = Run(all);
        EXPECT_EQ(outcome.exitCode, 1) << reason;
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.error, AllOf(HasSubstr(server.Shown(name)), HasSubstr(reason)));
    };
    ask({.files = files, .replies = {{"PORT", "500 never"}}}, {"--active"}, "clip", "500 never");
    ask({.files = files, .replies = {{"LIST", "425 no"}, {"RETR", "425 no"}}}, {}, "clip", "425 no");
    ask({.files = files, .replies = {{"LIST", "425 no"}, {"RETR", ""}}}, {"--time-out", "1000"}, "clip",
        "does not answer within 1000 ms");
    ask({.replies = {{"CWD", "450 not now"}}}, {}, "nothing", "450 not now");
    ask({.replies = {{"CWD", ""}}}, {"--time-out", "1000"}, "nothing", "does not answer within 1000 ms");
}

TEST_F(ToolFtpTroubleTest, ANameIsThereOrNotWhereverItsFolderCannotBeListed) {
    const OddFtpServer server({.files = {{"clip", "1"}}, .replies = {{"LIST", "425 no"}}});
    const Outcome outcome =
        Run({"exists", server.Url("clip"), server.Url("nowhere"), server.Url("elsewhere")});
    EXPECT_EQ(outcome.exitCode, 3) << outcome.error;
    EXPECT_EQ(outcome.out, server.Shown("clip") + ": yes\n" + server.Shown("nowhere") + ": no\n" +
                               server.Shown("elsewhere") + ": yes, a folder\n");
}

TEST_F(ToolFtpTroubleTest, AServerThatCannotBeginWithinAFileIsTold) {
    const OddFtpServer server({.files = {{"clip", Text(9'000'000)}}, .replies = {{"REST", "502 never"}}});
    const Outcome outcome = Run({"cat", "--offset", "8000000", server.Url("clip")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.error, HasSubstr("502 never"));
}

TEST_F(ToolFtpTroubleTest, AServerThatFallsSilentCostsTheTimeThatIsTold) {
    for (const char* const command : {"USER", "CWD", "LIST", "SIZE", "RETR"}) {
        const OddFtpServer server({.files = {{"clip", "1"}}, .replies = {{command, ""}}});
        const auto start = std::chrono::steady_clock::now();
        const std::string verb = command[0] == 'S' || command[0] == 'R' ? "cat" : "ls";
        const Outcome outcome = Run({verb, "--time-out", "1000", server.Url(verb == "cat" ? "clip" : "")});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.error, HasSubstr("does not answer within 1000 ms")) << command;
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(12)) << command;
    }
}

TEST_F(ToolFtpTroubleTest, AServerThatStopsInMidTransferCostsTheTimeThatIsTold) {
    FtpServer server(FtpServer::Kind::PyFtpdLib);
    VXC_NEEDS_FTP_SERVER(server);
    server.WritePattern("clip", 30'000'000, 4);
    std::string name = server.Url("clip");
    name.insert(6, server.User() + ":" + server.Password() + "@");
    ToolProcess down({ToolName(), "cat", "--time-out", "1000", name}, {});
    EXPECT_EQ(down.ReadOutput(1'000'000).size(), 1'000'000u);
    server.Stop();
    const Outcome outcome = down.Finish();
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, AllOf(HasSubstr("of 30,000,000 bytes could be read"), HasSubstr("Time Out")));
}

TEST_F(ToolFtpTroubleTest, TheWishToStopEndsAWaitForAServer) {
    const OddFtpServer server({.replies = {{"LIST", ""}}});
    ToolProcess tool({ToolName(), "ls", server.Url("")}, {});
    ASSERT_TRUE(server.WaitFor("LIST "));
    tool.Signal(SIGINT);
    EXPECT_EQ(tool.Finish().exitCode, 130);
}

TEST_F(ToolFtpTroubleTest, ThePasswordIsShownNowhere) {
    const std::string secret = OddFtpServer::kPassword;
    // A server that repeats what it was told.
    const OddFtpServer server({.files = {{"clip", Text(5000)}, {"b", "1"}},
                               .replies = {{"PASS " + secret, "230 your password is " + secret},
                                           {"SITE", "500 no"},
                                           {"DELE locked", "550 not with " + secret}}});
    m_Folder.Write("from", "1");
    m_Folder.Write("list", "0123456789abcdef0123456789abcdef  " + server.Url("clip") + "\n");
    m_Folder.Write("names", server.Url("clip") + "\n");
    const std::string name = server.Url("clip");
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"cat", name},
                                               {"cat", server.Url("nothing")},
                                               {"info", name},
                                               {"info", "--json", name, server.Url("nothing")},
                                               {"md5", name},
                                               {"md5", "--json", name, server.Url("nothing")},
                                               {"md5", "-c", "list"},
                                               {"md5", "--join", name, "from"},
                                               {"md5", "@names"},
                                               {"md5", "-c", name},
                                               {"copy", name, "down"},
                                               {"copy", "--json", "from", server.Url("up")},
                                               {"copy", "--verify", name, server.Url("up")},
                                               {"copy", name, name},
                                               {"get", name, "got"},
                                               {"get", "--json", name, "got"},
                                               {"get", "--resume", name, "nowhere/got"},
                                               {"put", "from", name},
                                               {"put", "--yes", "--json", "from", name},
                                               {"copy", "--append", "from", name},
                                               {"copy", "from", server.Url("no/where/")},
                                               {"ls", "-l", server.Url("")},
                                               {"ls", "--json", server.Url(""), server.Url("nowhere")},
                                               {"exists", name, server.Url("nothing")},
                                               {"exists", "--json", name},
                                               {"mkdir", server.Url("folder")},
                                               {"rmdir", server.Url("folder")},
                                               {"mv", server.Url("b"), server.Url("c")},
                                               {"mv", server.Url("b"), "here"},
                                               {"rm", server.Url("c"), server.Url("locked")},
                                               {"cat", "from*" + name},
                                               {"cat", "--frob=" + name},
                                               {"frob", name},
                                               {"cat", server.Url("%zz")},
                                               {"cat", server.Url("x").replace(0, 3, "sftp")}}) {
        std::vector<std::string> all = words;
        all.insert(all.end(), {"-v", "--log", "log", "--time-out", "5000"});
        const Outcome outcome = Run(all);
        for (const char* const text : {"Ka:ppe", "Ka%3Appe"}) {
            EXPECT_THAT(outcome.out, Not(HasSubstr(text))) << testing::PrintToString(words);
            EXPECT_THAT(outcome.error, Not(HasSubstr(text))) << testing::PrintToString(words);
        }
    }
    const std::string log = m_Folder.Read("log");
    EXPECT_THAT(log, AllOf(HasSubstr("230 your password is *****"), HasSubstr("550 not with *****")));
    EXPECT_THAT(log, AllOf(Not(HasSubstr("Ka:ppe")), Not(HasSubstr("Ka%3Appe"))));
}

TEST_F(ToolFtpTroubleTest, ThePasswordIsWipedFromTheListOfProcessesAndTheEnvironment) {
    const OddFtpServer server({.replies = {{"LIST", ""}}});
    ToolProcess tool({"env", "VXCIO_FTP_PASSWORD=Hut-99", ToolName(), "ls", server.Url("")}, {});
    ASSERT_TRUE(server.WaitFor("LIST "));
    for (const char* const file : {"cmdline", "environ"}) {
        std::ifstream stream("/proc/" + std::to_string(tool.Id()) + "/" + file);
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        EXPECT_THAT(text, AllOf(Not(HasSubstr("ppe-77")), Not(HasSubstr("Hut-99"))));
        EXPECT_FALSE(text.empty());
    }
    tool.Signal(SIGTERM);
    EXPECT_EQ(tool.Finish().exitCode, 130);
}

TEST_F(ToolFtpTroubleTest, AUserWithoutAPasswordHasThatOfTheEnvironmentOrTheNetrcFile) {
    const OddFtpServer server({.files = {{"clip", "1"}}});
    const std::string shown = server.Shown("clip");
    std::string bare = shown;
    bare.erase(6, bare.find('@') - 5);
    const std::string file = m_Folder.Write("netrc", "machine 127.0.0.1 login norvex password of-the-file\n");
    const auto run = [&](const std::vector<std::string>& words) {
        std::vector<std::string> all = {"env", "HOME=" + m_Folder.Path().string()};
        all.insert(all.end(), words.begin(), words.end());
        all.insert(all.end(), {ToolName(), "cat", "--netrc", file});
        all.push_back(words.size() > 1 ? bare : shown);
        return RunProgram(all, {.folder = m_Folder.Path().string()});
    };
    const auto said = [&](const std::string& line) {
        const std::vector<std::string> all = server.Commands();
        return std::count(all.begin(), all.end(), line);
    };
    std::filesystem::permissions(file, std::filesystem::perms(0644));
    const Outcome open = run({"A=b"});
    EXPECT_EQ(open.out, "1");
    EXPECT_THAT(open.error,
                AllOf(HasSubstr("warning"), HasSubstr("chmod 600"), Not(HasSubstr("of-the-file"))));
    EXPECT_EQ(said("PASS of-the-file"), 0);
    EXPECT_EQ(said("PASS "), 1);
    std::filesystem::permissions(file, std::filesystem::perms(0600));
    EXPECT_EQ(run({"A=b"}).error, "");
    EXPECT_EQ(said("PASS of-the-file"), 1);
    EXPECT_EQ(run({"A=b", "B=c"}).out, "1"); // nor does the name tell a user
    EXPECT_EQ(said("PASS of-the-file"), 2);
    EXPECT_EQ(said("USER norvex"), 3);
    EXPECT_EQ(run({"VXCIO_FTP_PASSWORD=of-the-environment"}).out, "1");
    EXPECT_EQ(said("PASS of-the-environment"), 1);
    // A name without a user is none that the environment speaks of.
    EXPECT_EQ(run({"VXCIO_FTP_PASSWORD=of-the-environment", "A=b"}).out, "1");
    EXPECT_EQ(said("PASS of-the-environment"), 1);
    const Outcome missing = RunTool({"cat", "--netrc", m_Folder.Name("none"), shown});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_THAT(missing.error, HasSubstr("none"));
}

TEST_F(ToolFtpTroubleTest, WithoutAUserItIsAnonymous) {
    const OddFtpServer server({.files = {{"clip", "1"}}});
    std::string bare = server.Shown("clip");
    bare.erase(6, bare.find('@') - 5);
    EXPECT_EQ(RunProgram({"env", "HOME=" + m_Folder.Path().string(), ToolName(), "cat", bare}).out, "1");
    EXPECT_THAT(server.Commands(), testing::Contains("USER anonymous"));
}

TEST_F(ToolFtpTroubleTest, ModesAreNamesOrNumbers) {
    const OddFtpServer server({.files = {{"clip", "1"}}, .replies = {{"PORT", "500 never"}}});
    for (const std::vector<std::string>& way : std::vector<std::vector<std::string>>{
             {"--active"}, {"--mode", "delayed"}, {"--mode", "9"}, {"--mode", "4"}}) {
        std::vector<std::string> words = {"cat", server.Url("clip")};
        words.insert(words.end(), way.begin(), way.end());
        const Outcome outcome = Run(words);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.error, HasSubstr("active transfer")) << testing::PrintToString(way);
    }
    EXPECT_THAT(server.Commands(), Not(testing::Contains("PASV")));
    EXPECT_EQ(Run({"cat", "--mode", "normal", server.Url("clip")}).out, "1");
    EXPECT_EQ(Run({"cat", "--mode", "0", server.Url("clip")}).out, "1");
    for (const char* const mode : {"passive", "-1", "1x", ""}) {
        EXPECT_EQ(Run({"cat", "--mode", mode, server.Url("clip")}).exitCode, 2) << mode;
    }
}

TEST_F(ToolFtpTroubleTest, WhatCannotBeMeantIsWrongUsage) {
    m_Folder.Write("from", "1");
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"cat", "ftp://h/a%0D%0ADELE%20b"},
                                               {"rm", "ftp://h/%00"},
                                               {"copy", "from", "ftp://h:0/x"},
                                               {"copy", "--append", "from", "ftp://h/x"},
                                               {"copy", "--sync", "from", "ftp://h/x"},
                                               {"md5", "-c", "ftp://h/x"},
                                               {"mv", "ftp://h/x"},
                                               {"mv", "ftp://h/x", "y"},
                                               {"mv", "ftp://h/x", "ftp://g/y"}}) {
        EXPECT_EQ(Run(words).exitCode, 2) << testing::PrintToString(words);
    }
}
