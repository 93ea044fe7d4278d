// SocketSeam.h - a socket table and host names that only remember what they are asked, for tests of one FTP
// socket without any connection.
#pragma once

#include "support/PlatformScope.h"
#include "support/TestClock.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vxcio::test {

// What the peer sends, as one piece.
struct Packet {
    std::string bytes;
    uint64 at = 0;      // milliseconds of the clock from the seam's start; it is not there before
    int error = 0;      // receiving it fails so
    uint32 claimed = 0; // more than there is: what can be received is told too high by this much
};

// One at a time, used by one thread. A test clock runs beside it on which a sleep moves the time by itself.
class SocketSeam {
public:
    SocketSeam();
    ~SocketSeam();
    SocketSeam(const SocketSeam&) = delete;
    SocketSeam& operator=(const SocketSeam&) = delete;

    // The next call of this name fails with the number, after `pass` that do not.
    void Fail(const std::string& call, int error, std::size_t pass = 0);

    std::deque<Packet> packets;
    // What look-ups of hosts give, one after another; the last one for ever. Nothing is an unknown host.
    std::deque<std::optional<uint32>> addresses = {0x7F000001u};
    std::vector<std::string> hosts; // those asked for
    uint32 ownAddress = 0xC0000207u;
    uint16 ownPort = 2121;
    uint16 version = 2;
    int sends = 0x7FFFFFFF;                    // bytes that one send takes at most
    std::string sent;                          // all that was sent
    std::function<void()> onReceive;           // called in each receive
    static constexpr SocketToken kFirst = 501; // given out by open and accept, then the next

    // "open", "connect 501 127.0.0.1:21", "send 501 5", "close -1"; not look-ups, errors and what is
    // readable.
    std::vector<std::string> calls;
    int looks = 0;                  // calls of readable
    std::vector<uint32> firstLooks; // the times of lookReadable
    int receives = 0;

    TestClock& Clock() { return m_clock; }
    std::vector<uint32> Sleeps() const { return m_clock.Sleeps(); }
    uint64 Spent() const { return m_clock.Now() - m_start; }

private:
    // Remembers the call; its error, or 0.
    int Called(const std::string& call, const std::string& arguments = {});
    bool Fails(const std::string& call, const std::string& arguments = {});
    template <class... Arguments>
    bool FailsFor(const std::string& call, SocketToken socket, Arguments... arguments);
    SocketToken Give(const std::string& call, const std::string& arguments);
    bool IsThere() const;
    int Take(void* buffer, uint32 bytes);
    void Hook();

    PlatformScope m_platform;
    TestClock m_clock;
    const uint64 m_start;
    int m_error = 0;
    SocketToken m_next = kFirst;
    std::map<std::string, std::deque<int>> m_failures; // 0 passes
};

// "127.0.0.1:21"
std::string AddressText(uint32 address, uint16 port);

} // namespace vxcio::test
