#include "real/posix/LocalPorts.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace vxcio::test {

namespace {

sockaddr_in AddressOf(const std::string& host, int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    ::inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    return address;
}

class Descriptor {
public:
    Descriptor() : m_value(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    ~Descriptor() { ::close(m_value); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Value() const { return m_value; }

private:
    int m_value;
};

bool IsFree(int port) {
    const Descriptor socket;
    const sockaddr_in address = AddressOf("0.0.0.0", port);
    return ::bind(socket.Value(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

} // namespace

int FreePort(int attempt) {
    // Below the ports that the system gives out by itself. Only even ones, as some servers send from the port
    // below their own.
    constexpr int kFirst = 12'000;
    constexpr int kPlaces = 9'000;
    for (int i = attempt; i < kPlaces; ++i) {
        const int port = kFirst + 2 * ((::getpid() + i * 127) % kPlaces);
        if (IsFree(port) && IsFree(port - 1)) {
            return port;
        }
    }
    throw std::runtime_error("no free port");
}

bool SaysThere(const std::string& host, int port, std::string_view greeting,
               std::chrono::milliseconds limit) {
    const Descriptor socket;
    const sockaddr_in address = AddressOf(host, port);
    std::string said(greeting.size(), 0);
    pollfd ready{socket.Value(), POLLIN, 0};
    return ::connect(socket.Value(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
           ::poll(&ready, 1, static_cast<int>(limit.count())) == 1 &&
           ::recv(socket.Value(), said.data(), said.size(), MSG_WAITALL) ==
               static_cast<ssize_t>(said.size()) &&
           said == greeting;
}

} // namespace vxcio::test
