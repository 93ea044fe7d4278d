// The data connections of a scripted server.
#include "support/FtpScript.h"

#include "ftp/ScriptClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

class FtpScriptDataTest : public ScriptTalk {};

} // namespace

TEST_F(FtpScriptDataTest, DataComeByAPassiveConnection) {
    ftp.Passive().Expect("LIST ").DataIsThere().AcceptData().Say("150").DSend("a list\r\n").DFin();
    ftp.DExpectClosed().Say("226");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    EXPECT_EQ(Ask(client, "LIST "), "150");
    EXPECT_EQ(data.ReceiveAll(), "a list\r\n");
    EXPECT_EQ(data.Result(), 0);
    const SocketToken token = data.Token();
    data.Close();
    EXPECT_EQ(client.Line(), "226");
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
    EXPECT_EQ(ftp.Count(Verb::Shutdown, token), 1);
    EXPECT_THAT(ftp.Story(), ElementsAre("control open", "control connect", "data open",
                                         "control send TYPE I", "control send PASV", "data connect",
                                         "control send LIST ", "data shutdown", "data close"));
    ASSERT_EQ(ftp.DataConnections().size(), 1u);
    EXPECT_EQ(ftp.DataConnections()[0].sent, 8u);
    EXPECT_FALSE(ftp.DataConnections()[0].dialled);
}

TEST_F(FtpScriptDataTest, AConnectThatIsTooEarlyOrTooLateIsAFailure) {
    ftp.Passive().NoDataYet().Expect("RETR").NoDataYet();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    client.SendLine("RETR");
    EXPECT_THAT(ftp.TakeFailure(), HasSubstr("NoDataYet: the client has connected to the data port"));
}

TEST_F(FtpScriptDataTest, AConnectThatDoesNotComeIsAFailure) {
    ftp.Passive().Expect("RETR").DataIsThere();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    AskForPort(client);
    client.SendLine("RETR");
    EXPECT_THAT(ftp.TakeFailure(), HasSubstr("DataIsThere: the client has not connected to the data port"));
}

TEST_F(FtpScriptDataTest, ADataPortIsRefused) {
    ftp.Passive().RefuseData();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    EXPECT_FALSE(data.Connect(AskForPort(client)));
    ftp.Finish();
}

TEST_F(FtpScriptDataTest, TheReplyMayHideThePortAndAnOlderPortStaysOpen) {
    ftp.Passive("227 =@").Passive("227 no port").AcceptDataOn(0).DSend("x").DFin();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    const int port = AskForPort(client);
    EXPECT_EQ(Ask(client, "TYPE I"), "200 binary");
    EXPECT_EQ(Ask(client, "PASV"), "227 no port");
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(port));
    EXPECT_EQ(data.ReceiveAll(), "x");
    ftp.Finish();
}

TEST_F(FtpScriptDataTest, MoreThanAnyBufferIsSentAndTheControlConnectionIsStillServed) {
    constexpr uint64 kSize = 16 << 20;
    ftp.Passive().AcceptData().DSendPattern(kSize, 3, 5).DFin().Expect("NOOP").Say("200");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    EXPECT_EQ(Ask(client, "NOOP"), std::nullopt); // the server stands in the sending
    EXPECT_EQ(ftp.Spent(), 15000);
    const std::string all = data.ReceiveAll();
    EXPECT_EQ(client.Line(), "200");
    EXPECT_EQ(all.size(), kSize);
    EXPECT_TRUE(all == FtpScript::Pattern(kSize, 3, 5));
    ftp.Finish();
}

TEST_F(FtpScriptDataTest, AClientThatWantsNoMoreEndsTheSending) {
    ftp.Passive().AcceptData().DSendPattern(16 << 20).DExpectClosed().Say("426");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    EXPECT_EQ(data.Receive(10), FtpScript::Pattern(10));
    data.Close();
    EXPECT_EQ(client.Line(), "426");
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

// What the shutdown leaves as it was only the close ends.
TEST_F(FtpScriptDataTest, TheServerLooksAgainAtTheCloseBehindAShutdown) {
    ftp.Passive().AcceptData().DSendPattern(16 << 20).DExpectClosed().Say("426");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    ftp.Settle();
    EXPECT_EQ(Sockets().shutdown(data.Token()), 0);
    ftp.Settle();
    data.Close();
    EXPECT_EQ(client.Line(), "426");
    EXPECT_EQ(ftp.Spent(), 0);
    ftp.Finish();
}

TEST_F(FtpScriptDataTest, WhatIsSentUpIsCollected) {
    ftp.Passive().AcceptData().DReceive(3).DReceive().Say("226");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    const std::string up = FtpScript::Pattern(5'000'000);
    EXPECT_EQ(data.Send("abc" + up), 5'000'003);
    data.Close();
    EXPECT_EQ(client.Line(), "226");
    EXPECT_TRUE(ftp.Received() == up);
    EXPECT_EQ(ftp.DataConnections()[0].received, 5'000'003u);
    ftp.Finish();
}

TEST_F(FtpScriptDataTest, DataAreReset) {
    ftp.Passive().AcceptData().DSend("part").DRst();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    EXPECT_EQ(data.ReceiveAll(), "part");
    EXPECT_EQ(data.Result(), -1);
    EXPECT_EQ(Sockets().lastError(), kSocketReset);
    ftp.Finish();
}

TEST_F(FtpScriptDataTest, AHeldConnectionMustStay) {
    ftp.Passive().AcceptData().DExpectNothing().DHold();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    data.Close();
    EXPECT_EQ(ftp.End(),
              "at the end of the script: the client has sent or closed on a data connection that is held");
}

TEST_F(FtpScriptDataTest, AClientThatClosesTooEarlyIsAFailure) {
    ftp.Passive().AcceptData().DReceive(10);
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    EXPECT_EQ(data.Send("12345"), 5);
    data.Close();
    EXPECT_THAT(ftp.End(), HasSubstr("DReceive: the client has closed after 5 bytes"));
}

TEST_F(FtpScriptDataTest, AByteInsteadOfTheCloseIsAFailure) {
    ftp.Passive().AcceptData().DExpectClosed();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    EXPECT_EQ(data.Send("x"), 1);
    EXPECT_THAT(ftp.End(), HasSubstr("DExpectClosed: the client has sent something"));
}

TEST_F(FtpScriptDataTest, AByteWhereNothingMayBeIsAFailure) {
    ftp.Passive().AcceptData().Expect("NOOP").DExpectNothing();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    EXPECT_EQ(data.Send("x"), 1);
    client.SendLine("NOOP");
    EXPECT_THAT(ftp.TakeFailure(), HasSubstr("DExpectNothing: the client has sent or closed"));
}

TEST_F(FtpScriptDataTest, WhatHasNoConnectionOrPortIsAFailure) {
    ftp.DSend("x");
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    EXPECT_THAT(ftp.TakeFailure(), HasSubstr("DSend \"x\": there is no data connection"));
}

TEST_F(FtpScriptDataTest, APortWhereNobodyListensIsAFailure) {
    ftp.ExpectPort().Dial();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    std::string text = "PORT ";
    for (const int shift : {24, 16, 8, 0}) {
        text += std::to_string(HostNames().ownAddress() >> shift & 0xFF) + ",";
    }
    client.SendLine(text + "0,1");
    EXPECT_THAT(ftp.TakeFailure(), HasSubstr("Dial: nobody listens where PORT says"));
}

TEST_F(FtpScriptDataTest, TheServerDialsWherePortSays) {
    ftp.Active().Expect("RETR").Say("150").Dial().DSend("down").DFin();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    EXPECT_EQ(Ask(client, "TYPE I"), "200 binary");
    const SocketToken listener = Sockets().open();
    ASSERT_EQ(Sockets().bind(listener, HostNames().ownAddress(), 0), 0);
    ASSERT_EQ(Sockets().listen(listener, 5), 0);
    uint32 address = 0;
    uint16 port = 0;
    ASSERT_EQ(Sockets().name(listener, &address, &port), 0);
    std::string text = "PORT ";
    for (const int shift : {24, 16, 8, 0}) {
        text += std::to_string(address >> shift & 0xFF) + ",";
    }
    EXPECT_EQ(Ask(client, text + std::to_string(port >> 8) + "," + std::to_string(port & 255)), "200 port");
    EXPECT_EQ(Ask(client, "RETR"), "150");
    const SocketToken data = Sockets().accept(listener);
    char bytes[4] = {};
    EXPECT_EQ(Sockets().receive(data, bytes, 4), 4);
    EXPECT_EQ(std::string(bytes, 4), "down");
    EXPECT_EQ(Sockets().receive(data, bytes, 4), 0);
    Sockets().close(data);
    Sockets().close(listener);
    ftp.Finish();
    EXPECT_TRUE(ftp.DataConnections()[0].dialled);
    EXPECT_THAT(ftp.Story(), ElementsAre("control open", "control connect", "control send TYPE I",
                                         "listener open", "listener bind", "listener listen",
                                         "control send " + text + std::to_string(port >> 8) + "," +
                                             std::to_string(port & 255),
                                         "control send RETR", "data accept", "data close", "listener close"));
}

TEST_F(FtpScriptDataTest, APortOfAnotherAddressIsAFailure) {
    ftp.ExpectPort();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    client.SendLine("PORT 9,9,9,9,1,2");
    EXPECT_THAT(ftp.TakeFailure(), HasSubstr("ExpectPort: got \"PORT 9,9,9,9,1,2\\r\\n\""));
}

TEST_F(FtpScriptDataTest, TheTestTellsWhenTheServerGoesOn) {
    ftp.Passive().AcceptData().DSend("one").UntilTold().DSend("two").DFin();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    EXPECT_EQ(data.Receive(100), "one");
    std::string rest;
    std::thread receiver([&] { rest = data.ReceiveAll(); });
    EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
    EXPECT_EQ(ftp.DataConnections()[0].sent, 3u);
    ftp.GoOn();
    EXPECT_EQ(ftp.DataConnections()[0].sent, 6u);
    receiver.join();
    EXPECT_EQ(rest, "two");
    ftp.Finish();
}

TEST_F(FtpScriptDataTest, AWaitStandsUntilTheTestMovesTheClock) {
    ftp.Passive().AcceptData().DSend("one").After(500).DSend("two").DFin();
    ftp.Start();
    ScriptClient client(ftp);
    ASSERT_TRUE(client.Connect());
    ScriptClient data(ftp);
    ASSERT_TRUE(data.Connect(AskForPort(client)));
    void* const done = VXC_CreateEventW(nullptr, 1, 0, nullptr);
    std::thread receiver([&] {
        EXPECT_EQ(data.Receive(100), "one");
        EXPECT_EQ(Sockets().waitReadable(data.Token()), 0);
        VXC_SetEvent(done);
    });
    std::thread waiter([&] { EXPECT_EQ(VXC_WaitForSingleObject(done, 1000), VXC_WAIT_OBJECT_0); });
    ASSERT_TRUE(ftp.Clock().WaitForSleepers(1));
    ASSERT_TRUE(ftp.WaitUntilReceiverWaits());
    ftp.Clock().Advance(499);
    ftp.Settle();
    EXPECT_EQ(ftp.DataConnections()[0].sent, 3u);
    ftp.Clock().Advance(1);
    waiter.join();
    receiver.join();
    VXC_CloseHandle(done);
    ftp.Finish();
    EXPECT_EQ(ftp.Spent(), 500);
}
