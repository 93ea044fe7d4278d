// Receiving on a thread that may be given up while it waits.
#include "ftp/FtpSocket.h"

#include "ftp/SocketSeam.h"
#include "platform/SocketPair.h"
#include "support/Gate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class FtpSocketReceiveTest : public ::testing::Test {
protected:
    FtpSocketReceiveTest() { socket.Create(); }

    int Receive() { return socket.Receive(buffer, sizeof buffer, lock, stopped); }

    SocketSeam seam;
    CFTPSocket socket;
    std::mutex lock;
    bool stopped = false; // guarded by lock
    char buffer[8] = "before!";
};

// The table's own calls, but that a wait stops at the gate before it ends.
SocketTable g_real;
Gate* g_gate = nullptr;

class FtpSocketGiveUpTest : public ::testing::Test {
protected:
    FtpSocketGiveUpTest() {
        g_real = Sockets();
        g_gate = &gate;
        Sockets().waitReadable = [](SocketToken token) {
            g_gate->Pass();
            return g_real.waitReadable(token);
        };
        socket.m_hSocket = pair.Client();
    }

    PlatformScope platform;
    Gate gate;
    SocketPair pair;
    CFTPSocket socket;
    std::mutex lock;
    bool stopped = false; // guarded by lock
    char buffer[8] = "before!";
};

} // namespace

TEST_F(FtpSocketReceiveTest, TheResultIsThatOfOneReceive) {
    seam.packets = {{"abc"}, {""}};
    EXPECT_EQ(Receive(), 3);
    EXPECT_EQ(std::string(buffer, 3), "abc");
    EXPECT_EQ(Receive(), 0);
    EXPECT_EQ(socket.m_nErr, 0);
}

TEST_F(FtpSocketReceiveTest, AWaitThatWasInVainIsMadeAgain) {
    seam.Fail("receiveNow", kSocketWouldBlock);
    seam.Fail("receiveNow", kSocketWouldBlock);
    seam.packets = {{"abc"}};
    EXPECT_EQ(Receive(), 3);
    EXPECT_EQ(socket.m_nErr, 0);
    EXPECT_EQ(std::count(seam.calls.begin(), seam.calls.end(), "waitReadable 501"), 2);
}

TEST_F(FtpSocketReceiveTest, AFailedReceiveIsNoted) {
    seam.packets = {{.bytes = {}, .error = 10054}};
    EXPECT_EQ(Receive(), -1);
    EXPECT_EQ(socket.m_nErr, 10054);
}

TEST_F(FtpSocketReceiveTest, WhatIsThereIsNotWaitedFor) {
    seam.packets = {{"abc"}};
    EXPECT_EQ(Receive(), 3);
    EXPECT_EQ(std::count(seam.calls.begin(), seam.calls.end(), "waitReadable 501"), 0);
}

TEST_F(FtpSocketReceiveTest, AFailedWaitIsAFailedReceive) {
    seam.Fail("receiveNow", kSocketWouldBlock);
    seam.Fail("waitReadable", 10055);
    seam.packets = {{"abc"}};
    EXPECT_EQ(Receive(), -1);
    EXPECT_EQ(socket.m_nErr, 10055);
    EXPECT_STREQ(buffer, "before!");
}

TEST_F(FtpSocketReceiveTest, WhoIsStoppedReceivesNothing) {
    stopped = true;
    seam.packets = {{"abc"}};
    EXPECT_EQ(Receive(), CFTPSocket::kStopped);
    EXPECT_STREQ(buffer, "before!");
    EXPECT_EQ(seam.receives, 0);
    EXPECT_EQ(socket.m_nErr, 0);
}

TEST_F(FtpSocketGiveUpTest, TheLockIsFreeWhileItWaits) {
    int got = 7;
    std::thread receiver([&] { got = socket.Receive(buffer, sizeof buffer, lock, stopped); });
    ASSERT_TRUE(gate.WaitUntilReached());
    {
        const std::lock_guard guard(lock);
        stopped = true;
    }
    // From here on the buffer belongs to the caller alone: what comes is not written there.
    std::fill_n(buffer, sizeof buffer, 'C');
    EXPECT_EQ(Sockets().send(pair.Server(), "late", 4), 4);
    gate.Open();
    receiver.join();
    EXPECT_EQ(got, CFTPSocket::kStopped);
    EXPECT_EQ(std::string(buffer, sizeof buffer), "CCCCCCCC");
    uint32 count = 0;
    EXPECT_EQ(Sockets().readable(pair.Client(), &count), 0);
    EXPECT_EQ(count, 4u); // nor taken from the socket
}

TEST_F(FtpSocketGiveUpTest, BytesThatComeInTimeAreReceived) {
    int got = 7;
    std::thread receiver([&] { got = socket.Receive(buffer, sizeof buffer, lock, stopped); });
    ASSERT_TRUE(gate.WaitUntilReached());
    EXPECT_EQ(Sockets().send(pair.Server(), "intime", 6), 6);
    gate.Open();
    receiver.join();
    EXPECT_EQ(got, 6);
    EXPECT_EQ(std::string(buffer, 6), "intime");
}
