// Socket calls that go wrong, and clients that come back when a script ends.
#include "support/FtpScript.h"

#include "ftp/ScriptClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

class FtpScriptCallsTest : public ScriptTalk {};

} // namespace

TEST_F(FtpScriptCallsTest, CallsFailOnce) {
    ftp.FailNext(SocketCall::Open, 10024);
    EXPECT_EQ(Sockets().open(), kNoSocket);
    EXPECT_EQ(Sockets().lastError(), 10024);
    ScriptClient client(ftp);
    ftp.FailNext(SocketCall::Bind, 10048, 1);
    EXPECT_EQ(Sockets().bind(client.Token(), HostNames().ownAddress(), 0), 0);
    EXPECT_EQ(Sockets().bind(client.Token(), HostNames().ownAddress(), 0), -1);
    EXPECT_EQ(Sockets().lastError(), 10048);
    EXPECT_EQ(Sockets().listen(client.Token(), 1), 0);
    for (const SocketCall call :
         {SocketCall::Listen, SocketCall::Accept, SocketCall::Connect, SocketCall::Send, SocketCall::Receive,
          SocketCall::ReceiveNow, SocketCall::WaitReadable, SocketCall::Readable, SocketCall::Name}) {
        ftp.FailNext(call, 20000 + static_cast<int>(call));
    }
    uint32 number = 0;
    uint16 port = 0;
    char byte = 0;
    const std::vector<std::function<bool()>> calls = {
        [&] { return Sockets().connect(client.Token(), 1, 1) == -1; },
        [&] { return Sockets().listen(client.Token(), 1) == -1; },
        [&] { return Sockets().accept(client.Token()) == kNoSocket; },
        [&] { return Sockets().send(client.Token(), &byte, 1) == -1; },
        [&] { return Sockets().receive(client.Token(), &byte, 1) == -1; },
        [&] { return Sockets().receiveNow(client.Token(), &byte, 1) == -1; },
        [&] { return Sockets().waitReadable(client.Token()) == -1; },
        [&] { return Sockets().readable(client.Token(), &number) == -1; },
        [&] { return Sockets().name(client.Token(), &number, &port) == -1; }};
    const SocketCall order[] = {SocketCall::Connect,      SocketCall::Listen,   SocketCall::Accept,
                                SocketCall::Send,         SocketCall::Receive,  SocketCall::ReceiveNow,
                                SocketCall::WaitReadable, SocketCall::Readable, SocketCall::Name};
    for (std::size_t i = 0; i < calls.size(); ++i) {
        EXPECT_TRUE(calls[i]()) << i;
        EXPECT_EQ(Sockets().lastError(), 20000 + static_cast<int>(order[i]));
    }
    EXPECT_EQ(Sockets().name(client.Token(), &number, &port), 0);
    uint16 version = 0;
    ftp.FailNext(SocketCall::Startup, 10091);
    EXPECT_EQ(Sockets().startup(2, &version), 10091);
    EXPECT_EQ(Sockets().startup(2, &version), 0);
}

TEST_F(FtpScriptCallsTest, CallsThrowOnce) {
    ftp.Say("220");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    EXPECT_EQ(client.Line(), "220");
    ftp.ThrowNext(SocketCall::Send);
    EXPECT_THROW(client.Send("x"), std::runtime_error);
    ftp.ThrowNext(SocketCall::ReceiveNow);
    char byte = 0;
    EXPECT_THROW(Sockets().receiveNow(client.Token(), &byte, 1), std::runtime_error);
    EXPECT_EQ(Sockets().receiveNow(client.Token(), &byte, 1), -1);
    EXPECT_EQ(Sockets().lastError(), kSocketWouldBlock);
    ftp.Finish();
}

TEST(FtpScriptEndTest, TheTableIsPutBackAndNothingStays) {
    const auto send = Sockets().send;
    const int open = OpenSocketCount();
    {
        const NoLeakScope leaks;
        FtpScript ftp;
        ftp.Passive().AcceptData();
        ftp.Start();
        EXPECT_NE(Sockets().send, send);
        ScriptClient client(ftp);
        EXPECT_TRUE(client.Connect());
        EXPECT_THAT(ftp.End(), HasSubstr("Expect"));
    }
    EXPECT_EQ(Sockets().send, send);
    EXPECT_EQ(OpenSocketCount(), open);
}
TEST(FtpScriptEndTest, AThreadThatStandsInASocketComesBackWhenTheScriptEnds) {
    std::thread left;
    SocketToken token = 0;
    {
        FtpScript ftp;
        ftp.Listen().SayPort("@)").AcceptData().DSend("never looked at").DHold();
        ftp.Start();
        ScriptClient client(ftp);
        EXPECT_TRUE(client.Connect());
        token = Sockets().open();
        EXPECT_EQ(Sockets().connect(token, HostNames().ownAddress(),
                                    static_cast<uint16>(PortIn(client.Line().value_or(",0,0")))),
                  0);
        char bytes[100] = {};
        EXPECT_EQ(Sockets().receive(token, bytes, sizeof bytes), 15);
        left = std::thread([token] { EXPECT_EQ(Sockets().waitReadable(token), 0); });
        EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
        ftp.Finish();
    }
    left.join();
    Sockets().close(token);
}

TEST_F(FtpScriptCallsTest, AClientThatWaitsForADialComesBackWhenTheScriptFails) {
    ftp.LimitWaits(std::chrono::milliseconds(20));
    ftp.Say("220").Expect("NEVER");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    const SocketToken listener = Sockets().open();
    ASSERT_EQ(Sockets().bind(listener, HostNames().ownAddress(), 0), 0);
    ASSERT_EQ(Sockets().listen(listener, 5), 0);
    EXPECT_EQ(Sockets().accept(listener), kNoSocket);
    EXPECT_THAT(ftp.TakeFailure(), HasSubstr("Expect \"NEVER\\r\\n\": nothing came"));
    EXPECT_EQ(Sockets().accept(listener), kNoSocket); // late ones too
    Sockets().close(listener);
}

TEST_F(FtpScriptCallsTest, AClientThatStandsInSendingComesBackWhenTheScriptFails) {
    ftp.LimitWaits(std::chrono::milliseconds(20));
    ftp.Passive().AcceptData().Expect("NEVER");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    const std::string much(64 << 20, 'x');
    EXPECT_LT(data.Send(much), static_cast<int>(much.size()));
    EXPECT_THAT(ftp.TakeFailure(), HasSubstr("nothing came"));
}
