// Loading and freeing plug-ins in the server.
#include "bridge/ServerProcessTest.h"
#include "support/TestClock.h"

#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class ServerProcessPlugsTest : public ServerProcessTest {
protected:
    void Start() {
        ASSERT_EQ(CreateVXC32ServProcess(), 0);
        log.Clear();
    }
};

} // namespace

TEST_F(ServerProcessPlugsTest, ARequestToLoadIsTheseBytes) {
    server.On(L"Call_LoadPlug", Message({ReplyHead(0), Q64(0x0001000200000003u)}));
    Start();
    EXPECT_EQ(RemoteLoadVXC32Plug(L"C:\\a.dll"), 0x0001000200000003u);
    EXPECT_THAT(log.Texts(), IsEmpty());
    const Bytes expected = {
        0x6C, 0x4C, 0x00, 0x00, 0x00,                                  // size: 76
        0x6C, 0x00, 0x00, 0x00, 0x00,                                  // command
        0x73, 0x6C, 0x1A, 0x00, 0x00, 0x00, 0x62, 0x6C, 0x1A, 0, 0, 0, // 26 bytes
        'C',  0,    'a',  0,    'l',  0,    'l',  0,    '_',  0,       // commandString
        'L',  0,    'o',  0,    'a',  0,    'd',  0,                   //
        'P',  0,    'l',  0,    'u',  0,    'g',  0,                   //
        0x73, 0x6C, 0x10, 0x00, 0x00, 0x00, 0x62, 0x6C, 0x10, 0, 0, 0, // at 48: 16 bytes
        'C',  0,    ':',  0,    '\\', 0,    'a',  0,                   //
        '.',  0,    'd',  0,    'l',  0,    'l',  0,
    };
    ASSERT_EQ(server.Requests().size(), 1U);
    EXPECT_EQ(server.Requests()[0].bytes, expected);
}

TEST_F(ServerProcessPlugsTest, ANullPathGoesOutAsTheEmptyOne) {
    Start();
    for (const wchar_t* path : {static_cast<const wchar_t*>(nullptr), L""}) {
        EXPECT_EQ(RemoteLoadVXC32Plug(path), 0U);
        EXPECT_EQ(server.Requests().back().bytes, Message({RequestHead(54, 0, u"Call_LoadPlug"), Text(u"")}));
    }
}

TEST_F(ServerProcessPlugsTest, APathOutsideTheBasicPlaneGoesOutAsPairs) {
    Start();
    RemoteLoadVXC32Plug(L"\x1F3AC.dll");
    EXPECT_EQ(server.Requests()[0].bytes,
              Message({RequestHead(72, 0, u"Call_LoadPlug"), Text(u"\xD83C\xDFAC.dll")}));
}

TEST_F(ServerProcessPlugsTest, ARequestToFreeIsTheHandleBehindItsHead) {
    Start();
    EXPECT_EQ(RemoteFreeVXC32Plug(0x8877665544332211u), 0);
    EXPECT_THAT(log.Texts(), IsEmpty());
    ASSERT_EQ(server.Requests().size(), 1U);
    EXPECT_EQ(server.Requests()[0].bytes, Message({RequestHead(57, 0, u"Call_FreePlug"),
                                                   {0x71, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}}));
}

TEST_F(ServerProcessPlugsTest, WithoutAServerNothingIsSent) {
    TestClock clock;
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 0U);
    EXPECT_EQ(RemoteFreeVXC32Plug(1), 0);
    EXPECT_THAT(log.Lines(),
                ElementsAre(LogLine{INFOTYPE_ERROR, L"VXCSoftCodecIO",
                                    L"RemoteLoadVXC32Plug failed! ObtainSysSender return NULL"},
                            LogLine{INFOTYPE_ERROR, L"VXCSoftCodecIO",
                                    L"RemoteFreeVXC32Plug failed! ObtainSysSender return NULL"}));
    EXPECT_THAT(clock.Waits(), IsEmpty());
}

TEST_F(ServerProcessPlugsTest, ARefusedLoadIsNoHandleThoughOneFollows) {
    server.On(L"Call_LoadPlug", Message({ReplyHead(0x80000100u), Q64(77)}));
    Start();
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 0U);
    EXPECT_THAT(log.Lines(),
                ElementsAre(LogLine{INFOTYPE_ERROR, L"VXCSoftCodecIO",
                                    L"RemoteLoadVXC32Plug failed : RemoteCall result 0x80000100"}));
}

TEST_F(ServerProcessPlugsTest, ARefusedFreeGivesTheResult) {
    server.On(L"Call_FreePlug", ReplyHead(258));
    Start();
    EXPECT_EQ(RemoteFreeVXC32Plug(1), 258);
    EXPECT_THAT(log.Lines(),
                ElementsAre(LogLine{INFOTYPE_ERROR, L"VXCSoftCodecIO",
                                    L"RemoteFreeVXC32Plug failed : RemoteCall result 0x00000102"}));
}

TEST_F(ServerProcessPlugsTest, AResultWithoutAHandleIsNoHandleAndNoFailure) {
    server.On(L"Call_LoadPlug", Cleared(ReplyHead(0)));
    Start();
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 0U);
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(ServerProcessPlugsTest, AReplyWithFewerValuesThanTheOneBeforeGivesNoneOfIts) {
    server.On(L"Call_LoadPlug", Message({ReplyHead(0), Q64(77)}));
    Start();
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 77U);
    server.On(L"Call_LoadPlug", Cleared(ReplyHead(0)));
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 0U);
    // The length in the head is not looked at: what a server leaves behind its reply is part of it.
    server.On(L"Call_LoadPlug", Message({ReplyHead(0), Q64(77)}));
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 77U);
    server.On(L"Call_LoadPlug", Message({L32(15), L32(0), L32(0)}));
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 77U);
}

TEST_F(ServerProcessPlugsTest, AHandleIsNotTakenFromARealValueOfAnotherWidthOrFromGarbage) {
    Start();
    const Bytes garbage = Message({Bytes(15, 0xFF), Q64(77)});
    const Bytes tornHead = Message({L32(0), {0x71, 0, 0, 0, 0}, L32(0), Q64(77)});
    for (const Bytes& reply : {Cleared(Message({ReplyHead(0), L32(77)})), garbage, tornHead, Bytes(64, 0)}) {
        server.On(L"Call_LoadPlug", reply);
        EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 0U);
    }
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(ServerProcessPlugsTest, ASilentServerCostsFiveSecondsForEachCall) {
    Start();
    TestClock clock;
    clock.AutoAdvance(true);
    server.Hold();
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 0U);
    EXPECT_EQ(RemoteFreeVXC32Plug(1), static_cast<int>(0x8000000Du));
    EXPECT_THAT(clock.Waits(), ElementsAre(5000U, 5000U));
    EXPECT_THAT(Failures(), ElementsAre(L"RemoteLoadVXC32Plug failed : RemoteCall return error 0x8000000d",
                                        L"RemoteFreeVXC32Plug failed : RemoteCall return error 0x8000000d"));
    EXPECT_NE(ObtainSysSender(), nullptr);
}

TEST_F(ServerProcessPlugsTest, AnAnswerWithinTheTimeIsTakenHoweverLate) {
    server.On(L"Call_LoadPlug", Message({ReplyHead(0), Q64(5)}));
    Start();
    TestClock clock;
    server.Hold();
    unsigned long long handle = 0;
    std::thread host([&] { handle = RemoteLoadVXC32Plug(L"plug.dll"); });
    ASSERT_TRUE(server.WaitUntilHeld());
    ASSERT_TRUE(clock.WaitForSleepers(1));
    clock.Advance(4999);
    EXPECT_EQ(clock.Sleepers(), 1);
    server.LetGo();
    host.join();
    EXPECT_EQ(handle, 5U);
}

TEST_F(ServerProcessPlugsTest, AServerThatDiedIsNotNoticedButByTheTime) {
    Start();
    server.End();
    TestClock clock;
    clock.AutoAdvance(true);
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 0U);
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 0U);
    EXPECT_EQ(DestoryVXC32ServProcess(), static_cast<int>(0x8000000Du));
    EXPECT_THAT(clock.Waits(), ElementsAre(5000U, 5000U, 10000U));
    EXPECT_NE(ObtainSysSender(), nullptr);
    EXPECT_EQ(server.CommandLines().size(), 1U);
}

TEST_F(ServerProcessPlugsTest, CallsFromManyThreadsEachGetTheirOwnReply) {
    // The handle that comes back is the one in the request.
    server.On(L"Call_FreePlug", [](const FakeRequest& request) -> std::optional<Bytes> {
        return Message({L32(0), L32(request.bytes.at(49)), L32(0)});
    });
    Start();
    std::vector<std::thread> threads;
    for (int thread = 1; thread <= 4; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 0; i < 500; ++i) {
                ASSERT_EQ(RemoteFreeVXC32Plug(static_cast<unsigned long long>(thread)), thread);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(server.Requests().size(), 2000U);
}

TEST_F(ServerProcessPlugsTest, APathThatDoesNotFitGoesOutCutAndTellsHowFarItGot) {
    server.On(L"Call_LoadPlug", [](const FakeRequest& request) -> std::optional<Bytes> {
        return Message({L32(0), L32(request.bytes.size() == 48 ? 0x80000002u : 1u), L32(0)});
    });
    Start();
    EXPECT_EQ(RemoteLoadVXC32Plug(std::wstring(1048576 / 2, L'n').c_str()), 0U);
    ASSERT_EQ(server.Requests().size(), 1U);
    EXPECT_EQ(server.Requests()[0].bytes, RequestHead(48, 0, u"Call_LoadPlug"));
    EXPECT_THAT(Failures(), ElementsAre(L"RemoteLoadVXC32Plug failed : RemoteCall result 0x80000002"));
}

TEST_F(ServerProcessPlugsTest, AReplySpaceSmallerThanToldIsNotReadBeyondItsEnd) {
    server.SetReplyBytes(30);
    // The leader and a handle take 24 of the 30 bytes.
    server.On(L"Call_LoadPlug", Message({ReplyHead(0), Q64(9), Bytes(100, 0xEE)}));
    Start();
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 9U);
    server.On(L"Call_LoadPlug", Message({ReplyHead(3), Q64(9), Bytes(100, 0xEE)}));
    EXPECT_EQ(RemoteLoadVXC32Plug(L"plug.dll"), 0U);
}
