// A reader that found nothing waits for a good part of what it wants, but not for long.
#include "platform/Sockets.h"

#include "platform/SocketPair.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kWanted = 4096;

class SocketsGatherTest : public testing::Test {
protected:
    // A reader finds nothing.
    void Miss(uint32 bytes) {
        ASSERT_EQ(Sockets().receiveNow(m_pair.Client(), m_buffer.data(), bytes), -1);
        ASSERT_EQ(Sockets().lastError(), kSocketWouldBlock);
    }
    void Send(uint32 bytes) {
        ASSERT_EQ(Sockets().send(m_pair.Server(), m_buffer.data(), bytes), static_cast<int>(bytes));
    }
    uint32 Readable() {
        uint32 count = 0;
        EXPECT_EQ(Sockets().readable(m_pair.Client(), &count), 0);
        return count;
    }
    // How much is there when a wait ends whose bytes come in two pieces, the second one a little later.
    uint32 ThereAfterTwoPieces() {
        uint32 there = 0;
        std::atomic<bool> isBack{false};
        std::thread waiter([&] {
            EXPECT_EQ(Sockets().waitReadable(m_pair.Client()), 0);
            there = Readable();
            isBack = true;
        });
        Send(1);
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(2);
        while (!isBack && std::chrono::steady_clock::now() < end) {
            std::this_thread::yield();
        }
        Send(kWanted - 1);
        waiter.join();
        for (uint32 taken = 0; taken < kWanted;) {
            taken += static_cast<uint32>(Sockets().receive(m_pair.Client(), m_buffer.data(), kWanted));
        }
        return there;
    }

    SocketPair m_pair;
    std::vector<uint8> m_buffer = std::vector<uint8>(1 << 16);
};

} // namespace

TEST_F(SocketsGatherTest, WhoWantsMuchIsNotWokenForTheFirstByte) {
    // Behind the other work of a machine the second piece may come too late for one wait, hardly for all.
    bool wasGathered = false;
    for (int i = 0; i < 20 && !wasGathered; ++i) {
        Miss(kWanted);
        wasGathered = ThereAfterTwoPieces() == kWanted;
    }
    EXPECT_TRUE(wasGathered);
}

TEST_F(SocketsGatherTest, WhatDoesNotComeIsNotWaitedFor) {
    Miss(kWanted);
    Send(10);
    EXPECT_EQ(Sockets().waitReadable(m_pair.Client()), 0);
    EXPECT_EQ(Readable(), 10u);
}

TEST_F(SocketsGatherTest, ALaterReceiveTakesTheLittleThatIsThere) {
    Miss(kWanted);
    Send(10);
    EXPECT_EQ(Sockets().waitReadable(m_pair.Client()), 0);
    EXPECT_EQ(Sockets().receive(m_pair.Client(), m_buffer.data(), kWanted), 10);
}

TEST_F(SocketsGatherTest, TheEndIsNotWaitedThrough) {
    Miss(kWanted);
    Send(10);
    m_pair.CloseServer();
    EXPECT_EQ(Sockets().waitReadable(m_pair.Client()), 0);
    EXPECT_EQ(Sockets().receiveNow(m_pair.Client(), m_buffer.data(), kWanted), 10);
    EXPECT_EQ(Sockets().receiveNow(m_pair.Client(), m_buffer.data(), kWanted), 0);
}
