// XdcamDevice.h - a server that speaks FTP (RFC 959) as XDCAM devices do: clips of a folder, what they are,
// stretches of them, the space that is left.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace xdcam {

// What a command does otherwise. Of its data, if it sends some, the first limit that is met holds.
struct Trouble {
    std::chrono::milliseconds delay{0};      // before its first reply
    std::optional<std::string> refusal = {}; // this reply instead of the deed; 421 ends the session
    std::optional<std::string> closing = {}; // the reply when the data has ended
    // So many bytes come, then none until the client has enough of it.
    std::optional<std::uint64_t> stallAfter = {};
    std::optional<std::uint64_t> cutAfter = {};   // the data connection ends orderly
    std::optional<std::uint64_t> resetAfter = {}; // the data connection is reset, once they have arrived
    std::optional<std::uint64_t> splitAfter = {}; // there is a pause
    std::chrono::milliseconds splitPause{0};
};

// By the command in capitals: "STAT", "RETR", "SITE-DF", "SITE-REPF"; "CONNECT" for the greeting.
using Troubles = std::map<std::string, Trouble>;

struct DeviceOptions {
    std::string folder = {};
    std::string listen = "127.0.0.1"; // an IPv4 address
    int port = 0;                     // 0: any that is free
    std::string user = {};            // empty: everybody may
    std::string password = {};
    bool passive = false; // whether PASV works
    // What is told to be free; what the disk has, in bytes, where it is not given.
    std::optional<std::uint64_t> space = {};
    Troubles troubles = {};
    // Gets each line of all conversations, from any thread.
    std::function<void(const std::string&)> talk = {};
};

// Listens while it lives, and serves each client on a thread of its own. Any thread may call.
class XdcamDevice {
public:
    // Throws std::runtime_error where there is no such folder or address.
    explicit XdcamDevice(DeviceOptions options);
    ~XdcamDevice(); // ends all sessions, wherever they are
    XdcamDevice(const XdcamDevice&) = delete;
    XdcamDevice& operator=(const XdcamDevice&) = delete;

    int Port() const;
    // From the next such command on.
    void Set(const std::string& command, Trouble trouble);
    // What all clients have said so far, without line ends.
    std::vector<std::string> Lines() const;

private:
    class Sessions;
    std::unique_ptr<Sessions> m_pSessions;
};

} // namespace xdcam
