// The FTP servers themselves, so that what rests on them can be believed. The client is curl.
#include "real/posix/FtpMatrix.h"

#include "support/posix/SystemTesting.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vxcio::test;
using testing::HasSubstr;

namespace {

class FtpServersTest : public testing::TestWithParam<FtpServer::Kind> {
protected:
    // By curl, as the server's user.
    static Outcome Run(const FtpServer& server, std::vector<std::string> words) {
        words.insert(words.begin(), {"/usr/bin/curl", "-sS", "--disable-epsv", "--disable-eprt", "-u",
                                     server.User() + ":" + server.Password()});
        return RunProgram(words);
    }
};

// Of a server when its test, which leads a group of its own, ends like this, by that signal.
void ExpectNothingIsLeft(FtpServer::Kind kind, int signal, const std::function<int()>& end) {
    // What the dead process leaves behind becomes ours, so that its end can be waited for.
    ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    const TempFolder shared;
    const int ended = RunInChild([&] {
        ::setpgid(0, 0);
        const FtpServer server(kind);
        if (!server.IsThere()) {
            return 1;
        }
        shared.Write("url", server.Url(""));
        shared.Write("root", server.Root());
        return end();
    });
    if (ended == 1) {
        GTEST_SKIP() << FtpServer(kind).Lack();
    }
    ASSERT_EQ(ended, 1000 + signal);
    int kept = 0;
    int status = 0;
    while (::waitpid(-1, &status, 0) > 0) {
        EXPECT_EQ(status, 0); // the keeper, of its own will
        ++kept;
    }
    EXPECT_EQ(kept, 1);
    std::filesystem::remove_all(std::filesystem::path(shared.Read("root")).parent_path().parent_path());
    EXPECT_EQ(RunProgram({"/usr/bin/curl", "-sS", shared.Read("url")}).exitCode, 7); // nobody is there
}

} // namespace

TEST_P(FtpServersTest, ListsSendsAndTakesFiles) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("folder/greeting", "good morning");
    server.WritePattern("clip", 300'001, 5);
    EXPECT_THAT(Run(server, {server.Url("")}).out, AllOf(HasSubstr("folder\n"), HasSubstr(" 300001 ")));
    EXPECT_EQ(Run(server, {server.Url("folder/greeting")}).out, "good morning");
    EXPECT_TRUE(Run(server, {server.Url("clip")}).out == server.Read("clip"));
    const TempFolder own;
    const Outcome sent =
        Run(server, {"-T", own.WritePattern("sent", 200'003, 6), server.Url("folder/arrived")});
    EXPECT_EQ(sent.exitCode, 0) << sent.error << server.Log();
    EXPECT_TRUE(server.Read("folder/arrived") == own.Read("sent"));
}

TEST_P(FtpServersTest, ConnectsBackToAnAddressOfThisMachine) {
    VXC_NEEDS_ACTIVE_FTP();
    const FtpServer server(GetParam(), {.address = AddressForActive()});
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("greeting", "good morning");
    const Outcome active = Run(server, {"-P", "-", server.Url("greeting")});
    EXPECT_EQ(active.out, "good morning") << active.error;
}

TEST_P(FtpServersTest, FilesOfTheTestCanBeChangedByTheSession) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("folder/old", "good morning");
    const TempFolder own;
    const std::string more = own.Write("more", " and good night");
    const Outcome changed =
        Run(server, {"-a", "-T", more, server.Url("folder/old"), "-Q", "-RNFR " + server.Path("folder/old"),
                     "-Q", "-RNTO " + server.Path("new"), "-Q", "-RMD " + server.Path("folder")});
    EXPECT_EQ(changed.exitCode, 0) << changed.error;
    EXPECT_EQ(server.Read("new"), "good morning and good night");
    EXPECT_FALSE(server.Has("folder"));
}

TEST_P(FtpServersTest, SaysNothingWhileItIsStopped) {
    FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("greeting", "good morning");
    server.Stop();
    const Outcome silence = Run(server, {"-m", "0.2", server.Url("greeting")});
    EXPECT_EQ(silence.exitCode, 28) << silence.error; // its time is over
    server.Continue();
    EXPECT_EQ(Run(server, {server.Url("greeting")}).out, "good morning");
    server.Kill();
    EXPECT_EQ(Run(server, {server.Url("greeting")}).exitCode, 7); // nobody is there
}

TEST_P(FtpServersTest, NothingIsLeftOfItWhenTheTestIsKilled) {
    ExpectNothingIsLeft(GetParam(), SIGKILL, [] { return ::raise(SIGKILL); });
}

// As by Ctrl-C or a limit of time, which also reach what the test has started.
TEST_P(FtpServersTest, NothingIsLeftOfItWhenTheGroupOfTheTestIsEnded) {
    ExpectNothingIsLeft(GetParam(), SIGTERM, [] { return ::kill(0, SIGTERM); });
}

INSTANTIATE_TEST_SUITE_P(Each, FtpServersTest, testing::ValuesIn(FtpServer::kAll),
                         [](const auto& kind) { return FtpServer::NameOf(kind.param); });
