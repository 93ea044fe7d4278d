// SocketPair.h - sockets of a test, made through the table that is under test.
#pragma once

#include "platform/Sockets.h"

#include <gtest/gtest.h>

namespace vxcio::test {

inline constexpr uint32 kLoopback = 0x7F000001u;
inline constexpr uint32 kNobodysAddress = 0xC0000201u; // kept for documents

// An open socket, closed at its end.
class Socket {
public:
    Socket() : Socket(Sockets().open()) {}
    explicit Socket(SocketToken token) : m_token(token) { EXPECT_NE(token, kNoSocket); }
    ~Socket() { Sockets().close(m_token); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    SocketToken Token() const { return m_token; }
    uint16 Port() const {
        uint32 address = 0;
        uint16 port = 0;
        EXPECT_EQ(Sockets().name(m_token, &address, &port), 0);
        return port;
    }

private:
    const SocketToken m_token;
};

// A socket that others can connect to on this host.
class Listener : public Socket {
public:
    explicit Listener(int backlog = 5) {
        EXPECT_EQ(Sockets().bind(Token(), kLoopback, 0), 0);
        EXPECT_EQ(Sockets().listen(Token(), backlog), 0);
    }
};

// A port at which nobody listens.
inline uint16 FreePort() {
    return Listener().Port();
}

// Two ends of a connection.
class SocketPair {
public:
    SocketPair() {
        EXPECT_EQ(Sockets().connect(Client(), kLoopback, m_listener.Port()), 0);
        m_server = Sockets().accept(m_listener.Token());
        EXPECT_NE(m_server, kNoSocket);
    }
    ~SocketPair() { CloseServer(); }
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;

    SocketToken Client() const { return m_client.Token(); }
    SocketToken Server() const { return m_server; }
    uint16 Port() const { return m_listener.Port(); }

    void CloseServer() { Sockets().close(m_server); }
    // With bytes that it has not received, so that it takes no more of them: its end comes, and a reset
    // behind.
    void DropServer() {
        EXPECT_EQ(Sockets().send(Client(), "unread", 6), 6);
        EXPECT_EQ(Sockets().waitReadable(m_server), 0);
        CloseServer();
    }

private:
    const Listener m_listener;
    const Socket m_client;
    SocketToken m_server = kNoSocket;
};

} // namespace vxcio::test
