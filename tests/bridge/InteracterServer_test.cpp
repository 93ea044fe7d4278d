// What a host's end asks of the server, what it makes of the replies, and its release.
#include "bridge/InteracterTesting.h"
#include "bridge/SystemSender.h"
#include "platform/Process.h"
#include "support/Gate.h"
#include "support/LogCapture.h"
#include "support/TestClock.h"

#include <cwchar>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Kind = SharedObjectsPlan::Kind;
using Bytes = std::vector<unsigned char>;

namespace {

constexpr int kTimeOut = static_cast<int>(0x8000000Du);
constexpr unsigned long long kPlug = 0x0807060504030201u;

// Of plain characters, as UTF-16LE.
void Append(Bytes& bytes, const std::wstring& text) {
    for (const wchar_t c : text) {
        bytes.push_back(static_cast<unsigned char>(c));
        bytes.push_back(0);
    }
}

void Append(Bytes& bytes, const Bytes& others) {
    bytes.insert(bytes.end(), others.begin(), others.end());
}

class InteracterServerTest : public ::testing::Test {
protected:
    int Initialize(unsigned long long plug = kPlug) {
        return host.Initialize(plug, id.c_str(), 2048, 0x1234);
    }
    std::vector<std::wstring> Failures() const { return log.Texts(INFOTYPE_ERROR); }
    std::vector<std::wstring> Commands(const PlayedServer& server) const {
        std::vector<std::wstring> commands;
        for (const PlayedServer::Request& request : server.Requests()) {
            commands.push_back(request.command);
        }
        return commands;
    }
    bool HasRequestSpace() { return UsableSpaces(host).requestBytes == 2048; }

    const std::wstring id = UniqueId();
    const SharedObjectsPlan plan;
    LogCapture log;
    CVXCInteracterImpl host{VXC_INTERACTER_SENDER};
};

// Without a channel of the host's nothing of the server's is left either.
void ExpectNothingLeft(const std::wstring& id) {
    EXPECT_THAT(NamesOf(id), IsEmpty());
}

} // namespace

// ---- Set-up -------------------------------------------------------------------------------------------

TEST_F(InteracterServerTest, WithoutASystemSenderTheSetUpMakesNothing) {
    EXPECT_EQ(ObtainSysSender(), nullptr);
    EXPECT_EQ(Initialize(), -1);
    wchar_t first[200] = {};
    std::swprintf(first, 200, L"Sender ID: %ls [thread:%d]", id.c_str(), Process().threadId());
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO", first},
                                         LogLine{INFOTYPE_ERROR, L"VXCSoftCodecIO",
                                                 L"Initialize Failed: Can't Obtain SysInteracter"}));
    EXPECT_EQ(plan.Handles(), 0);
    ExpectNothingLeft(id);
}

TEST_F(InteracterServerTest, AChannelComesUpAndGoesWithBothItsEnds) {
    PlayedServer server;
    const int before = plan.Handles();
    EXPECT_EQ(ObtainSysSender(), SystemSender());
    EXPECT_EQ(Initialize(), 0);
    EXPECT_THAT(Failures(), IsEmpty());
    EXPECT_THAT(NamesOf(id), ElementsAre("_EvtBegin.e", "_EvtEnd.e", "_InMap.m", "_OutMap.m"));
    EXPECT_EQ(host.RemoteCall(30000), 0);
    EXPECT_EQ(server.Channels(), 1);
    host.Release();
    EXPECT_EQ(server.Channels(), 0);
    EXPECT_EQ(plan.Handles(), before);
    ExpectNothingLeft(id);
    host.Release();
    EXPECT_THAT(Commands(server), ElementsAre(L"Call_InitInteractor", L"Call_UnInitInteractor"));
    EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(InteracterServerTest, TheRequestForAChannelIsTheseBytes) {
    PlayedServer server;
    ASSERT_EQ(Initialize(), 0);
    const auto size = static_cast<unsigned char>(60 + 9 + 12 + 2 * id.size() + 5);
    const auto idBytes = static_cast<unsigned char>(2 * id.size());
    Bytes expected = {0x6C, size, 0,    0, 0,     // length of the message
                      0x6C, 0,    0,    0, 0,     // command
                      0x73, 0x6C, 0x26, 0, 0, 0,  // "s", 38 bytes
                      0x62, 0x6C, 0x26, 0, 0, 0}; // "b", 38 bytes
    Append(expected, L"Call_InitInteractor");
    Append(expected, Bytes{0x71, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08}); // plug-in
    Append(expected, Bytes{0x73, 0x6C, idBytes, 0, 0, 0, 0x62, 0x6C, idBytes, 0, 0, 0});
    Append(expected, id);
    Append(expected, Bytes{0x6C, 0x34, 0x12, 0, 0}); // bytes of the reply space
    ASSERT_THAT(server.Requests(), SizeIs(1));
    EXPECT_EQ(server.Requests()[0].bytes, expected);
    host.Release();
}

TEST_F(InteracterServerTest, TheRequestForItsEndIsTheseBytes) {
    PlayedServer server;
    ASSERT_EQ(Initialize(), 0);
    host.Release();
    Bytes expected = {0x6C, 0x49, 0, 0, 0, 0x6C, 0,    0,    0, 0, 0x73,
                      0x6C, 0x2A, 0, 0, 0, 0x62, 0x6C, 0x2A, 0, 0, 0};
    Append(expected, L"Call_UnInitInteractor");
    Append(expected, Bytes{0x71, 0x01, 0x00, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11}); // the server's handle
    ASSERT_THAT(server.Requests(), SizeIs(2));
    EXPECT_EQ(server.Requests()[1].bytes, expected);
}

TEST_F(InteracterServerTest, AFailedFirstHalfIsReleasedAndAsksNobody) {
    PlayedServer server;
    const int before = plan.Handles();
    plan.Fail(Kind::CreateMapping);
    EXPECT_EQ(Initialize(), -1);
    EXPECT_THAT(Failures(),
                ElementsAre(L"Can't create file mapping.", L"Initialize Failed: Can't InitSenderFirst"));
    EXPECT_THAT(server.Requests(), IsEmpty());
    EXPECT_EQ(plan.Handles(), before);
    ExpectNothingLeft(id);
}

TEST_F(InteracterServerTest, WithNobodyBehindTheSystemSenderItSucceedsWithHalfAChannel) {
    const PlayedServer server(false);
    EXPECT_EQ(Initialize(), 0);
    EXPECT_THAT(Failures(), ElementsAre(L"Initialize Failed: can't ObtainSMMSpaceAddress 0x00000000"));
    EXPECT_TRUE(HasRequestSpace());
    EXPECT_THAT(NamesOf(id), ElementsAre("_EvtBegin.e", "_EvtEnd.e", "_InMap.m"));
    host.Release();
    ExpectNothingLeft(id);
}

TEST_F(InteracterServerTest, ASilentServerEndsTheSetUpBehindTwoSeconds) {
    Gate gate;
    PlayedServer server;
    server.AnswerBy([&gate](const auto&, CVXCSerialize&) { gate.Pass(); });
    TestClock clock;
    clock.AutoAdvance(true);
    EXPECT_EQ(Initialize(), kTimeOut);
    EXPECT_THAT(clock.Waits(), ElementsAre(2000u));
    EXPECT_THAT(Failures(), ElementsAre(L"Initialize failed : RemoteCall return error 0x8000000d"));
    EXPECT_TRUE(HasRequestSpace());
    host.Release(); // of this end alone
    EXPECT_THAT(clock.Waits(), ElementsAre(2000u));
    ExpectNothingLeft(id);
    gate.Open();
}

TEST_F(InteracterServerTest, ARefusalsHandleIsReadFirstAndReleaseGivesItBack) {
    PlayedServer server;
    server.AnswerBy(PlayedServer::Refusal(0x80000100u, 7));
    EXPECT_EQ(Initialize(), static_cast<int>(0x80000100u));
    EXPECT_THAT(Failures(), ElementsAre(L"Initialize failed : RemoteCall result 0x80000100"));
    EXPECT_TRUE(HasRequestSpace());
    server.AnswerBy(PlayedServer::LeaderOnly());
    host.Release();
    ASSERT_THAT(Commands(server), ElementsAre(L"Call_InitInteractor", L"Call_UnInitInteractor"));
    EXPECT_EQ(server.Requests()[1].handle, 7u);
    ExpectNothingLeft(id);
}

TEST_F(InteracterServerTest, ARefusalWithoutAHandleIsReleasedHereAlone) {
    PlayedServer server;
    server.AnswerBy(PlayedServer::LeaderOnly(5));
    EXPECT_EQ(Initialize(), 5);
    EXPECT_THAT(Failures(), ElementsAre(L"Initialize failed : RemoteCall result 0x00000005"));
    host.Release();
    EXPECT_THAT(Commands(server), ElementsAre(L"Call_InitInteractor"));
    ExpectNothingLeft(id);
}

TEST_F(InteracterServerTest, ASuccessWithoutAHandleIsNone) {
    for (const auto& answer : {PlayedServer::LeaderOnly(), PlayedServer::Refusal(0, 0)}) {
        PlayedServer server;
        server.AnswerBy(answer);
        log.Clear();
        EXPECT_EQ(Initialize(), -1);
        EXPECT_THAT(Failures(), ElementsAre(L"Initialize failed : RemoteCall receive is null"));
        EXPECT_TRUE(HasRequestSpace());
        host.Release();
        EXPECT_THAT(Commands(server), ElementsAre(L"Call_InitInteractor"));
        ExpectNothingLeft(id);
    }
}

TEST_F(InteracterServerTest, AServerThatLiesAboutItsEndIsFoundOutAndTold) {
    PlayedServer server;
    TestClock clock;
    server.AnswerBy(PlayedServer::Refusal(0, 9)); // a success, with nothing behind it
    std::thread time([&clock] {
        // The two seconds of the call are not used up; the thirty of the wait for the server's end are.
        while (clock.NextDeadline().value_or(0) < clock.Now() + 30000) {
            std::this_thread::yield();
        }
        clock.Advance(30000);
    });
    EXPECT_EQ(Initialize(), -1);
    time.join();
    EXPECT_THAT(Failures(), ElementsAre(L"OpenFileMapping hOutMapFile failed (2).\n",
                                        L"Initialize failed : InitSenderEnd return 0xffffffff"));
    ASSERT_THAT(Commands(server), ElementsAre(L"Call_InitInteractor", L"Call_UnInitInteractor"));
    EXPECT_EQ(server.Requests()[1].handle, 9u);
    EXPECT_FALSE(HasRequestSpace());
    ExpectNothingLeft(id);
}

TEST_F(InteracterServerTest, TheSystemSenderIsNotLockedWhileTheServersEndIsWaitedFor) {
    PlayedServer server;
    TestClock clock;
    server.AnswerBy(PlayedServer::Refusal(0, 9));
    std::thread other([&clock] {
        while (clock.NextDeadline().value_or(0) < clock.Now() + 30000) {
            std::this_thread::yield();
        }
        SystemSender()->Lock(); // hangs if it is
        SystemSender()->Unlock();
        clock.Advance(30000);
    });
    EXPECT_EQ(Initialize(), -1);
    other.join();
}

TEST_F(InteracterServerTest, TheSystemSenderIsFreeBehindEveryEnd) {
    PlayedServer server;
    for (const auto& answer :
         {PlayedServer::LeaderOnly(), PlayedServer::LeaderOnly(1), PlayedServer::Answer()}) {
        server.AnswerBy(answer);
        Initialize();
        host.Release();
        std::thread([] {
            SystemSender()->Lock();
            SystemSender()->Unlock();
        }).join();
    }
}

// ---- Release --------------------------------------------------------------------------------------------

TEST_F(InteracterServerTest, AChannelOfNoPlugInIsReleasedHereAlone) {
    PlayedServer server;
    ASSERT_EQ(Initialize(0), 0);
    host.Release();
    EXPECT_THAT(Commands(server), ElementsAre(L"Call_InitInteractor"));
    EXPECT_FALSE(HasRequestSpace());
}

TEST_F(InteracterServerTest, ARefusedReleaseKeepsEverythingAndMayBeTriedAgain) {
    PlayedServer server;
    ASSERT_EQ(Initialize(), 0);
    const int handles = plan.Handles();
    const int views = plan.Views();
    server.AnswerBy(PlayedServer::LeaderOnly(258));
    for (int i = 0; i < 2; ++i) {
        log.Clear();
        host.Release();
        EXPECT_THAT(Failures(), ElementsAre(L"Release() failed : RemoteCall result 0x00000102"));
        EXPECT_EQ(plan.Handles(), handles);
        EXPECT_EQ(plan.Views(), views);
        EXPECT_EQ(host.RemoteCall(30000), 0); // it is still up
    }
    server.AnswerBy({});
    host.Release();
    EXPECT_EQ(server.Channels(), 0);
    EXPECT_EQ(server.Requests()[1].handle, server.Requests()[3].handle);
    ExpectNothingLeft(id);
}

TEST_F(InteracterServerTest, AServerSilentAtTheReleaseKeepsEverything) {
    Gate gate;
    PlayedServer server;
    ASSERT_EQ(Initialize(), 0);
    server.AnswerBy([&gate](const auto&, CVXCSerialize& reply) {
        gate.Pass();
        WriteLeader(reply, 0);
    });
    {
        TestClock clock;
        clock.AutoAdvance(true);
        host.Release();
        EXPECT_THAT(clock.Waits(), ElementsAre(5000u));
    }
    EXPECT_THAT(Failures(), ElementsAre(L"Release() failed : RemoteCall return error 0x8000000d"));
    EXPECT_TRUE(HasRequestSpace());
    EXPECT_THAT(NamesOf(id), SizeIs(4));
    gate.Open();
    host.Release();
    EXPECT_FALSE(HasRequestSpace());
}

TEST_F(InteracterServerTest, WithTheServerGoneReleaseKeepsEverythingAndSoDoesTheDestructor) {
    CVXCInteracter* const channel = ConstructVXCInteratcter(VXC_INTERACTER_SENDER);
    {
        PlayedServer server;
        ASSERT_EQ(channel->Initialize(kPlug, id.c_str(), 2048, 100), 0);
    }
    ASSERT_EQ(ObtainSysSender(), nullptr);
    channel->Release();
    EXPECT_THAT(Failures(), ElementsAre(L"Release() failed : can't ObtainSMMSpaceAddress 0x00000000"));
    EXPECT_EQ(UsableSpaces(*channel).requestBytes, 2048u);
    EXPECT_EQ(DeleteVXCInteratcter(channel), 0);
    EXPECT_THAT(Failures(), SizeIs(2));
    EXPECT_THAT(NamesOf(id), SizeIs(4)); // to the end of the process
}

TEST_F(InteracterServerTest, WithNobodyBehindANewSystemSenderReleaseKeepsEverything) {
    {
        PlayedServer server;
        ASSERT_EQ(Initialize(), 0);
    }
    {
        const PlayedServer server(false);
        host.Release();
        EXPECT_THAT(Failures(), ElementsAre(L"Release() failed : can't ObtainSMMSpaceAddress 0x00000000"));
        EXPECT_TRUE(HasRequestSpace());
    }
    PlayedServer server;
    server.AnswerBy(PlayedServer::LeaderOnly());
    host.Release();
    EXPECT_FALSE(HasRequestSpace());
}

// ---- Again ------------------------------------------------------------------------------------------------

TEST_F(InteracterServerTest, InitializeMayFollowARelease) {
    PlayedServer server;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Initialize(), 0);
        EXPECT_EQ(host.RemoteCall(30000), 0);
        host.Release();
        EXPECT_EQ(server.Channels(), 0);
        ExpectNothingLeft(id);
    }
    EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(InteracterServerTest, ASecondSetUpFindsItsOwnNameTakenAndReleasesTheFirst) {
    PlayedServer server;
    const int before = plan.Handles();
    ASSERT_EQ(Initialize(), 0);
    EXPECT_EQ(Initialize(), -1);
    EXPECT_THAT(Failures(), ElementsAre(L"Mapping already exists - not created.",
                                        L"Initialize Failed: Can't InitSenderFirst"));
    EXPECT_EQ(server.Channels(), 0); // the server was told
    EXPECT_EQ(plan.Handles(), before);
    ExpectNothingLeft(id);
    EXPECT_EQ(Initialize(), 0);
    host.Release();
}

TEST_F(InteracterServerTest, ASecondSetUpWithAnotherIdLeavesNothingOfTheFirstHere) {
    PlayedServer server;
    const int before = plan.Handles();
    const int views = plan.Views();
    const std::wstring first = UniqueId();
    ASSERT_EQ(host.Initialize(kPlug, first.c_str(), 100, 100), 0);
    ASSERT_EQ(Initialize(), 0);
    EXPECT_EQ(host.RemoteCall(30000), 0);
    host.Release();
    EXPECT_EQ(server.Channels(), 1); // that of the first, which nobody ended
    EXPECT_EQ(plan.Handles(), before + 2);
    EXPECT_EQ(plan.Views(), views + 2);
    ExpectNothingLeft(id);
}

TEST_F(InteracterServerTest, AFormerHandleIsNotTakenForTheNewChannels) {
    PlayedServer server;
    ASSERT_EQ(Initialize(), 0);
    server.AnswerBy(PlayedServer::LeaderOnly());
    const std::wstring second = UniqueId();
    EXPECT_EQ(host.Initialize(kPlug, second.c_str(), 100, 100), -1);
    EXPECT_EQ(Failures(), std::vector<std::wstring>{L"Initialize failed : RemoteCall receive is null"});
    host.Release();
    EXPECT_THAT(Commands(server), ElementsAre(L"Call_InitInteractor", L"Call_InitInteractor"));
}

TEST_F(InteracterServerTest, AnEndThatWasDeletedTellsTheServerToo) {
    PlayedServer server;
    CVXCInteracter* const channel = ConstructVXCInteratcter(VXC_INTERACTER_SENDER);
    ASSERT_EQ(channel->Initialize(kPlug, id.c_str(), 100, 100), 0);
    EXPECT_EQ(DeleteVXCInteratcter(channel), 0);
    EXPECT_EQ(server.Channels(), 0);
    ExpectNothingLeft(id);
}
