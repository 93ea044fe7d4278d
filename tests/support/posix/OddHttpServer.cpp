#include "support/OddHttpServer.h"

#include "support/Bounded.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <list>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vxcio::test {

namespace {

int Listen(int& port) {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (listener < 0 || ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, 64) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("no socket for a server");
    }
    port = ntohs(address.sin_port);
    return listener;
}

std::string Small(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

OddRequest ParseRequest(const std::string& text) {
    OddRequest request;
    std::size_t from = text.find("\r\n");
    request.line = text.substr(0, from);
    while (from != std::string::npos) {
        const std::size_t start = from + 2;
        from = text.find("\r\n", start);
        const std::string line = text.substr(start, from == std::string::npos ? from : from - start);
        const std::size_t colon = line.find(": ");
        if (colon != std::string::npos) {
            request.headers[Small(line.substr(0, colon))] = line.substr(colon + 2);
        }
    }
    return request;
}

} // namespace

class OddHttpServer::State {
public:
    explicit State(Script given) : script(std::move(given)) { listener = Listen(port); }

    // One connection, on its own thread.
    class Connection final : public OddReply {
    public:
        Connection(State& state, int socket, int number)
            : m_state(state), m_socket(socket), m_number(number) {}

        bool Send(std::string_view bytes) override {
            while (!bytes.empty() && !m_isOver) {
                const ssize_t sent = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
                if (sent > 0) {
                    bytes.remove_prefix(static_cast<std::size_t>(sent));
                } else if (errno != EINTR) {
                    m_isOver = true;
                }
            }
            return !m_isOver;
        }
        void Hang() override {
            while (Pause(-1)) {
            }
        }
        void Close() override { m_isOver = true; }
        void Reset() override {
            const linger now{1, 0};
            ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
            m_isOver = true;
        }
        bool Pause(int milliseconds) override {
            pollfd gone{m_socket, POLLRDHUP, 0};
            if (!m_isOver && ::poll(&gone, 1, milliseconds) != 0) {
                m_isOver = true;
            }
            return !m_isOver;
        }

        void Run() {
            std::string heard;
            char buffer[4096];
            while (!m_isOver) {
                const std::size_t end = heard.find("\r\n\r\n");
                if (end != std::string::npos) {
                    const OddRequest request = m_state.Note(ParseRequest(heard.substr(0, end)), m_number);
                    heard.erase(0, end + 4);
                    m_state.script(request, *this);
                    continue;
                }
                const ssize_t got = ::recv(m_socket, buffer, sizeof buffer, 0);
                if (got <= 0) {
                    break;
                }
                heard.append(buffer, static_cast<std::size_t>(got));
            }
            m_state.NoteClosed(*this);
        }

        int Socket() const { return m_socket; }

    private:
        State& m_state;
        const int m_socket;
        const int m_number;
        bool m_isOver = false;
    };

    OddRequest Note(OddRequest request, int connection) {
        const std::lock_guard lock(mutex);
        request.number = static_cast<int>(requests.size());
        request.connection = connection;
        requests.push_back(request);
        changed.notify_all();
        return request;
    }

    void NoteClosed(const Connection& connection) {
        const std::lock_guard lock(mutex);
        ::close(connection.Socket());
        std::erase(open, connection.Socket());
        ++closed;
        changed.notify_all();
    }

    void Accept() {
        for (int number = 0;; ++number) {
            const int socket = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (socket < 0) {
                return; // it was shut down
            }
            const int yes = 1;
            ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
            const std::lock_guard lock(mutex);
            if (isEnding) {
                ::close(socket);
                return;
            }
            open.push_back(socket);
            ++accepted;
            threads.emplace_back([this, socket, number] { Connection(*this, socket, number).Run(); });
        }
    }

    void End() {
        {
            const std::lock_guard lock(mutex);
            isEnding = true;
            for (const int socket : open) {
                ::shutdown(socket, SHUT_RDWR);
            }
        }
        ::shutdown(listener, SHUT_RDWR);
        acceptor.join();
        for (std::thread& thread : threads) {
            thread.join();
        }
        ::close(listener);
    }

    const Script script;
    int listener = -1;
    int port = 0;
    std::thread acceptor;
    std::list<std::thread> threads; // the acceptor adds to it
    std::mutex mutex;
    std::condition_variable changed;
    bool isEnding = false; // these are guarded by the mutex
    std::vector<int> open;
    std::vector<OddRequest> requests;
    int accepted = 0;
    int closed = 0;
};

OddHttpServer::OddHttpServer(Script script) : m_state(std::make_unique<State>(std::move(script))) {
    m_state->acceptor = std::thread([state = m_state.get()] { state->Accept(); });
}

OddHttpServer::~OddHttpServer() {
    m_state->End();
}

int OddHttpServer::Port() const {
    return m_state->port;
}

std::wstring OddHttpServer::Url(const std::wstring& path) const {
    return L"http://127.0.0.1:" + std::to_wstring(Port()) + path;
}

std::string OddHttpServer::Address(const std::string& path, const std::string& user) const {
    return "http://" + user + (user.empty() ? "" : "@") + "127.0.0.1:" + std::to_string(Port()) + path;
}

int OddHttpServer::Connections() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->accepted;
}

std::vector<OddRequest> OddHttpServer::Requests() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->requests;
}

std::vector<std::string> OddHttpServer::Ranges() const {
    std::vector<std::string> ranges;
    for (const OddRequest& request : Requests()) {
        const std::string range = request.Header("range");
        ranges.push_back(range.substr(std::min<std::size_t>(range.size(), 6)));
    }
    return ranges;
}

bool OddHttpServer::WaitForRequests(std::size_t count) const {
    std::unique_lock lock(m_state->mutex);
    return WaitBounded(m_state->changed, lock, [&] { return m_state->requests.size() >= count; });
}

bool OddHttpServer::WaitForClosed(int count) const {
    std::unique_lock lock(m_state->mutex);
    return WaitBounded(m_state->changed, lock, [&] { return m_state->closed >= count; });
}

} // namespace vxcio::test
