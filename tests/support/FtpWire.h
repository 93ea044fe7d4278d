// FtpWire.h - an FTP server (RFC 959) within the socket table: no network, any number of sessions at once,
// and transfers that stall, break or end early where the test says so.
//
//   FtpWire wire(content, [](uint64 position) { return FtpWire::Fate{FtpWire::End::Stall, 5000}; });
//   source.Connect(FTPMODE_NORMAL, FtpWire::kHost, L"u", L"p", FtpWire::kPort, 0)
//
// It serves the same content under every name, by passive transfers. Unlike FtpScript it leaves the order of
// things to its clients and needs no clock; a test gives it one where it wants replies that never come.
#pragma once

#include "platform/HostNames.h"
#include "platform/Sockets.h"

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace vxcio::test {

// One at a time, and made before its clients; at its end no thread may be in a call any more (Finish).
class FtpWire {
public:
    static constexpr const wchar_t* kHost = L"wire";
    static constexpr int kPort = 21;

    // What becomes of a transfer when so many of its bytes are out.
    enum class End {
        Whole, // nothing: it ends with the content
        Stall, // stands until Release or Finish, and goes on
        Reset,
        Short, // ends there
    };
    struct Fate {
        End end = End::Whole;
        uint64 after = 0;
    };
    // Asked for the position of each transfer, on the client's thread.
    using FateOf = std::function<Fate(uint64 position)>;

    // Without fates every transfer is whole.
    explicit FtpWire(std::string content, FateOf fateOf = nullptr);
    ~FtpWire();
    FtpWire(const FtpWire&) = delete;
    FtpWire& operator=(const FtpWire&) = delete;

    // One of so many replies is left out; 0 for none. Any thread, as for the rest.
    void LoseReplies(uint32 oneOf);
    // The largest piece that one receive gives.
    void SetPiece(uint32 bytes);
    // Blocks until a thread stands at a stall. False once Finish was called.
    bool WaitForStall();
    // Lets what stalls go on.
    void Release();
    // From here on every transfer is over; wakes all.
    void Finish();

    // All lines that its control connections were sent, in order.
    std::vector<std::string> Lines() const;
    int Transfers() const;
    // Connected or not.
    int OpenSockets() const;

private:
    struct Link {
        bool isControl = false;
        bool isConnected = false;
        // Control connection.
        std::string said; // not received yet
        uint64 restart = 0;
        uint16 dataPort = 0;  // of the latest PASV
        bool owesEnd = false; // of a transfer that was begun
        // Data connection.
        SocketToken control = 0;
        bool hasBegun = false;
        uint64 position = 0;
        uint64 out = 0;
        Fate fate;
        bool toldEnd = false;
    };

    static FtpWire& Current();
    static SocketToken Open();
    static int Connect(SocketToken token, uint32 address, uint16 port);
    static int Send(SocketToken token, const void* data, uint32 bytes);
    static int Receive(SocketToken token, void* buffer, uint32 bytes);
    static int ReceiveNow(SocketToken token, void* buffer, uint32 bytes);
    static int WaitReadable(SocketToken token);
    static int Readable(SocketToken token, uint32* bytes);
    static int Shutdown(SocketToken token);
    static int Close(SocketToken token);

    // All with m_mutex held.
    Link* Find(SocketToken token);
    void Say(Link& control, const std::string& line);
    void Answer(SocketToken token, Link& control, const std::string& command);
    void BeginTransfer(SocketToken token, Link& control);
    bool IsReadable(const Link& link) const;
    bool IsStalled(const Link& link) const;
    int TakeData(Link& link, uint8* buffer, uint32 bytes);
    void TellEnd(Link& data, const char* reply);
    int EndLink(SocketToken token, bool forget);

    const SocketTable m_table = Sockets();
    const HostNameTable m_names = HostNames();
    const std::string m_content;
    const FateOf m_fateOf;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    // Guarded by m_mutex.
    std::map<SocketToken, Link> m_links;
    std::map<uint16, SocketToken> m_dataByPort;
    SocketToken m_last = 0;
    uint16 m_lastPort;
    std::vector<std::string> m_lines;
    uint32 m_lossOneOf = 0;
    uint32 m_replies = 0;
    uint32 m_piece = 65536;
    int m_transfers = 0;
    int m_stalled = 0; // threads that stand at a stall
    bool m_isOver = false;
};

} // namespace vxcio::test
