#include "xdcam/posix/PlainClient.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace vxcio::test {

namespace {

int NewSocket() {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit{60, 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    return descriptor;
}

sockaddr_in AddressOf(const std::string& address, int port) {
    sockaddr_in there{};
    there.sin_family = AF_INET;
    there.sin_port = htons(static_cast<in_port_t>(port));
    ::inet_pton(AF_INET, address.c_str(), &there.sin_addr);
    return there;
}

void Close(int& descriptor) {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    descriptor = -1;
}

} // namespace

PlainClient::PlainClient(const std::string& address, int port) : m_address(address), m_control(NewSocket()) {
    const sockaddr_in there = AddressOf(address, port);
    if (::connect(m_control, reinterpret_cast<const sockaddr*>(&there), sizeof there) != 0) {
        Close(m_control);
        throw std::runtime_error("nobody listens there");
    }
    m_greeting = Reply();
}

PlainClient::~PlainClient() {
    CloseData();
    Close(m_listener);
    Close(m_control);
}

void PlainClient::Send(const std::string& bytes) const {
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count = ::send(m_control, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(count);
    }
}

std::string PlainClient::Line() {
    std::size_t end = 0;
    while ((end = m_waiting.find("\r\n")) == std::string::npos) {
        std::array<char, 4096> bytes{};
        const ssize_t count = ::recv(m_control, bytes.data(), bytes.size(), 0);
        if (count <= 0) {
            return {};
        }
        m_waiting.append(bytes.data(), static_cast<std::size_t>(count));
    }
    const std::string line = m_waiting.substr(0, end);
    m_waiting.erase(0, end + 2);
    return line;
}

std::string PlainClient::Reply() {
    std::string reply = Line();
    if (reply.size() > 3 && reply[3] == '-') {
        for (std::string line = "-"; !line.empty() && !line.starts_with(reply.substr(0, 3) + " ");) {
            line = Line();
            reply += "\n" + line;
        }
    }
    return reply;
}

std::string PlainClient::Ask(const std::string& command) {
    Send(command + "\r\n");
    return Reply();
}

void PlainClient::LogOn(const std::string& user, const std::string& password) {
    Ask("USER " + user);
    Ask("PASS " + password);
}

std::string PlainClient::Listen() {
    CloseData();
    Close(m_listener);
    m_bReset = false;
    m_listener = NewSocket();
    sockaddr_in own = AddressOf(m_address, 0);
    socklen_t size = sizeof own;
    ::bind(m_listener, reinterpret_cast<const sockaddr*>(&own), sizeof own);
    ::listen(m_listener, 1);
    ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&own), &size);
    const int port = ntohs(own.sin_port);
    std::string word = m_address;
    std::replace(word.begin(), word.end(), '.', ',');
    return word + "," + std::to_string(port >> 8) + "," + std::to_string(port & 255);
}

std::string PlainClient::Data(std::size_t bytes) {
    if (m_data < 0) {
        m_data = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    }
    std::string data;
    while (data.size() < bytes) {
        std::array<char, 65536> block{};
        const ssize_t count = ::recv(m_data, block.data(), std::min(block.size(), bytes - data.size()), 0);
        m_bReset = count < 0 && errno == ECONNRESET;
        if (count <= 0) {
            break;
        }
        data.append(block.data(), static_cast<std::size_t>(count));
    }
    return data;
}

void PlainClient::CloseData() {
    Close(m_data);
}

} // namespace vxcio::test
