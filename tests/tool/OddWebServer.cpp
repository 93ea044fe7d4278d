#include "tool/OddWebServer.h"

#include "support/Bounded.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <netinet/in.h>
#include <optional>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace vxcio::test {

namespace {

bool SendAll(int socket, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t sent = ::send(socket, text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(sent);
    }
    return true;
}

// The value of a line of the head; names of lines ignore case.
std::string LineOf(const std::string& head, const std::string& name) {
    std::string lower = head;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    const std::size_t at = lower.find("\r\n" + name + ": ");
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t from = at + name.size() + 4;
    return head.substr(from, head.find("\r\n", from) - from);
}

} // namespace

struct OddWebServer::State {
    Ways ways;
    int port = 0;
    int listener = -1;
    mutable std::mutex mutex;
    mutable std::condition_variable heard;
    std::vector<std::string> requests;
    std::vector<int> sockets;
    bool stopping = false;
    std::vector<std::thread> threads; // of the accepting thread, until that has ended
    std::thread accepting;

    void Keep(int socket) {
        const std::lock_guard lock(mutex);
        sockets.push_back(socket);
        if (stopping) {
            ::shutdown(socket, SHUT_RDWR);
        }
    }
    // Its number.
    int Note(const std::string& request) {
        const std::lock_guard lock(mutex);
        requests.push_back(request);
        heard.notify_all();
        return static_cast<int>(requests.size()) - 1;
    }
    Ways Now() {
        const std::lock_guard lock(mutex);
        return ways;
    }
};

namespace {

class Connection {
public:
    Connection(OddWebServer::State& state, int socket) : m_State(state), m_Socket(socket) {}

    void Run() {
        for (std::string head; TakeHead(head) && Answer(head);) {
        }
        ::shutdown(m_Socket, SHUT_RDWR);
    }

private:
    bool TakeHead(std::string& head) {
        static constexpr const char* kEnd = "\r\n\r\n";
        while (m_Pending.find(kEnd) == std::string::npos) {
            char block[4096];
            const ssize_t got = ::recv(m_Socket, block, sizeof block, 0);
            if (got <= 0) {
                return false;
            }
            m_Pending.append(block, static_cast<std::size_t>(got));
        }
        const std::size_t end = m_Pending.find(kEnd) + 4;
        head = m_Pending.substr(0, end);
        m_Pending.erase(0, end);
        return true;
    }

    // False where the connection ends.
    bool Answer(const std::string& head) {
        const std::size_t from = head.find(' ') + 1;
        const std::string path = head.substr(from, head.find(' ', from) - from);
        const std::string range = LineOf(head, "range");
        const OddWebServer::Ways ways = m_State.Now();
        const int number = m_State.Note("GET " + path + (range.empty() ? "" : " " + range));
        if (ways.silentFrom >= 0 && number >= ways.silentFrom) {
            return true;
        }
        if (!ways.authority.empty() && LineOf(head, "authorization") != ways.authority) {
            return Say("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"odd\"\r\n"
                       "Content-Length: 0");
        }
        if (const auto odd = ways.heads.find(path); odd != ways.heads.end()) {
            return Say(odd->second);
        }
        const auto file = ways.files.find(path);
        if (file == ways.files.end()) {
            return Say("HTTP/1.1 404 Not Found\r\nContent-Length: 0");
        }
        return SendFile(ways, file->second, range, number);
    }

    bool Say(const std::string& head) { return SendAll(m_Socket, head + "\r\n\r\n"); }

    bool SendFile(const OddWebServer::Ways& ways, const std::string& content, const std::string& range,
                  int number) {
        std::size_t first = 0;
        std::size_t last = content.size();
        const std::size_t dash = range.find('-');
        const bool isPart = ways.hasRanges && range.starts_with("bytes=") && dash != std::string::npos;
        if (isPart) {
            first = std::stoull(range.substr(6));
            if (dash + 1 < range.size()) {
                last = std::min<std::size_t>(std::stoull(range.substr(dash + 1)) + 1, last);
            }
            if (first >= content.size()) {
                return Say(
                    "HTTP/1.1 416 Range Not Satisfiable\r\nContent-Length: 0\r\nContent-Range: bytes */" +
                    std::to_string(content.size()));
            }
        }
        std::string head = isPart ? "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " +
                                        std::to_string(first) + "-" + std::to_string(last - 1) + "/" +
                                        std::to_string(content.size())
                                  : "HTTP/1.1 200 OK";
        head += ways.tellsSizes || isPart ? "\r\nContent-Length: " + std::to_string(last - first)
                                          : "\r\nConnection: close";
        if (!Say(head)) {
            return false;
        }
        if (ways.beforeBody != nullptr && number >= ways.gateFrom) {
            ways.beforeBody->Pass();
        }
        const std::size_t end = std::min(last, std::max(first, ways.sendsMost));
        return SendAll(m_Socket, content.substr(first, end - first)) && end == last &&
               (ways.tellsSizes || isPart);
    }

    OddWebServer::State& m_State;
    const int m_Socket;
    std::string m_Pending;
};

} // namespace

OddWebServer::OddWebServer(Ways ways) : m_pState(std::make_shared<State>()) {
    m_pState->ways = std::move(ways);
    m_pState->listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (m_pState->listener < 0 ||
        ::bind(m_pState->listener, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
        ::listen(m_pState->listener, 16) != 0 ||
        ::getsockname(m_pState->listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throw std::system_error(errno, std::generic_category(), "listen");
    }
    m_pState->port = ntohs(address.sin_port);
    m_pState->accepting = std::thread([state = m_pState.get()] {
        for (int one = 0; (one = ::accept4(state->listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
            state->Keep(one);
            state->threads.emplace_back([state, one] { Connection(*state, one).Run(); });
        }
    });
}

OddWebServer::~OddWebServer() {
    if (Gate* const gate = m_pState->Now().beforeBody) {
        gate->Open();
    }
    ::shutdown(m_pState->listener, SHUT_RDWR);
    m_pState->accepting.join();
    {
        const std::lock_guard lock(m_pState->mutex);
        m_pState->stopping = true;
        for (const int socket : m_pState->sockets) {
            ::shutdown(socket, SHUT_RDWR);
        }
    }
    for (std::thread& thread : m_pState->threads) {
        thread.join();
    }
    for (const int socket : m_pState->sockets) {
        ::close(socket);
    }
    ::close(m_pState->listener);
}

std::string OddWebServer::Url(const std::string& path, const std::string& user) const {
    return "http://" + user + (user.empty() ? "" : "@") + "127.0.0.1:" + std::to_string(Port()) + path;
}

int OddWebServer::Port() const {
    return m_pState->port;
}

std::vector<std::string> OddWebServer::Requests() const {
    const std::lock_guard lock(m_pState->mutex);
    return m_pState->requests;
}

bool OddWebServer::WaitForRequests(std::size_t count) const {
    std::unique_lock lock(m_pState->mutex);
    return WaitBounded(m_pState->heard, lock, [&] { return m_pState->requests.size() >= count; });
}

void OddWebServer::Change(const std::function<void(Ways&)>& change) {
    const std::lock_guard lock(m_pState->mutex);
    change(m_pState->ways);
}

} // namespace vxcio::test
