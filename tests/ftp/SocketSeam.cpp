#include "ftp/SocketSeam.h"

#include <algorithm>
#include <cstring>

namespace vxcio::test {

namespace {

SocketSeam* g_seam = nullptr; // the one that is alive

std::string Text(SocketToken socket) {
    return std::to_string(static_cast<int64>(socket));
}

} // namespace

std::string AddressText(uint32 address, uint16 port) {
    std::string text;
    for (const int shift : {24, 16, 8, 0}) {
        text += std::to_string(address >> shift & 0xFFu) + (shift > 0 ? "." : ":");
    }
    return text + std::to_string(port);
}

SocketSeam::SocketSeam() : m_start(m_clock.Now()) {
    m_clock.AutoAdvanceSleeps(true);
    g_seam = this;
    Hook();
}

SocketSeam::~SocketSeam() {
    g_seam = nullptr;
}

void SocketSeam::Fail(const std::string& call, int error, std::size_t pass) {
    std::deque<int>& list = m_failures[call];
    list.insert(list.end(), pass, 0);
    list.push_back(error);
}

int SocketSeam::Called(const std::string& call, const std::string& arguments) {
    if (call != "readable" && call != "receive" && call != "receiveNow") {
        calls.push_back(call + arguments);
    }
    std::deque<int>& list = m_failures[call];
    if (list.empty()) {
        return 0;
    }
    const int error = list.front();
    list.pop_front();
    return error;
}

bool SocketSeam::Fails(const std::string& call, const std::string& arguments) {
    const int error = Called(call, arguments);
    if (error != 0) {
        m_error = error;
    }
    return error != 0;
}

template <class... Arguments>
bool SocketSeam::FailsFor(const std::string& call, SocketToken socket, Arguments... arguments) {
    std::string text = " " + Text(socket);
    ((text += " " + std::string(arguments)), ...);
    return Fails(call, text);
}

SocketToken SocketSeam::Give(const std::string& call, const std::string& arguments) {
    return Fails(call, arguments) ? kNoSocket : m_next++;
}

bool SocketSeam::IsThere() const {
    return !packets.empty() && packets.front().at <= Spent();
}

int SocketSeam::Take(void* buffer, uint32 bytes) {
    ++receives;
    if (onReceive) {
        onReceive();
    }
    if (!IsThere()) {
        m_error = kSocketWouldBlock;
        return -1;
    }
    Packet& packet = packets.front();
    const std::size_t count = std::min<std::size_t>(bytes, packet.bytes.size());
    if (packet.error != 0) {
        m_error = packet.error;
        packets.pop_front();
        return -1;
    }
    std::memcpy(buffer, packet.bytes.data(), count);
    packet.bytes.erase(0, count);
    if (packet.bytes.empty()) {
        packets.pop_front();
    }
    return static_cast<int>(count);
}

void SocketSeam::Hook() {
    SocketTable& table = Sockets();
    table.startup = [](uint16 wanted, uint16* found) {
        *found = g_seam->version;
        // It says itself what is wrong, but it is the last error that counts.
        return g_seam->Fails("startup", " " + std::to_string(wanted)) ? 1 : 0;
    };
    table.cleanup = [] { g_seam->Called("cleanup"); };
    table.open = [] { return g_seam->Give("open", {}); };
    table.connect = [](SocketToken socket, uint32 address, uint16 port) {
        return g_seam->FailsFor("connect", socket, AddressText(address, port)) ? -1 : 0;
    };
    table.bind = [](SocketToken socket, uint32 address, uint16 port) {
        return g_seam->FailsFor("bind", socket, AddressText(address, port)) ? -1 : 0;
    };
    table.listen = [](SocketToken socket, int backlog) {
        return g_seam->FailsFor("listen", socket, std::to_string(backlog)) ? -1 : 0;
    };
    table.accept = [](SocketToken socket) { return g_seam->Give("accept", " " + Text(socket)); };
    table.send = [](SocketToken socket, const void* data, uint32 bytes) {
        if (g_seam->FailsFor("send", socket, std::to_string(bytes))) {
            return -1;
        }
        const int count = static_cast<int>(std::min(bytes, static_cast<uint32>(g_seam->sends)));
        g_seam->sent.append(static_cast<const char*>(data), static_cast<std::size_t>(count));
        return count;
    };
    table.receive = [](SocketToken socket, void* buffer, uint32 bytes) {
        return g_seam->FailsFor("receive", socket) ? -1 : g_seam->Take(buffer, bytes);
    };
    table.receiveNow = [](SocketToken socket, void* buffer, uint32 bytes) {
        return g_seam->FailsFor("receiveNow", socket) ? -1 : g_seam->Take(buffer, bytes);
    };
    table.waitReadable = [](SocketToken socket) { return g_seam->FailsFor("waitReadable", socket) ? -1 : 0; };
    table.lookReadable = [](SocketToken, uint32 milliseconds) {
        g_seam->firstLooks.push_back(milliseconds);
        return g_seam->IsThere() ? 1 : 0;
    };
    table.readable = [](SocketToken socket, uint32* bytes) {
        ++g_seam->looks;
        if (g_seam->FailsFor("readable", socket)) {
            return -1;
        }
        const bool isThere = g_seam->IsThere();
        *bytes = 0;
        if (isThere) {
            const Packet& packet = g_seam->packets.front();
            *bytes = static_cast<uint32>(packet.bytes.size()) + packet.claimed;
        }
        return 0;
    };
    table.name = [](SocketToken socket, uint32* address, uint16* port) {
        if (g_seam->FailsFor("name", socket)) {
            return -1;
        }
        *address = g_seam->ownAddress;
        *port = g_seam->ownPort;
        return 0;
    };
    table.shutdown = [](SocketToken socket) { return g_seam->FailsFor("shutdown", socket) ? -1 : 0; };
    table.close = [](SocketToken socket) { return g_seam->FailsFor("close", socket) ? -1 : 0; };
    table.lastError = [] { return g_seam->m_error; };
    HostNames().firstAddress = [](const char* host, uint32* address) {
        g_seam->hosts.emplace_back(host);
        std::deque<std::optional<uint32>>& left = g_seam->addresses;
        const std::optional<uint32> found = left.front();
        if (left.size() > 1) {
            left.pop_front();
        }
        *address = found.value_or(*address);
        return found.has_value();
    };
    HostNames().ownAddress = [] { return g_seam->ownAddress; };
}

} // namespace vxcio::test
