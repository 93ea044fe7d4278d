#include "support/posix/FtpScriptSockets.h"

#include <arpa/inet.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vxcio::test::script {

namespace {

constexpr int kBacklog = 16;

sockaddr_in NameOf(uint32 address, uint16 port) {
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(address);
    name.sin_port = htons(port);
    return name;
}

// What was said goes out as it was said, not put together with what follows.
void SendAtOnce(int socket) {
    const int yes = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

} // namespace

int ListenAt(uint32 address, uint16* port) {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in name = NameOf(address, 0);
    socklen_t length = sizeof name;
    if (listener < 0 || ::bind(listener, reinterpret_cast<const sockaddr*>(&name), length) != 0 ||
        ::listen(listener, kBacklog) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&name), &length) != 0) {
        ::close(listener);
        return -1;
    }
    *port = ntohs(name.sin_port);
    return listener;
}

bool HasCaller(int listener) {
    pollfd poll = {listener, POLLIN, 0};
    return ::poll(&poll, 1, 0) > 0;
}

int AcceptFrom(int listener, uint16* peerPort) {
    sockaddr_in name = {};
    socklen_t length = sizeof name;
    const int socket =
        ::accept4(listener, reinterpret_cast<sockaddr*>(&name), &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket >= 0) {
        *peerPort = ntohs(name.sin_port);
        SendAtOnce(socket);
    }
    return socket;
}

int ConnectTo(uint32 address, uint16 port) {
    // The system itself answers at the other end, so this does not stand.
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in name = NameOf(address, port);
    const int nonBlocking = 1;
    if (socket < 0 || ::connect(socket, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 ||
        ::ioctl(socket, FIONBIO, &nonBlocking) != 0) {
        ::close(socket);
        return -1;
    }
    SendAtOnce(socket);
    return socket;
}

uint32 PeerAddress(int socket) {
    sockaddr_in name = {};
    socklen_t length = sizeof name;
    ::getpeername(socket, reinterpret_cast<sockaddr*>(&name), &length);
    return ntohl(name.sin_addr.s_addr);
}

void ResetAtClose(int socket) {
    const linger atOnce = {1, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

bool HasSentAll(int socket) {
    int unsent = 0;
    return ::ioctl(socket, SIOCOUTQNSD, &unsent) != 0 || unsent == 0;
}

std::string InCommas(uint32 address, uint16 port) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string(address >> shift & 0xFF) + ",";
    }
    return text + std::to_string(port >> 8) + "," + std::to_string(port & 0xFF);
}

} // namespace vxcio::test::script
