// FtpFake.h - a whole FTP server within the socket table: no connection, no thread and no waiting, so that a
// test can run it thousands of times and let any call of it fail.
//
// It answers a client at once and forgives it everything; to one that looks for a reply for long it says that
// it is still there. It has one folder, whose listing is kListing, and keeps the file that was written last.
// As a device it has one clip, which it tells of in kAnswer, the space kSpace, and one stretch.
#pragma once

#include "support/PlatformScope.h"
#include "support/TestClock.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vxcio::test {

// What happens to the n-th call, or to it and those behind it.
struct SocketFault {
    enum class Kind {
        Fails, // before its effect; but what is to be closed is closed
        Short, // a transfer moves one byte
    };
    Kind kind = Kind::Fails;
    int nth = 0; // from 1; 0 is none
    bool fromThenOn = false;
};

// While it lives it is what all sockets reach, and a test clock runs on which sleeping costs nothing. One at
// a time, for one thread, or for several that take turns.
class FtpFake {
public:
    FtpFake();
    explicit FtpFake(const SocketFault& fault);
    ~FtpFake();
    FtpFake(const FtpFake&) = delete;
    FtpFake& operator=(const FtpFake&) = delete;

    static constexpr int kPort = 21;
    static const std::string kListing;
    static const std::vector<std::string> kAnswer;
    static constexpr uint64 kSpace = 123456789;
    // Its header tells the Origin kOrigin.
    static const std::string& Stretch();
    static constexpr uint32 kOrigin = 12;

    // How often the fault took a call.
    int Fired() const { return m_fired; }
    // Tokens that are open.
    int Tokens() const { return static_cast<int>(m_sockets.size()); }
    // Calls that would never have come back.
    int Hangs() const { return m_hangs; }
    // All lines that it was sent.
    const std::vector<std::string>& Lines() const { return m_lines; }
    // The file that was written last.
    const std::optional<std::string>& File() const { return m_file; }
    int64 Spent() const { return static_cast<int64>(m_clock.Now() - m_begin); }

private:
    enum class Role { Fresh, Control, Listener, Data };
    struct Socket {
        Role role = Role::Fresh;
        std::string in;                   // what the client has not received yet
        bool ended = false;               // and nothing comes behind it
        uint16 port = 0;                  // of its own
        std::vector<SocketToken> dialled; // connections that a listener has not given out
        std::optional<std::string> upload;
    };

    // True where the call is to fail.
    bool Count();
    bool IsShort() const { return m_isNow && m_fault.kind == SocketFault::Kind::Short; }
    int Fail(int error);
    Socket* Find(SocketToken token);
    SocketToken Add(Role role);
    void Say(const std::string& line);
    void Hear(const std::string& line);
    void Transfer(const std::string& line);
    void Carry(Socket& data);
    void Remove(SocketToken token);

    static int Startup(uint16 wanted, uint16* version);
    static SocketToken Open();
    static int Connect(SocketToken token, uint32 address, uint16 port);
    static int Bind(SocketToken token, uint32 address, uint16 port);
    static int Listen(SocketToken token, int backlog);
    static SocketToken Accept(SocketToken token);
    static int Send(SocketToken token, const void* data, uint32 bytes);
    static int Receive(SocketToken token, void* buffer, uint32 bytes);
    static int Readable(SocketToken token, uint32* bytes);
    static int Name(SocketToken token, uint32* address, uint16* port);
    static int Shutdown(SocketToken token);
    static int Close(SocketToken token);

    const PlatformScope m_platform;
    TestClock m_clock;
    const uint64 m_begin;
    const SocketFault m_fault;
    int m_calls = 0;
    int m_fired = 0;
    bool m_isNow = false; // the call that is being made is the fault's
    int m_hangs = 0;
    int m_idle = 0; // looks for a reply in vain, in a row
    int m_error = 0;
    SocketToken m_last = 0;
    uint16 m_lastPort = 50000;
    std::map<SocketToken, Socket> m_sockets;
    SocketToken m_control = 0; // the latest control connection
    std::string m_heard;       // of a line that has not ended
    std::vector<std::string> m_lines;
    uint16 m_passivePort = 0;    // 0: none
    SocketToken m_connected = 0; // to it
    uint16 m_activePort = 0;
    std::string m_pending; // the command that waits for the connection
    std::optional<std::string> m_file;
};

} // namespace vxcio::test
