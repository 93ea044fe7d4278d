#include "xdcam/device/posix/Sockets.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace xdcam {

namespace {

constexpr int kOn = 1;

Socket NewSocket() {
    Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket.IsOpen()) {
        throw std::runtime_error(std::string("no socket: ") + std::strerror(errno));
    }
    return socket;
}

const sockaddr* Plain(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

// What is said is sent, not gathered.
void SendAtOnce(const Socket& socket) {
    ::setsockopt(socket.Descriptor(), IPPROTO_TCP, TCP_NODELAY, &kOn, sizeof kOn);
}

} // namespace

Ending::Ending() {
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    m_read = pipe[0];
    m_write = pipe[1];
}

Ending::~Ending() {
    ::close(m_read);
    ::close(m_write);
}

void Ending::Begin() {
    // It stays there, as nobody takes it.
    while (::write(m_write, "", 1) < 0 && errno == EINTR) {
    }
}

Socket& Socket::operator=(Socket&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

void Socket::Close() {
    if (IsOpen()) {
        ::close(std::exchange(m_descriptor, -1));
    }
}

void Socket::Reset() {
    const linger hard{1, 0};
    ::setsockopt(m_descriptor, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    Close();
}

Socket ListenAt(const std::string& address, int port) {
    const std::optional<in_addr> number = AddressOf(address);
    if (!number) {
        throw std::runtime_error(address + ": no IPv4 address");
    }
    Socket socket = NewSocket();
    ::setsockopt(socket.Descriptor(), SOL_SOCKET, SO_REUSEADDR, &kOn, sizeof kOn);
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_addr = *number;
    own.sin_port = htons(static_cast<in_port_t>(port));
    if (::bind(socket.Descriptor(), Plain(own), sizeof own) != 0 ||
        ::listen(socket.Descriptor(), SOMAXCONN) != 0) {
        throw std::runtime_error("cannot listen at " + address + ": " + std::strerror(errno));
    }
    return socket;
}

std::optional<in_addr> AddressOf(const std::string& text) {
    in_addr number{};
    return ::inet_pton(AF_INET, text.c_str(), &number) == 1 ? std::optional(number) : std::nullopt;
}

sockaddr_in OwnAddress(const Socket& socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(socket.Descriptor(), reinterpret_cast<sockaddr*>(&address), &size);
    return address;
}

sockaddr_in PeerAddress(const Socket& socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getpeername(socket.Descriptor(), reinterpret_cast<sockaddr*>(&address), &size);
    return address;
}

Waited WaitFor(const Socket& socket, short events, const Ending& ending,
               std::optional<std::chrono::milliseconds> limit) {
    const auto until = std::chrono::steady_clock::now() + limit.value_or(std::chrono::milliseconds(0));
    for (;;) {
        int left = -1;
        if (limit) {
            left = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                        until - std::chrono::steady_clock::now())
                                        .count());
            left = left < 0 ? 0 : left + 1;
        }
        std::array<pollfd, 2> ready{{{ending.Descriptor(), POLLIN, 0}, {socket.Descriptor(), events, 0}}};
        if (::poll(ready.data(), ready.size(), left) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return Waited::Ended;
        }
        if (ready[0].revents != 0) {
            return Waited::Ended;
        }
        if (ready[1].revents != 0) {
            return Waited::Ready;
        }
        if (limit && std::chrono::steady_clock::now() >= until) {
            return Waited::TimedOut;
        }
    }
}

bool Pause(std::chrono::milliseconds time, const Ending& ending) {
    return time.count() <= 0 || WaitFor(Socket(), 0, ending, time) == Waited::TimedOut;
}

Socket AcceptAt(const Socket& listener, const Ending& ending,
                std::optional<std::chrono::milliseconds> limit) {
    while (WaitFor(listener, POLLIN, ending, limit) == Waited::Ready) {
        Socket client(::accept4(listener.Descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (client.IsOpen()) {
            SendAtOnce(client);
            return client;
        }
        // A client that has gone again is no reason to end; a lack of descriptors may pass.
        if (!Pause(std::chrono::milliseconds(1), ending)) {
            break;
        }
    }
    return Socket();
}

Socket Dial(const sockaddr_in& from, const sockaddr_in& to, const Ending& ending,
            std::chrono::milliseconds limit) {
    Socket socket = NewSocket();
    sockaddr_in own = from;
    own.sin_port = 0;
    if (::bind(socket.Descriptor(), Plain(own), sizeof own) != 0 ||
        (::connect(socket.Descriptor(), Plain(to), sizeof to) != 0 && errno != EINPROGRESS) ||
        WaitFor(socket, POLLOUT, ending, limit) != Waited::Ready) {
        return Socket();
    }
    int failure = 0;
    socklen_t size = sizeof failure;
    if (::getsockopt(socket.Descriptor(), SOL_SOCKET, SO_ERROR, &failure, &size) != 0 || failure != 0) {
        return Socket();
    }
    SendAtOnce(socket);
    return socket;
}

} // namespace xdcam
