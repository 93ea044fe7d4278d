#include "platform/Sockets.h"

#include "platform/SocketPair.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

// What one call said, and the number of its error where it failed.
struct Said {
    int64 result;
    int error;

    bool operator==(const Said&) const = default;
};
void PrintTo(const Said& said, std::ostream* out) {
    *out << said.result << " with " << said.error;
}

template <class Call>
Said Ask(Call call) {
    const auto result = static_cast<int64>(call());
    return {result, result == -1 ? Sockets().lastError() : 0};
}

constexpr Said kRefused = {-1, kSocketNotASocket};

void ExpectAllRefused(SocketToken token) {
    char byte = 'x';
    uint32 number = 0;
    uint16 port = 0;
    EXPECT_EQ(Ask([&] { return Sockets().connect(token, kLoopback, 1); }), kRefused);
    EXPECT_EQ(Ask([&] { return Sockets().bind(token, kLoopback, 0); }), kRefused);
    EXPECT_EQ(Ask([&] { return Sockets().listen(token, 5); }), kRefused);
    EXPECT_EQ(Ask([&] { return Sockets().accept(token); }), kRefused);
    EXPECT_EQ(Ask([&] { return Sockets().send(token, &byte, 1); }), kRefused);
    EXPECT_EQ(Ask([&] { return Sockets().receive(token, &byte, 1); }), kRefused);
    EXPECT_EQ(Ask([&] { return Sockets().receiveNow(token, &byte, 1); }), kRefused);
    EXPECT_EQ(Ask([&] { return Sockets().waitReadable(token); }), kRefused);
    EXPECT_EQ(Sockets().lookReadable(token, 0xFFFFFFFFu), 1);
    EXPECT_EQ(Ask([&] { return Sockets().readable(token, &number); }), kRefused);
    EXPECT_EQ(Ask([&] { return Sockets().name(token, &number, &port); }), kRefused);
    EXPECT_EQ(Ask([&] { return Sockets().shutdown(token); }), kRefused);
    EXPECT_EQ(Ask([&] { return Sockets().close(token); }), kRefused);
    EXPECT_EQ(byte, 'x');
}

std::string ReceiveAll(SocketToken token) {
    std::string all;
    char piece[64];
    for (int got = 1; got > 0;) {
        got = Sockets().receive(token, piece, sizeof piece);
        all.append(piece, got > 0 ? static_cast<std::size_t>(got) : 0);
    }
    return all;
}

} // namespace

// ---- Tokens ---------------------------------------------------------------------------------------------

TEST(SocketTokenTest, EachTokenIsGivenOutOnce) {
    SocketToken last = 0;
    for (int i = 0; i < 100; ++i) {
        const SocketToken first = Sockets().open();
        const SocketToken second = Sockets().open();
        ASSERT_NE(first, kNoSocket);
        ASSERT_GT(first, last); // so it is never 0 and was never given out before
        ASSERT_GT(second, first);
        last = second;
        EXPECT_EQ(Sockets().close(first), 0);
        EXPECT_EQ(Sockets().close(second), 0);
    }
}

TEST(SocketTokenTest, AClosedTokenIsRefusedByEveryCall) {
    const SocketToken token = Sockets().open();
    ASSERT_EQ(Sockets().close(token), 0);
    ExpectAllRefused(token);
}

TEST(SocketTokenTest, ATokenThatWasNeverGivenOutIsRefusedByEveryCall) {
    const Socket open;
    ASSERT_NE(open.Token(), kNoSocket);
    ExpectAllRefused(0);
    ExpectAllRefused(kNoSocket);
    ExpectAllRefused(open.Token() + 1);
    ExpectAllRefused(open.Token() + 0x1'0000'0000);
}

TEST(SocketTokenTest, WhatIsClosedTwiceTouchesNobodyElsesSocket) {
    const SocketToken stale = Sockets().open();
    ASSERT_EQ(Sockets().close(stale), 0);
    SocketPair pair; // its first descriptor is the one that has just become free
    EXPECT_EQ(Ask([&] { return Sockets().shutdown(stale); }), kRefused);
    EXPECT_EQ(Ask([&] { return Sockets().close(stale); }), kRefused);
    EXPECT_EQ(Sockets().send(pair.Client(), "hello", 5), 5);
    EXPECT_EQ(Sockets().shutdown(pair.Client()), 0);
    EXPECT_EQ(ReceiveAll(pair.Server()), "hello");
}

TEST(SocketTokenTest, TheCountIsThatOfTheOpenOnes) {
    const int before = OpenSocketCount();
    {
        const Socket one;
        const SocketToken two = Sockets().open();
        EXPECT_EQ(OpenSocketCount(), before + 2);
        Sockets().close(two);
        EXPECT_EQ(OpenSocketCount(), before + 1);
        Sockets().close(two);
        EXPECT_EQ(OpenSocketCount(), before + 1);
    }
    EXPECT_EQ(OpenSocketCount(), before);
}

TEST(SocketTokenTest, ManyThreadsMayUseAndCloseOneToken) {
    for (int round = 0; round < 20; ++round) {
        SocketPair pair;
        std::vector<std::thread> threads;
        std::array<int, 4> closed = {};
        for (std::size_t i = 0; i < closed.size(); ++i) {
            threads.emplace_back([&, i] {
                uint32 count = 0;
                char byte = 0;
                Sockets().send(pair.Client(), "x", 1);
                Sockets().readable(pair.Client(), &count);
                Sockets().receiveNow(pair.Client(), &byte, 1);
                Sockets().shutdown(pair.Client());
                closed[i] = Sockets().close(pair.Client()) == 0 ? 1 : 0;
                Socket other; // takes the descriptor as soon as it is free
                Sockets().close(pair.Client());
                uint32 address = 0;
                uint16 port = 0;
                EXPECT_EQ(Sockets().bind(other.Token(), kLoopback, 0), 0);
                EXPECT_EQ(Sockets().name(other.Token(), &address, &port), 0);
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(closed[0] + closed[1] + closed[2] + closed[3], 1);
    }
}

// ---- Connections ----------------------------------------------------------------------------------------

TEST(SocketsTest, TheInterfaceStartsAtTheVersionThatIsAskedFor) {
    uint16 version = 0;
    EXPECT_EQ(Sockets().startup(2, &version), 0);
    EXPECT_EQ(version, 2);
    Sockets().cleanup();
}

TEST(SocketsTest, BytesGoBothWaysAndTheEndComesBehindThem) {
    SocketPair pair;
    ASSERT_EQ(Sockets().send(pair.Client(), "to server", 9), 9);
    ASSERT_EQ(Sockets().send(pair.Server(), "to client", 9), 9);
    ASSERT_EQ(Sockets().shutdown(pair.Server()), 0);
    EXPECT_EQ(ReceiveAll(pair.Client()), "to client");
    ASSERT_EQ(Sockets().shutdown(pair.Client()), 0);
    EXPECT_EQ(Sockets().receive(pair.Client(), nullptr, 0), 0);
}

TEST(SocketsTest, NamesAreTheOwnAddressAndPort) {
    SocketPair pair;
    uint32 address = 0;
    uint16 port = 0;
    ASSERT_EQ(Sockets().name(pair.Server(), &address, &port), 0);
    EXPECT_EQ(address, kLoopback);
    EXPECT_EQ(port, pair.Port());
    ASSERT_EQ(Sockets().name(pair.Client(), &address, &port), 0);
    EXPECT_EQ(address, kLoopback);
    EXPECT_NE(port, 0);
    EXPECT_NE(port, pair.Port());
}

TEST(SocketsTest, ASocketThatIsNotBoundHasNoName) {
    const Socket socket;
    uint32 address = 7;
    uint16 port = 7;
    EXPECT_EQ(Ask([&] { return Sockets().name(socket.Token(), &address, &port); }), (Said{-1, 10022}));
    EXPECT_EQ(Ask([&] { return Sockets().connect(socket.Token(), kLoopback, FreePort()); }),
              (Said{-1, 10061}));
    EXPECT_EQ(Ask([&] { return Sockets().name(socket.Token(), &address, &port); }), (Said{-1, 10022}));
    EXPECT_EQ(address, 7u);
    ASSERT_EQ(Sockets().bind(socket.Token(), kLoopback, 0), 0);
    ASSERT_EQ(Sockets().name(socket.Token(), &address, &port), 0);
    EXPECT_EQ(address, kLoopback);
    EXPECT_NE(port, 0);
}

TEST(SocketsTest, ASocketCanBeConnectedAgainAfterARefusal) {
    const Listener listener;
    const Socket socket;
    ASSERT_EQ(Ask([&] { return Sockets().connect(socket.Token(), kLoopback, FreePort()); }),
              (Said{-1, 10061}));
    EXPECT_EQ(Sockets().connect(socket.Token(), kLoopback, listener.Port()), 0);
}

TEST(SocketsTest, ReadableIsTheCountThatHasCome) {
    SocketPair pair;
    uint32 count = 7;
    ASSERT_EQ(Sockets().readable(pair.Client(), &count), 0);
    EXPECT_EQ(count, 0u);
    ASSERT_EQ(Sockets().send(pair.Server(), "12345", 5), 5);
    ASSERT_EQ(Sockets().waitReadable(pair.Client()), 0);
    ASSERT_EQ(Sockets().readable(pair.Client(), &count), 0);
    EXPECT_EQ(count, 5u);
    char bytes[4];
    ASSERT_EQ(Sockets().receive(pair.Client(), bytes, 4), 4);
    ASSERT_EQ(Sockets().readable(pair.Client(), &count), 0);
    EXPECT_EQ(count, 1u);
}

TEST(SocketsTest, NothingIsReadableOfASocketThatHasJustBeenOpened) {
    const Socket socket;
    EXPECT_EQ(Ask([] { return Sockets().close(kNoSocket); }), kRefused); // what the last error was before
    uint32 count = 7;
    EXPECT_EQ(Sockets().readable(socket.Token(), &count), 0);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(Sockets().lastError(), kSocketNotASocket);
}

TEST(SocketsTest, ALookTellsWhetherSomethingIsThere) {
    SocketPair pair;
    EXPECT_EQ(Sockets().lookReadable(pair.Client(), 0), 0);
    EXPECT_EQ(Sockets().lookReadable(pair.Client(), 1), 0);
    ASSERT_EQ(Sockets().send(pair.Server(), "x", 1), 1);
    EXPECT_EQ(Sockets().lookReadable(pair.Client(), 0xFFFFFFFFu), 1); // comes back when it has come
    char byte = 0;
    ASSERT_EQ(Sockets().receive(pair.Client(), &byte, 1), 1);
    pair.CloseServer();
    EXPECT_EQ(Sockets().lookReadable(pair.Client(), 0xFFFFFFFFu), 1);
}

TEST(SocketsTest, APeerThatIsGoneIsReadableWithNothing) {
    for (const bool isDropped : {false, true}) {
        SocketPair pair;
        if (isDropped) {
            pair.DropServer();
        } else {
            pair.CloseServer();
        }
        ASSERT_EQ(Sockets().waitReadable(pair.Client()), 0);
        uint32 count = 7;
        EXPECT_EQ(Sockets().readable(pair.Client(), &count), 0) << isDropped;
        EXPECT_EQ(count, 0u) << isDropped;
    }
}

TEST(SocketsTest, ReceivingWithoutWaitingSaysThatNothingIsThere) {
    SocketPair pair;
    char bytes[8] = "unread";
    EXPECT_EQ(Ask([&] { return Sockets().receiveNow(pair.Client(), bytes, 8); }),
              (Said{-1, kSocketWouldBlock}));
    EXPECT_STREQ(bytes, "unread");
    ASSERT_EQ(Sockets().send(pair.Server(), "ab", 2), 2);
    ASSERT_EQ(Sockets().waitReadable(pair.Client()), 0);
    EXPECT_EQ(Sockets().receiveNow(pair.Client(), bytes, 8), 2);
    EXPECT_EQ(bytes[0], 'a');
    pair.CloseServer();
    ASSERT_EQ(Sockets().waitReadable(pair.Client()), 0);
    EXPECT_EQ(Sockets().receiveNow(pair.Client(), bytes, 8), 0);
}

TEST(SocketsTest, OneTransferHasAtMostTwoGigabytes) {
    SocketPair pair;
    ASSERT_EQ(Sockets().send(pair.Server(), "ab", 2), 2);
    std::vector<char> buffer(64);
    ASSERT_EQ(Sockets().waitReadable(pair.Client()), 0);
    // A count that has no room in the result must not turn into one below 0.
    EXPECT_EQ(Sockets().receiveNow(pair.Client(), buffer.data(), 0xFFFFFFFFu), 2);
}

// ---- Errors ---------------------------------------------------------------------------------------------

TEST(SocketErrorTest, ASocketWithoutAPeerIsNotConnected) {
    const Socket socket;
    char byte = 0;
    EXPECT_EQ(Ask([&] { return Sockets().send(socket.Token(), &byte, 1); }), (Said{-1, 10057}));
    EXPECT_EQ(Ask([&] { return Sockets().send(socket.Token(), "", 0); }), (Said{-1, 10057}));
    EXPECT_EQ(Ask([&] { return Sockets().receive(socket.Token(), &byte, 1); }), (Said{-1, 10057}));
    EXPECT_EQ(Ask([&] { return Sockets().receiveNow(socket.Token(), &byte, 1); }), (Said{-1, 10057}));
    EXPECT_EQ(Ask([&] { return Sockets().shutdown(socket.Token()); }), (Said{-1, 10057}));
    EXPECT_EQ(Sockets().waitReadable(socket.Token()), 0); // it would not wait
}

TEST(SocketErrorTest, AddressesThatCannotBeHad) {
    const Listener listener;
    const Socket socket;
    EXPECT_EQ(Ask([&] { return Sockets().bind(socket.Token(), kLoopback, listener.Port()); }),
              (Said{-1, 10048}));
    EXPECT_EQ(Ask([&] { return Sockets().bind(socket.Token(), kNobodysAddress, 0); }), (Said{-1, 10049}));
    EXPECT_EQ(Ask([&] { return Sockets().connect(socket.Token(), kLoopback, FreePort()); }),
              (Said{-1, 10061}));
}

TEST(SocketErrorTest, CallsThatDoNotFitTheSocket) {
    const Listener listener;
    const Socket fresh;
    SocketPair pair;
    uint32 count = 7;
    EXPECT_EQ(Ask([&] { return Sockets().readable(listener.Token(), &count); }), (Said{-1, 10022}));
    EXPECT_EQ(count, 7u);
    EXPECT_EQ(Ask([&] { return Sockets().accept(fresh.Token()); }), (Said{-1, 10022}));
    EXPECT_EQ(Ask([&] { return Sockets().connect(pair.Client(), kLoopback, listener.Port()); }),
              (Said{-1, 10056}));
    ASSERT_EQ(Sockets().send(pair.Server(), "x", 1), 1);
    EXPECT_EQ(Ask([&] { return Sockets().receive(pair.Client(), nullptr, 1); }), (Said{-1, 10014}));
}

TEST(SocketErrorTest, EachThreadHasItsOwnLastError) {
    EXPECT_EQ(Ask([] { return Sockets().close(kNoSocket); }), kRefused);
    std::thread([] {
        EXPECT_EQ(Sockets().lastError(), 0);
        const Socket socket;
        uint16 port = 0;
        uint32 address = 0;
        EXPECT_EQ(Ask([&] { return Sockets().name(socket.Token(), &address, &port); }), (Said{-1, 10022}));
    }).join();
    EXPECT_EQ(Sockets().lastError(), kSocketNotASocket);
}

TEST(SocketErrorTest, ACallThatSucceedsLeavesTheLastErrorAlone) {
    const Socket socket;
    EXPECT_EQ(Ask([] { return Sockets().close(kNoSocket); }), kRefused);
    ASSERT_EQ(Sockets().bind(socket.Token(), kLoopback, 0), 0);
    EXPECT_EQ(Sockets().lastError(), kSocketNotASocket);
}
