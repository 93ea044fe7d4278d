#include "Control.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace stallfs {

namespace {

constexpr timeval kAnswerLimit{30, 0}; // a "wait" whose operations never come must not hang its caller

bool Address(const std::string& socket, sockaddr_un& address) {
    address.sun_family = AF_UNIX;
    if (socket.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    socket.copy(address.sun_path, socket.size());
    return true;
}

bool ReadLine(int descriptor, std::string& line) {
    line.clear();
    char character = 0;
    while (::read(descriptor, &character, 1) == 1) {
        if (character == '\n') {
            return true;
        }
        line += character;
    }
    return false;
}

bool WriteLine(int descriptor, std::string line) {
    line += '\n';
    return ::send(descriptor, line.data(), line.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(line.size());
}

void Converse(int descriptor, StallRules& rules, void (*end)()) {
    for (std::string line; ReadLine(descriptor, line);) {
        if (line == "quit") {
            // No answer: the end of the connection, which comes with that of the process, is one.
            end();
        }
        if (!WriteLine(descriptor, rules.Order(line))) {
            break;
        }
    }
    ::close(descriptor);
}

} // namespace

bool ServeControl(const std::string& socket, StallRules& rules, void (*end)(), std::string& reason) {
    sockaddr_un address{};
    const int listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listening < 0 || !Address(socket, address) ||
        ::bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listening, 16) != 0) {
        reason = std::strerror(errno);
        return false;
    }
    std::thread([listening, &rules, end] {
        for (;;) {
            const int descriptor = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
            if (descriptor >= 0) {
                std::thread(Converse, descriptor, std::ref(rules), end).detach();
            }
        }
    }).detach();
    return true;
}

std::string SendOrder(const std::string& socket, const std::string& order) {
    sockaddr_un address{};
    std::string answer;
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &kAnswerLimit, sizeof kAnswerLimit);
    if (descriptor >= 0 && Address(socket, address) &&
        ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        WriteLine(descriptor, order)) {
        ReadLine(descriptor, answer);
    }
    ::close(descriptor);
    return answer;
}

} // namespace stallfs
