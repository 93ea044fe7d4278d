// What the system channel and a plug-in's channel answer, without any process.
#include "server/PlugChannel.h"
#include "server/Server.h"

#include "server/MessageSpaces.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using namespace vxcserver;
using vxcio::test::LogCapture;
using vxcio::test::MessageSpaces;

namespace {

constexpr uint32 kLeaderBytes = 15;

// A server whose channels have no host.
class ServerAnswersTest : public testing::Test {
protected:
    uint32 Answer() {
        server.Answer(spaces.Spaces());
        const SOutParamLeader leader = spaces.Leader();
        EXPECT_GE(leader.size, kLeaderBytes);
        EXPECT_TRUE(spaces.IsClearedBehind());
        return leader.result;
    }
    template <class Write>
    uint32 Call(const wchar_t* name, Write write) {
        spaces.Put(0, name, write);
        return Answer();
    }
    unsigned long long Handle() const {
        SOutParamLeader leader = {};
        CVXCSerialize stream = spaces.ReadReply(leader);
        unsigned long long handle = 77;
        stream >> handle;
        return handle;
    }

    const LogCapture log;
    HostWatch watch{1};
    Server server{watch, L"00000001"};
    const MessageSpaces spaces;
};

// Doubles of a plug-in's functions work on this.
struct Seen {
    int opens = 0;
    int calls = 0;
    int closes = 0;
    uint64 plugHandle = 0;
    std::wstring id;
    uint32 command = 0;
    std::wstring name;
} g_seen;

void* Open(uint64 plugHandle, const wchar_t* id) {
    ++g_seen.opens;
    g_seen.plugHandle = plugHandle;
    g_seen.id = id;
    return &g_seen;
}

int Sum(void* instance, uint32 command, const wchar_t* name, CVXCSerialize& request, CVXCSerialize& reply) {
    ++g_seen.calls;
    g_seen.command = command;
    g_seen.name = name;
    EXPECT_TRUE(instance == &g_seen || instance == nullptr);
    uint32 a = 0;
    uint32 b = 0;
    request >> a >> b;
    reply << a + b;
    return request.m_nError == VXC_SERIALIZE_OK ? 0 : 41;
}

void Close(void* instance) {
    EXPECT_EQ(instance, &g_seen);
    ++g_seen.closes;
}

class PlugAnswersTest : public testing::Test {
protected:
    PlugAnswersTest() { g_seen = {}; }

    SOutParamLeader Answer(PlugChannel& channel) {
        channel.Answer(spaces.Spaces());
        const SOutParamLeader leader = spaces.Leader();
        EXPECT_GE(leader.size, kLeaderBytes);
        EXPECT_TRUE(spaces.IsClearedBehind());
        return leader;
    }
    static std::shared_ptr<PlugChannel> Channel(PFN_VXC32PlugCall call, PFN_VXC32PlugOpen open = nullptr,
                                                PFN_VXC32PlugClose close = nullptr) {
        return std::make_shared<PlugChannel>(std::make_shared<Plug>(call, open, close), 4711, L"channel");
    }
    static void End(PlugChannel& channel) {
        channel.BeginEnd();
        EXPECT_TRUE(channel.WaitForEnd(std::chrono::steady_clock::now() + std::chrono::seconds(30)));
    }

    const LogCapture log;
    const MessageSpaces spaces{4096, 256};
};

} // namespace

TEST_F(ServerAnswersTest, AnUnknownCommandIsRefused) {
    for (const wchar_t* name : {L"", L"Call_", L"call_loadplug", L"Call_LoadPlug ", L" Call_LoadPlug",
                                L"Call_QuitVXC32Serv2", L"x"}) {
        spaces.Put(0, name);
        EXPECT_EQ(Answer(), 0x80000002u);
        EXPECT_EQ(Handle(), 77u); // nothing to be taken for one
    }
    EXPECT_FALSE(server.IsToQuit());
}

TEST_F(ServerAnswersTest, NumberedCommandsAreRefusedWhateverTheirName) {
    for (const uint32 command : {1u, 7u, 0xFFFFFFFFu}) {
        spaces.Put(command, L"Call_QuitVXC32Serv");
        EXPECT_EQ(Answer(), 0x80000002u);
    }
    EXPECT_FALSE(server.IsToQuit());
}

TEST_F(ServerAnswersTest, ABadHeadIsRefused) {
    spaces.PutRequest(std::vector<unsigned char>(64, 0));
    EXPECT_EQ(Answer(), 0x80000002u);
    spaces.PutRequest(std::vector<unsigned char>(64, 'l'));
    EXPECT_EQ(Answer(), 0x80000002u);
}

TEST_F(ServerAnswersTest, QuittingIsAnsweredAndNoted) {
    spaces.Put(0, L"Call_QuitVXC32Serv");
    EXPECT_EQ(Answer(), 0u);
    EXPECT_EQ(spaces.Leader().size, kLeaderBytes);
    EXPECT_TRUE(server.IsToQuit());
}

TEST_F(ServerAnswersTest, AModuleThatIsNotThereGivesTheResultAndNoHandle) {
    for (const wchar_t* path : {L"", L"/nowhere/at/all.so", L"nowhere.dll", L"/", L"/dev/null"}) {
        EXPECT_EQ(Call(L"Call_LoadPlug", [path](CVXCSerialize& stream) { stream << path; }), 0x80000100u);
        EXPECT_EQ(Handle(), 0u);
        EXPECT_EQ(spaces.Leader().size, kLeaderBytes + 9);
    }
}

TEST_F(ServerAnswersTest, AModuleWithoutTheEntryPointIsNoPlugIn) {
    // A library that is there, whatever it is for.
    EXPECT_EQ(Call(L"Call_LoadPlug", [](CVXCSerialize& stream) { stream << L"libm.so.6"; }), 0x80000100u);
    EXPECT_EQ(Handle(), 0u);
    EXPECT_TRUE(log.Contains(L"libm.so.6 is no plug-in: it has no VXC32PlugCall"));
}

TEST_F(ServerAnswersTest, ALoadWithoutAPathIsABadRequestWithNoHandle) {
    EXPECT_EQ(Call(L"Call_LoadPlug", [](CVXCSerialize&) {}), 0x80000002u);
    EXPECT_EQ(Handle(), 0u);
    EXPECT_EQ(Call(L"Call_LoadPlug", [](CVXCSerialize& stream) { stream << 5u; }), 0x80000002u);
    EXPECT_EQ(Handle(), 0u);
}

TEST_F(ServerAnswersTest, HandlesThatWereNeverGivenAreRefused) {
    for (const unsigned long long handle :
         {0ull, 1ull, 0x0001000100000001ull, 0x0002000100000001ull, 0x7FFFFFFFE000ull, ~0ull}) {
        const auto write = [handle](CVXCSerialize& stream) { stream << handle; };
        EXPECT_EQ(Call(L"Call_FreePlug", write), 0x80000002u) << handle;
        EXPECT_EQ(Call(L"Call_UnInitInteractor", write), 0x80000002u) << handle;
        EXPECT_EQ(Call(L"Call_InitInteractor",
                       [handle](CVXCSerialize& stream) { stream << handle << L"some channel" << 4096u; }),
                  0x80000002u)
            << handle;
    }
    EXPECT_EQ(Call(L"Call_FreePlug", [](CVXCSerialize&) {}), 0x80000002u);
    EXPECT_EQ(Call(L"Call_UnInitInteractor", [](CVXCSerialize& stream) { stream << 1u; }), 0x80000002u);
}

TEST_F(ServerAnswersTest, ASpaceThatIsNotThereEndsNothing) {
    server.Answer({nullptr, 0, nullptr, 0});
    EXPECT_FALSE(server.IsToQuit());
}

TEST_F(PlugAnswersTest, TheCallReachesThePlugInAndItsResultComesBack) {
    const auto channel = Channel(Sum, Open, Close);
    EXPECT_EQ(g_seen.opens, 0); // not before somebody asks
    spaces.Put(0, L"Sum", [](CVXCSerialize& stream) { stream << 40u << 2u; });
    const SOutParamLeader leader = Answer(*channel);
    EXPECT_EQ(leader.result, 0u);
    EXPECT_EQ(leader.size, kLeaderBytes + 5);
    EXPECT_EQ(g_seen.name, L"Sum");
    EXPECT_EQ(g_seen.plugHandle, 4711u);
    EXPECT_EQ(g_seen.id, L"channel");
    spaces.Put(6, L"", [](CVXCSerialize& stream) { stream << 1u; });
    EXPECT_EQ(Answer(*channel).result, 41u); // it ran out of arguments at the end of the message
    EXPECT_EQ(g_seen.command, 6u);
    EXPECT_EQ(g_seen.opens, 1);
    End(*channel);
    EXPECT_EQ(g_seen.closes, 1);
    End(*channel); // again is the same end
    EXPECT_EQ(g_seen.closes, 1);
}

TEST_F(PlugAnswersTest, AnInstanceThatNobodyAskedForIsNotClosed) {
    const auto channel = Channel(Sum, Open, Close);
    End(*channel);
    EXPECT_EQ(g_seen.closes, 0);
}

TEST_F(PlugAnswersTest, OpenAndCloseMayBeMissing) {
    const auto channel = Channel(Sum);
    spaces.Put(0, L"Sum", [](CVXCSerialize& stream) { stream << 40u << 2u; });
    EXPECT_EQ(Answer(*channel).result, 0u);
    End(*channel);
}

TEST_F(PlugAnswersTest, ABadHeadDoesNotReachThePlugIn) {
    const auto channel = Channel(Sum, Open, Close);
    spaces.PutRequest(std::vector<unsigned char>(64, 0x6C));
    EXPECT_EQ(Answer(*channel).result, 0x80000002u);
    EXPECT_EQ(g_seen.calls, 0);
    EXPECT_EQ(g_seen.opens, 0);
}

TEST_F(PlugAnswersTest, AThrowTakesBackWhatWasAnsweredSoFar) {
    const auto channel =
        Channel([](void*, uint32 command, const wchar_t*, CVXCSerialize&, CVXCSerialize& reply) -> int {
            reply << 1ull << 2ull;
            if (command == 1) {
                throw std::runtime_error("of its own");
            }
            throw 5;
        });
    for (const uint32 command : {1u, 2u}) {
        spaces.Put(command, L"");
        const SOutParamLeader leader = Answer(*channel);
        EXPECT_EQ(leader.result, 0x80000107u);
        EXPECT_EQ(leader.size, kLeaderBytes);
    }
}

TEST_F(PlugAnswersTest, AThrowWhileOpeningIsTriedAgainWithTheNextRequest) {
    static int s_throws = 0;
    s_throws = 2;
    const auto channel = Channel(
        Sum,
        [](uint64, const wchar_t*) -> void* {
            if (s_throws-- > 0) {
                throw std::runtime_error("not now");
            }
            return &g_seen;
        },
        Close);
    spaces.Put(0, L"Sum", [](CVXCSerialize& stream) { stream << 40u << 2u; });
    EXPECT_EQ(Answer(*channel).result, 0x80000107u);
    EXPECT_EQ(Answer(*channel).result, 0x80000107u);
    EXPECT_EQ(g_seen.calls, 0);
    EXPECT_EQ(Answer(*channel).result, 0u);
    End(*channel);
    EXPECT_EQ(g_seen.closes, 1);
}

TEST_F(PlugAnswersTest, AThrowWhileClosingIsLoggedAndTheChannelEnds) {
    const auto channel = Channel(Sum, Open, [](void*) { throw std::runtime_error("never"); });
    spaces.Put(0, L"Sum", [](CVXCSerialize& stream) { stream << 40u << 2u; });
    Answer(*channel);
    End(*channel);
    EXPECT_TRUE(log.Contains(L"a plug-in threw while its instance was closed"));
}

TEST_F(PlugAnswersTest, AReplyThatDoesNotFitIsRefused) {
    const auto channel = Channel([](void*, uint32, const wchar_t*, CVXCSerialize&, CVXCSerialize& reply) {
        const std::vector<unsigned char> block(1000, 1);
        reply << 1u;
        reply.WriteBlock(block.data(), 1000);
        return 0;
    });
    spaces.Put(0, L"x");
    const SOutParamLeader leader = Answer(*channel);
    EXPECT_EQ(leader.result, 8u);
    EXPECT_EQ(leader.size, kLeaderBytes);
}

TEST_F(PlugAnswersTest, AStreamThatWasSetUpAnewElsewhereIsRefused) {
    const auto channel = Channel([](void*, uint32, const wchar_t*, CVXCSerialize&, CVXCSerialize& reply) {
        static unsigned char s_own[4096];
        reply.m_pBuffer = s_own;
        reply.m_dwCapacity = sizeof s_own;
        reply.m_dwPosition = 4000;
        return 0;
    });
    spaces.Put(0, L"x");
    EXPECT_EQ(Answer(*channel).result, 8u);
}
