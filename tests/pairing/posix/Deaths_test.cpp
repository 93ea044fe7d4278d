// Servers that die, and what they leave.
#include "pairing/Bridge.h"
#include "pairing/Processes.h"

#include "bridge/SystemSender.h"
#include "support/LogCapture.h"
#include "support/PlatformScope.h"
#include "support/TestClock.h"

#include <gmock/gmock.h>

#include <csignal>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::Contains;
using ::testing::ElementsAre;

namespace {

pid_t g_server = 0;

// Starts the server so that its status can be asked for.
void* StartOwn(const wchar_t* commandLine) {
    const std::wstring wide(commandLine);
    std::string line(wide.begin(), wide.end());
    const std::size_t blank = line.rfind(' ');
    const std::string id = line.substr(blank + 1);
    line.resize(blank);
    for (char& c : line) {
        c = c == '\\' ? '/' : c;
    }
    g_server = fork();
    if (g_server == 0) {
        execl(line.c_str(), line.c_str(), id.c_str(), nullptr);
        _exit(127);
    }
    return &g_server;
}

class DeathsTest : public BridgeTest {
protected:
    void SetUp() override {
        BridgeTest::SetUp();
        platform.Processes().start = StartOwn;
        Start();
        m_plug = Load();
    }
    void TearDown() override {
        const TestClock clock;
        EXPECT_THAT(ServersOf(OwnProcess()), testing::IsEmpty());
        EXPECT_EQ(SanitizerReports(), "");
        // Whoever is left with a dead server leaves it by the unloading of the library.
        FreeSystemSenders();
        EXPECT_EQ(ObtainSysSender(), nullptr);
    }

    // What the server ended with; -1 for a signal.
    static int ExitCode() {
        int status = 0;
        waitpid(g_server, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    int ExitCodeAfter(const wchar_t* crash) {
        Channel& channel = Kept(m_plug);
        EXPECT_TRUE(channel.Works());
        EXPECT_EQ(channel.Call(crash, 50), kTimeOut);
        const int code = ExitCode();
        EXPECT_EQ(channel.Call(L"Empty", 5), kTimeOut);
        return code;
    }

    PlatformScope platform;
    unsigned long long m_plug = 0;
};

} // namespace

TEST_F(DeathsTest, AWriteToNowhereEndsTheServerWithTheSignalsCode) {
    EXPECT_EQ(ExitCodeAfter(L"NullWrite"), 128 + SIGSEGV);
}

TEST_F(DeathsTest, AnAbortEndsTheServerWithTheSignalsCode) {
    EXPECT_EQ(ExitCodeAfter(L"Abort"), 128 + SIGABRT);
}

TEST_F(DeathsTest, ARunawayRecursionEndsTheServerWithTheSignalsCode) {
    EXPECT_EQ(ExitCodeAfter(L"StackOverflow"), 128 + SIGSEGV);
}

TEST_F(DeathsTest, AnExitEndsTheServer) {
    EXPECT_EQ(ExitCodeAfter(L"Exit0"), 0);
}

TEST_F(DeathsTest, AKilledServerShowsAsTimeOutsOfTheToldLengths) {
    Channel& channel = Kept(m_plug);
    EXPECT_TRUE(channel.Works());
    Kill(static_cast<uint32>(g_server));
    EXPECT_EQ(ExitCode(), -1);
    TestClock clock;
    clock.AutoAdvance(true);
    EXPECT_EQ(channel.Call(L"Empty", 777), kTimeOut);
    EXPECT_EQ(RemoteLoadVXC32Plug(L"x"), 0u);
    EXPECT_EQ(static_cast<uint32>(RemoteFreeVXC32Plug(m_plug)), kTimeOut);
    channel.Release();
    EXPECT_EQ(static_cast<uint32>(DestoryVXC32ServProcess()), kTimeOut);
    EXPECT_THAT(clock.Waits(), ElementsAre(777, 5000, 5000, 5000, 10000));
    EXPECT_NE(ObtainSysSender(), nullptr);
    EXPECT_EQ(CreateVXC32ServProcess(), 0); // nothing looks, and nothing is started
    EXPECT_THAT(ServersOf(OwnProcess()), testing::IsEmpty());
}

TEST_F(DeathsTest, WhatATerminalSendsToAllItsProgramsDoesNotEndTheServer) {
    for (const int number : {SIGINT, SIGQUIT, SIGHUP}) {
        EXPECT_EQ(kill(g_server, number), 0);
    }
    Channel channel(m_plug);
    EXPECT_TRUE(channel.Works());
    channel.Release();
    Stop();
    EXPECT_EQ(ExitCode(), 0);
}

TEST_F(DeathsTest, AnOrderlyStopEndsTheServerWithZero) {
    Channel channel(m_plug);
    EXPECT_TRUE(channel.Works());
    channel.Release();
    const std::wstring id = ProcessIdText().c_str();
    Stop();
    EXPECT_EQ(ExitCode(), 0);
    for (const wchar_t* part : {L"_InMap", L"_OutMap"}) {
        EXPECT_FALSE(HasName(id + part, 'm'));
    }
}

TEST_F(DeathsTest, AStopDoesNotWaitForAPlugInThatNeverComesBack) {
    Channel& channel = Kept(m_plug);
    const std::wstring id = UniqueId();
    EXPECT_EQ(channel.Call(
                  L"Hang",
                  [&](CVXCSerialize& request) {
                      request << (id + L"_come").c_str() << (id + L"_never").c_str() << 1u;
                  },
                  [](CVXCSerialize&) {}, 50),
              kTimeOut);
    const auto start = std::chrono::steady_clock::now();
    Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(ExitCode(), 0); // by its own limit of three seconds
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(ServerProgramTest, WordsThatAreNoHostEndItWithTwoAndOneWithoutAChannelWithThree) {
    const auto run = [](const std::wstring& words) {
        const std::wstring line = ServerFolder() + L"/VXC32/VXC32ServU.exe " + words;
        StartOwn(line.c_str());
        int status = 0;
        waitpid(g_server, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    EXPECT_EQ(run(L""), 2);
    EXPECT_EQ(run(L"abc"), 2);
    EXPECT_EQ(run(L"-1"), 2);
    EXPECT_EQ(run(L"0"), 2);
    EXPECT_EQ(run(L"99999999999999999999999"), 2);
    EXPECT_EQ(run(L"00000001"), 3);
    EXPECT_EQ(run(std::to_wstring(OwnProcess())), 3);
    EXPECT_EQ(run(L"4294967295"), 3);
}
