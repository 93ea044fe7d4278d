#include "ftp/FtpSocket.h"

#include "ftp/SocketSeam.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <stdexcept>
#include <utility>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class FtpSocketTest : public ::testing::Test {
protected:
    // The calls since the last time.
    std::vector<std::string> TakeCalls() { return std::exchange(seam.calls, {}); }

    SocketSeam seam;
    LogCapture log;
};

} // namespace

// ---- The interface, and the life of a socket ------------------------------------------------------------

TEST_F(FtpSocketTest, EachObjectStartsAndStopsTheInterface) {
    {
        CFTPSocket socket;
        EXPECT_THAT(TakeCalls(), ElementsAre("startup 2"));
        EXPECT_EQ(socket.Create(), 1);
        EXPECT_EQ(socket.m_hSocket, SocketSeam::kFirst);
        EXPECT_THAT(TakeCalls(), ElementsAre("open"));
    }
    EXPECT_THAT(TakeCalls(), ElementsAre("shutdown 501", "close 501", "cleanup"));
}

TEST_F(FtpSocketTest, AnInterfaceThatDidNotStartIsNotStopped) {
    seam.Fail("startup", 10091);
    {
        CFTPSocket socket;
        EXPECT_EQ(socket.m_nErr, 10091);
        EXPECT_EQ(socket.Create(), 0);
        EXPECT_EQ(socket.m_hSocket, kNoSocket);
    }
    EXPECT_THAT(TakeCalls(), ElementsAre("startup 2", "shutdown -1", "close -1"));
}

TEST_F(FtpSocketTest, AnotherVersionOpensNothingAndIsStoppedAllTheSame) {
    for (const uint16 version : std::initializer_list<uint16>{0x0101, 0x0200, 0x0102, 0x0202, 1, 0}) {
        seam.version = version;
        {
            CFTPSocket socket;
            EXPECT_EQ(socket.Create(), 0) << version;
            EXPECT_EQ(socket.m_nErr, 0) << version;
        }
        EXPECT_THAT(TakeCalls(), ElementsAre("startup 2", "shutdown -1", "close -1", "cleanup"));
    }
}

TEST_F(FtpSocketTest, WhatCannotBeOpenedTellsTheErrorOfClosingIt) {
    CFTPSocket socket;
    seam.Fail("open", 10024);
    seam.Fail("close", 10038);
    TakeCalls();
    EXPECT_EQ(socket.Create(), 0);
    EXPECT_EQ(socket.m_nErr, 10038);
    EXPECT_EQ(socket.m_hSocket, kNoSocket);
    EXPECT_THAT(TakeCalls(), ElementsAre("open", "close -1"));
}

TEST_F(FtpSocketTest, ASocketThatIsCreatedAgainForgetsTheOneItHad) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    EXPECT_EQ(socket.Create(), 1);
    EXPECT_EQ(socket.m_hSocket, SocketSeam::kFirst + 1);
    EXPECT_THAT(TakeCalls(), ElementsAre("open"));
}

TEST_F(FtpSocketTest, ToCloseWhatWasNeverCreatedSucceeds) {
    CFTPSocket socket;
    TakeCalls();
    EXPECT_EQ(socket.Close(), 1);
    EXPECT_THAT(TakeCalls(), ElementsAre("shutdown -1", "close -1"));
}

TEST_F(FtpSocketTest, EachCloseIsMadeOnTheSameSocket) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    seam.Fail("shutdown", 10057);
    seam.Fail("close", 10038);
    EXPECT_EQ(socket.Close(), 1);
    EXPECT_EQ(socket.Close(), 1);
    EXPECT_EQ(socket.m_nErr, 0); // their results do not count
    EXPECT_EQ(socket.m_hSocket, SocketSeam::kFirst);
    EXPECT_THAT(TakeCalls(), ElementsAre("shutdown 501", "close 501", "shutdown 501", "close 501"));
}

TEST_F(FtpSocketTest, OnlyASocketOfZeroIsAbsent) {
    CFTPSocket socket;
    socket.m_hSocket = 0;
    TakeCalls();
    EXPECT_EQ(socket.Close(), 0);
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(FtpSocketTest, ASocketWithError88IsLeftAlone) {
    {
        CFTPSocket socket;
        socket.Create();
        socket.m_nErr = 88;
        TakeCalls();
        EXPECT_EQ(socket.Close(), 1);
        EXPECT_THAT(TakeCalls(), IsEmpty());
    }
    EXPECT_THAT(TakeCalls(), ElementsAre("cleanup"));
}

// ---- Listening ------------------------------------------------------------------------------------------

TEST_F(FtpSocketTest, AListenerIsBoundToTheOwnAddress) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    EXPECT_EQ(socket.Bind(0), 1);
    EXPECT_EQ(socket.Bind(0x10007), 1);
    EXPECT_EQ(socket.Listen(), 1);
    EXPECT_THAT(TakeCalls(), ElementsAre("bind 501 192.0.2.7:0", "bind 501 192.0.2.7:7", "listen 501 5"));
}

TEST_F(FtpSocketTest, AHostWithoutAddressBindsNothing) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    seam.ownAddress = 0;
    EXPECT_EQ(socket.Bind(0), 0);
    EXPECT_EQ(socket.m_nErr, 0);
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(FtpSocketTest, WhatCannotBeBoundIsClosed) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    seam.Fail("bind", 10048);
    seam.Fail("close", 10038);
    EXPECT_EQ(socket.Bind(0), 0);
    EXPECT_EQ(socket.m_nErr, 10048);
    EXPECT_EQ(socket.m_hSocket, SocketSeam::kFirst);
    EXPECT_THAT(TakeCalls(), ElementsAre("bind 501 192.0.2.7:0", "close 501"));
}

TEST_F(FtpSocketTest, WhatCannotListenIsLeftOpen) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    seam.Fail("listen", 10022);
    EXPECT_EQ(socket.Listen(), 0);
    EXPECT_EQ(socket.m_nErr, 10022);
    EXPECT_THAT(TakeCalls(), ElementsAre("listen 501 5"));
}

TEST_F(FtpSocketTest, AcceptGivesTheSocketToTheClient) {
    CFTPSocket listener;
    CFTPSocket client;
    listener.Create();
    EXPECT_EQ(listener.Accept(client), 1);
    EXPECT_EQ(client.m_hSocket, SocketSeam::kFirst + 1);
    seam.Fail("accept", 10004);
    EXPECT_EQ(listener.Accept(client), 0);
    EXPECT_EQ(client.m_hSocket, kNoSocket);
    EXPECT_EQ(listener.m_nErr, 10004);
    EXPECT_EQ(client.m_nErr, 0);
}

TEST_F(FtpSocketTest, Accept1LooksAtTheListenerAlone) {
    CFTPSocket listener;
    CFTPSocket client;
    listener.Create();
    EXPECT_EQ(listener.Accept1(&client.m_hSocket), 1);
    EXPECT_EQ(client.m_hSocket, SocketSeam::kFirst + 1);
    seam.Fail("accept", 10004);
    EXPECT_EQ(listener.Accept1(&client.m_hSocket), 1);
    EXPECT_EQ(client.m_hSocket, kNoSocket);
    EXPECT_EQ(listener.m_nErr, 0);
    // The failure shows here.
    seam.Fail("receive", 10038);
    char byte = 0;
    EXPECT_EQ(client.Receive(&byte, 1, 0), -1);
    EXPECT_EQ(client.m_nErr, 10038);

    CFTPSocket none;
    seam.Fail("accept", 10038);
    EXPECT_EQ(none.Accept1(&client.m_hSocket), 0);
    EXPECT_EQ(none.m_nErr, 10038);
}

// ---- Bytes ----------------------------------------------------------------------------------------------

TEST_F(FtpSocketTest, ATextGoesOutInOneSend) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    EXPECT_EQ(socket.WriteString(L"CWD /M\x00FCll/%s%n\r\nX"), 1);
    EXPECT_EQ(seam.sent, "CWD /M\xC3\xBCll/%s%n\r\nX");
    EXPECT_THAT(TakeCalls(), ElementsAre("send 501 18"));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(FtpSocketTest, BytesOfAnotherCodePageGoBackAsTheyCame) {
    CFTPSocket socket;
    socket.Create();
    seam.packets = {{"M\xFCll\r\n"}};
    CVXCString line;
    ASSERT_EQ(socket.ReadString(line, 0), 1);
    EXPECT_EQ(socket.WriteString(line), 1);
    EXPECT_EQ(seam.sent, "M\xFCll");
}

TEST_F(FtpSocketTest, NoTextIsASendOfNothing) {
    CFTPSocket socket;
    socket.Create();
    TakeCalls();
    EXPECT_EQ(socket.WriteString(nullptr), 1);
    EXPECT_EQ(socket.WriteString(L""), 1);
    seam.Fail("send", 10054);
    EXPECT_EQ(socket.WriteString(nullptr), 0);
    EXPECT_EQ(socket.m_nErr, 10054);
    EXPECT_THAT(TakeCalls(), ElementsAre("send 501 0", "send 501 0", "send 501 0"));
}

TEST_F(FtpSocketTest, ATextThatGoesOutInPartIsASuccess) {
    CFTPSocket socket;
    socket.Create();
    seam.sends = 2;
    EXPECT_EQ(socket.WriteString(L"NOOP\r\n"), 1);
    EXPECT_EQ(seam.sent, "NO");
    EXPECT_EQ(socket.m_nErr, 0);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(FtpSocketTest, SendingTellsTheCountAndNotesAShortOne) {
    CFTPSocket socket;
    socket.Create();
    EXPECT_EQ(socket.Send("abcde", 5, 0), 5);
    EXPECT_EQ(socket.Send("", 0, 0), 0);
    EXPECT_EQ(socket.m_nErr, 0);
    EXPECT_THAT(log.Lines(), IsEmpty());
    seam.Fail("send", 10054);
    EXPECT_EQ(socket.Send("abcde", 5, 0), -1);
    EXPECT_EQ(socket.m_nErr, 10054);
    seam.sends = 3;
    log.Clear();
    EXPECT_EQ(socket.Send("abcde", 5, 0), 3);
    EXPECT_TRUE(log.Contains(L"send() err: WSAGetLastError() = 10054 \n")); // the last error there was
    EXPECT_EQ(seam.sent, "abcdeabc");
}

TEST_F(FtpSocketTest, ReceivingTellsTheCountAndTheEndWithoutComment) {
    CFTPSocket socket;
    socket.Create();
    char buffer[8] = {};
    seam.packets = {{"abc"}, {""}, {"de"}};
    EXPECT_EQ(socket.Receive(buffer, 8, 0), 3);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(socket.Receive(buffer, 8, 0), 0);
    EXPECT_EQ(socket.Receive(buffer, 1, 0), 1);
    EXPECT_EQ(socket.m_nErr, 0);
    EXPECT_THAT(log.Lines(), IsEmpty());
    seam.packets = {{.bytes = {}, .error = 10054}};
    EXPECT_EQ(socket.Receive(buffer, 8, 0), -1);
    EXPECT_EQ(socket.m_nErr, 10054);
}

TEST_F(FtpSocketTest, WhatASocketLayerThrowsGoesThrough) {
    CFTPSocket socket;
    socket.Create();
    Sockets().send = [](SocketToken, const void*, uint32) -> int { throw std::runtime_error("send"); };
    Sockets().receive = [](SocketToken, void*, uint32) -> int { throw std::runtime_error("receive"); };
    char byte = 0;
    EXPECT_THROW(socket.Send(&byte, 1, 0), std::runtime_error);
    EXPECT_THROW(socket.Receive(&byte, 1, 0), std::runtime_error);
}

// ---- Names ----------------------------------------------------------------------------------------------

TEST_F(FtpSocketTest, TheNameIsADottedAddressAndAPort) {
    CFTPSocket socket;
    socket.Create();
    CVXCString address;
    unsigned port = 0;
    seam.ownAddress = 0xFF00C801u;
    seam.ownPort = 65535;
    EXPECT_EQ(socket.GetSockName(address, port), 1);
    EXPECT_STREQ(address, L"255.0.200.1");
    EXPECT_EQ(port, 65535u);
}

TEST_F(FtpSocketTest, ASocketWithoutNameChangesNothing) {
    CFTPSocket socket;
    socket.Create();
    CVXCString address(L"old");
    unsigned port = 7;
    seam.ownPort = 0; // the text of the address has no colon then
    EXPECT_EQ(socket.GetSockName(address, port), 0);
    EXPECT_EQ(socket.m_nErr, 0);
    seam.ownPort = 21;
    seam.Fail("name", 10022);
    EXPECT_EQ(socket.GetSockName(address, port), 0);
    EXPECT_EQ(socket.m_nErr, 10022);
    EXPECT_STREQ(address, L"old");
    EXPECT_EQ(port, 7u);
}
