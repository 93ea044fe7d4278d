#include "platform/Sockets.h"

#include "frame/Counted.h"
#include "platform/posix/SocketErrors.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <new>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vxcio {

namespace {

constexpr uint32 kLargestTransfer = 0x7FFFFFFFu;
// Attempts to connect beyond the first: about half a minute, where the system's own number makes two of them.
constexpr int kConnectAttempts = 4;
// Who wants much is woken for this much at once, or for what has come after so many milliseconds. Woken for
// each packet instead, a reader that keeps up with the sender spends a quarter of its time on waking.
constexpr uint32 kGatheredBytes = 256u << 10;
constexpr int kGatherTime = 10;

thread_local int t_lastError = 0;

// An open socket. Each call in flight holds it, and so does the table until it is closed.
class OpenSocket final : public Counted<OpenSocket> {
public:
    explicit OpenSocket(int descriptor) noexcept : m_descriptor(descriptor) {}
    int Descriptor() const noexcept { return m_descriptor; }

    std::atomic<bool> closed{false};
    std::atomic<bool> hadPeer{false};
    std::atomic<bool> hasName{false};
    std::atomic<uint32> missed{0}; // what the last receiveNow wanted, if it found nothing

private:
    friend class Counted<OpenSocket>;
    ~OpenSocket() { ::close(m_descriptor); }

    const int m_descriptor;
};

// The tokens that are open. Never destroyed: a thread that was left behind may use one at any time.
struct TokenTable {
    std::mutex lock;
    SocketToken last = 0; // guarded by lock, as the next
    std::map<SocketToken, Ref<OpenSocket>> sockets;
};

TokenTable& Tokens() {
    static TokenTable* const table = new TokenTable;
    return *table;
}

int FailWith(int number) noexcept {
    t_lastError = number;
    return -1;
}

int FailWithErrno() noexcept {
    return FailWith(NumberOfError(errno));
}

Ref<OpenSocket> Find(SocketToken token) noexcept {
    TokenTable& table = Tokens();
    const std::lock_guard lock(table.lock);
    const auto found = table.sockets.find(token);
    if (found == table.sockets.end()) {
        t_lastError = kSocketNotASocket;
        return {};
    }
    return found->second;
}

// Takes over the descriptor.
SocketToken Enter(int descriptor, bool hasPeer) noexcept {
    auto socket = Ref<OpenSocket>::Adopt(new (std::nothrow) OpenSocket(descriptor));
    if (!socket) {
        ::close(descriptor);
        FailWith(10055);
        return kNoSocket;
    }
    socket->hadPeer = hasPeer;
    socket->hasName = hasPeer;
    try {
        TokenTable& table = Tokens();
        const std::lock_guard lock(table.lock);
        const SocketToken token = table.last + 1;
        table.sockets.emplace(token, socket);
        table.last = token;
        return token;
    } catch (const std::bad_alloc&) {
        FailWith(10055);
        return kNoSocket;
    }
}

sockaddr_in AddressOf(uint32 address, uint16 port) noexcept {
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(address);
    name.sin_port = htons(port);
    return name;
}

// Repeats a call that a signal interrupted: there is none of this on other systems, and it says nothing about
// the socket.
template <class Call>
auto Uninterrupted(Call call) noexcept {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

int Startup(uint16 wanted, uint16* version) {
    *version = wanted;
    return 0;
}

void Cleanup() {}

SocketToken Open() {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    if (descriptor < 0) {
        FailWithErrno();
        return kNoSocket;
    }
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_SYNCNT, &kConnectAttempts, sizeof kConnectAttempts);
    return Enter(descriptor, false);
}

int Connect(SocketToken token, uint32 address, uint16 port) {
    const auto socket = Find(token);
    if (!socket) {
        return -1;
    }
    const sockaddr_in name = AddressOf(address, port);
    int result = ::connect(socket->Descriptor(), reinterpret_cast<const sockaddr*>(&name), sizeof name);
    if (result < 0 && errno == EINTR) {
        // It goes on all the same, and is waited for.
        pollfd poll = {socket->Descriptor(), POLLOUT, 0};
        int error = 0;
        socklen_t length = sizeof error;
        result = Uninterrupted([&] { return ::poll(&poll, 1, -1); });
        if (result > 0) {
            result = ::getsockopt(socket->Descriptor(), SOL_SOCKET, SO_ERROR, &error, &length);
        }
        if (result == 0 && error != 0) {
            errno = error;
            result = -1;
        }
    }
    if (result < 0) {
        return FailWithErrno();
    }
    socket->hadPeer = true;
    socket->hasName = true;
    return 0;
}

int Bind(SocketToken token, uint32 address, uint16 port) {
    const auto socket = Find(token);
    if (!socket) {
        return -1;
    }
    const sockaddr_in name = AddressOf(address, port);
    if (::bind(socket->Descriptor(), reinterpret_cast<const sockaddr*>(&name), sizeof name) < 0) {
        return FailWithErrno();
    }
    socket->hasName = true;
    return 0;
}

int Listen(SocketToken token, int backlog) {
    const auto socket = Find(token);
    if (!socket) {
        return -1;
    }
    return ::listen(socket->Descriptor(), backlog) < 0 ? FailWithErrno() : 0;
}

SocketToken Accept(SocketToken token) {
    const auto socket = Find(token);
    if (!socket) {
        return kNoSocket;
    }
    const int descriptor =
        Uninterrupted([&] { return ::accept4(socket->Descriptor(), nullptr, nullptr, SOCK_CLOEXEC); });
    if (descriptor < 0) {
        FailWithErrno();
        return kNoSocket;
    }
    return Enter(descriptor, true);
}

int Send(SocketToken token, const void* data, uint32 bytes) {
    const auto socket = Find(token);
    if (!socket) {
        return -1;
    }
    const std::size_t size = std::min(bytes, kLargestTransfer);
    const ssize_t sent =
        Uninterrupted([&] { return ::send(socket->Descriptor(), data, size, MSG_NOSIGNAL); });
    if (sent >= 0) {
        return static_cast<int>(sent);
    }
    if (errno == EPIPE) {
        return FailWith(socket->hadPeer ? kSocketReset : 10057);
    }
    return FailWithErrno();
}

int ReceiveFrom(const OpenSocket& socket, void* buffer, uint32 bytes, int flags) noexcept {
    const std::size_t size = std::min(bytes, kLargestTransfer);
    const ssize_t got = Uninterrupted([&] { return ::recv(socket.Descriptor(), buffer, size, flags); });
    return got < 0 ? FailWithErrno() : static_cast<int>(got);
}

int Receive(SocketToken token, void* buffer, uint32 bytes) {
    const auto socket = Find(token);
    return socket ? ReceiveFrom(*socket, buffer, bytes, 0) : -1;
}

int ReceiveNow(SocketToken token, void* buffer, uint32 bytes) {
    const auto socket = Find(token);
    if (!socket) {
        return -1;
    }
    const int got = ReceiveFrom(*socket, buffer, bytes, MSG_DONTWAIT);
    if (got < 0) {
        socket->missed = bytes;
    }
    return got;
}

// Waits for so many bytes to have come, but not for long. Nonzero when there is something to receive.
int Gather(const OpenSocket& socket, uint32 bytes) noexcept {
    const auto wakeFor = [&](int count) {
        return ::setsockopt(socket.Descriptor(), SOL_SOCKET, SO_RCVLOWAT, &count, sizeof count);
    };
    pollfd poll = {socket.Descriptor(), POLLIN, 0};
    if (wakeFor(static_cast<int>(std::min(bytes, kGatheredBytes))) != 0) {
        return 0;
    }
    // A signal ends it early, as it is only a courtesy.
    const int result = ::poll(&poll, 1, kGatherTime);
    wakeFor(1); // a receive that waits would wait for them all, too
    return result > 0 ? 1 : 0;
}

int WaitReadable(SocketToken token) {
    const auto socket = Find(token);
    if (!socket) {
        return -1;
    }
    pollfd poll = {socket->Descriptor(), POLLIN, 0};
    const uint32 missed = socket->missed.exchange(0);
    if ((missed <= 1 || Gather(*socket, missed) == 0) &&
        Uninterrupted([&] { return ::poll(&poll, 1, -1); }) < 0) {
        return FailWithErrno();
    }
    return socket->closed ? FailWith(kSocketNotASocket) : 0;
}

int LookReadable(SocketToken token, uint32 milliseconds) {
    const auto socket = Find(token);
    if (!socket) {
        return 1;
    }
    pollfd poll = {socket->Descriptor(), POLLIN, 0};
    // A signal ends the look early: it is only a courtesy.
    return ::poll(&poll, 1, static_cast<int>(std::min(milliseconds, kLargestTransfer))) != 0 ? 1 : 0;
}

int Readable(SocketToken token, uint32* bytes) {
    const auto socket = Find(token);
    if (!socket) {
        return -1;
    }
    int count = 0;
    if (::ioctl(socket->Descriptor(), FIONREAD, &count) < 0) {
        return FailWithErrno();
    }
    *bytes = static_cast<uint32>(std::max(count, 0));
    return 0;
}

int Name(SocketToken token, uint32* address, uint16* port) {
    const auto socket = Find(token);
    if (!socket) {
        return -1;
    }
    sockaddr_in name = {};
    socklen_t length = sizeof name;
    if (!socket->hasName) {
        return FailWith(10022); // elsewhere it has none before it is bound
    }
    if (::getsockname(socket->Descriptor(), reinterpret_cast<sockaddr*>(&name), &length) < 0) {
        return FailWithErrno();
    }
    *address = ntohl(name.sin_addr.s_addr);
    *port = ntohs(name.sin_port);
    return 0;
}

int Shutdown(SocketToken token) {
    const auto socket = Find(token);
    if (!socket) {
        return -1;
    }
    return ::shutdown(socket->Descriptor(), SHUT_RDWR) < 0 ? FailWithErrno() : 0;
}

int Close(SocketToken token) {
    Ref<OpenSocket> socket;
    {
        TokenTable& table = Tokens();
        const std::lock_guard lock(table.lock);
        const auto found = table.sockets.find(token);
        if (found == table.sockets.end()) {
            return FailWith(kSocketNotASocket);
        }
        socket = found->second;
        table.sockets.erase(found);
    }
    socket->closed = true;
    // Who waits in it wakes; the descriptor goes with the last who uses it.
    ::shutdown(socket->Descriptor(), SHUT_RDWR);
    return 0;
}

int LastError() {
    return t_lastError;
}

constinit SocketTable g_table = {
    .startup = Startup,
    .cleanup = Cleanup,
    .open = Open,
    .connect = Connect,
    .bind = Bind,
    .listen = Listen,
    .accept = Accept,
    .send = Send,
    .receive = Receive,
    .receiveNow = ReceiveNow,
    .waitReadable = WaitReadable,
    .lookReadable = LookReadable,
    .readable = Readable,
    .name = Name,
    .shutdown = Shutdown,
    .close = Close,
    .lastError = LastError,
};

} // namespace

SocketTable& Sockets() noexcept {
    return g_table;
}

int OpenSocketCount() noexcept {
    TokenTable& table = Tokens();
    const std::lock_guard lock(table.lock);
    return static_cast<int>(table.sockets.size());
}

} // namespace vxcio
