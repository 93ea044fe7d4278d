#include "platform/HostNames.h"

#include <climits>
#include <memory>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vxcio {

namespace {

constexpr uint32 kLoopback = 0x7F000001u;

// Nobody else reaches this host there: 127.x.x.x, and 0.0.0.0, which stands for whichever it has.
constexpr bool LeadsBack(uint32 address) noexcept {
    return address == 0 || address >> 24 == 127;
}

bool FirstAddress(const char* host, uint32* address) {
    addrinfo wanted = {};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (*host == 0 || ::getaddrinfo(host, nullptr, &wanted, &found) != 0 || found == nullptr) {
        return false;
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> list(found, ::freeaddrinfo);
    *address = ntohl(reinterpret_cast<const sockaddr_in*>(list->ai_addr)->sin_addr.s_addr);
    return true;
}

// The interfaces come in the order of their numbers.
uint32 FirstInterface() noexcept {
    ifaddrs* found = nullptr;
    if (::getifaddrs(&found) != 0) {
        return 0;
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> list(found, ::freeifaddrs);
    for (const ifaddrs* entry = found; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
            (entry->ifa_flags & IFF_UP) != 0 && (entry->ifa_flags & IFF_LOOPBACK) == 0) {
            return ntohl(reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr.s_addr);
        }
    }
    return 0;
}

uint32 OwnAddress() {
    char name[HOST_NAME_MAX + 1] = {};
    uint32 byName = 0;
    const bool isKnown = ::gethostname(name, sizeof name - 1) == 0 && HostNames().firstAddress(name, &byName);
    if (isKnown && !LeadsBack(byName)) {
        return byName;
    }
    // Many systems give their own name an address that nobody else reaches.
    const uint32 byInterface = FirstInterface();
    if (byInterface != 0) {
        return byInterface;
    }
    return byName != 0 ? byName : kLoopback;
}

constinit HostNameTable g_table = {FirstAddress, OwnAddress};

} // namespace

HostNameTable& HostNames() noexcept {
    return g_table;
}

} // namespace vxcio
