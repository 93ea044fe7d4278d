#include "real/posix/LocalPorts.h"

#include <arpa/inet.h>
#include <climits>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netdb.h>
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

// Empty for one that only this machine reaches.
std::string Reachable(const sockaddr* address) {
    if (address == nullptr || address->sa_family != AF_INET) {
        return {};
    }
    const in_addr number = reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
    char text[INET_ADDRSTRLEN] = {};
    return ntohl(number.s_addr) >> 24 == 127 ? "" : ::inet_ntop(AF_INET, &number, text, sizeof text);
}

std::string AddressOfName() {
    char name[HOST_NAME_MAX + 1] = {};
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::gethostname(name, sizeof name - 1) != 0 || ::getaddrinfo(name, nullptr, &wanted, &found) != 0) {
        return {};
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> list(found, ::freeaddrinfo);
    return Reachable(list->ai_addr);
}

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

bool IsServedAt(const std::string& host, int port) {
    const Descriptor socket;
    const sockaddr_in address = AddressOf(host, port);
    return ::connect(socket.Value(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

std::string AddressForActive() {
    std::string address = AddressOfName();
    ifaddrs* found = nullptr;
    if (!address.empty() || ::getifaddrs(&found) != 0) {
        return address;
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> list(found, ::freeifaddrs);
    for (const ifaddrs* entry = found; entry != nullptr && address.empty(); entry = entry->ifa_next) {
        if ((entry->ifa_flags & IFF_UP) != 0) {
            address = Reachable(entry->ifa_addr);
        }
    }
    return address;
}

} // namespace vxcio::test
