// ScriptClient.h - a client of a scripted server that uses the socket table and nothing above it.
#pragma once

#include "platform/HostNames.h"
#include "platform/Sockets.h"
#include "support/FtpScript.h"
#include "support/LeakChecks.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace vxcio::test {

inline constexpr uint32 kReplyTime = 15000;

// A client of the socket table that polls for its lines as a session does.
class ScriptClient {
public:
    explicit ScriptClient(FtpScript& ftp) : m_ftp(ftp), m_token(Sockets().open()) {}
    ~ScriptClient() { Close(); }
    ScriptClient(const ScriptClient&) = delete;
    ScriptClient& operator=(const ScriptClient&) = delete;

    bool Connect(int port) {
        return Sockets().connect(m_token, HostNames().ownAddress(), static_cast<uint16>(port)) == 0;
    }
    bool Connect() { return Connect(m_ftp.Port()); }

    int Send(const std::string& bytes) {
        return Sockets().send(m_token, bytes.data(), static_cast<uint32>(bytes.size()));
    }
    int SendLine(const std::string& line) { return Send(line + "\r\n"); }

    // The next line, or nothing when none comes in time.
    std::optional<std::string> Line(uint32 time = kReplyTime) {
        for (;;) {
            const std::size_t end = m_pending.find("\r\n");
            if (end != std::string::npos) {
                const std::string line = m_pending.substr(0, end);
                m_pending.erase(0, end + 2);
                return line;
            }
            uint32 there = 0;
            Sockets().readable(m_token, &there);
            if (there > 0) {
                m_pending += Receive(1024);
            } else if (time == 0) {
                return std::nullopt;
            } else {
                VXC_Sleep(100);
                time -= 100;
            }
        }
    }

    std::string Receive(uint32 bytes) {
        std::string buffer(bytes, '\0');
        m_result = Sockets().receive(m_token, buffer.data(), bytes);
        buffer.resize(m_result > 0 ? static_cast<std::size_t>(m_result) : 0);
        return buffer;
    }
    // Until the end or an error, which Result tells.
    std::string ReceiveAll() {
        std::string all;
        do {
            all += Receive(100'000);
        } while (m_result > 0);
        return all;
    }
    int Result() const { return m_result; }

    void Close() {
        if (m_token != kNoSocket) {
            Sockets().shutdown(m_token);
            Sockets().close(m_token);
            m_token = kNoSocket;
        }
    }
    SocketToken Token() const { return m_token; }

private:
    FtpScript& m_ftp;
    SocketToken m_token;
    std::string m_pending;
    int m_result = 0;
};

// The port in "h,h,h,h,p,p)".
inline int PortIn(const std::string& reply) {
    const std::size_t last = reply.rfind(',');
    const std::size_t before = reply.rfind(',', last - 1);
    return std::stoi(reply.substr(before + 1)) * 256 + std::stoi(reply.substr(last + 1));
}

class ScriptTalk : public ::testing::Test {
protected:
    // The reply to a command.
    static std::optional<std::string> Ask(ScriptClient& client, const std::string& line) {
        client.SendLine(line);
        return client.Line();
    }
    // The port that the server listens on after TYPE I and PASV.
    static int AskForPort(ScriptClient& client) {
        EXPECT_EQ(Ask(client, "TYPE I"), "200 binary");
        return PortIn(Ask(client, "PASV").value_or(",0,0"));
    }

    NoLeakScope leaks;
    FtpScript ftp;
};

} // namespace vxcio::test
