#include "xdcam/device/posix/ControlLine.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace xdcam {

namespace {

constexpr std::size_t kLongestLine = 4096;
constexpr std::size_t kMostWaiting = 1 << 16; // that is read ahead of the commands
constexpr std::chrono::seconds kSayLimit(10);

std::string WithoutTelnet(const std::string& line) {
    std::string text;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (static_cast<unsigned char>(line[i]) == 0xFF) {
            ++i; // and the byte that tells what is wanted
        } else {
            text += line[i];
        }
    }
    return text;
}

bool IsAbort(const std::string& line) {
    std::string text = WithoutTelnet(line);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text == "ABOR" || text == "ABOR\r";
}

} // namespace

ControlLine::ControlLine(Socket socket, const Ending& ending, std::function<void(const std::string&)> heard,
                         std::function<void(const std::string&)> said)
    : m_socket(std::move(socket)), m_ending(ending), m_heard(std::move(heard)), m_said(std::move(said)) {}

bool ControlLine::Receive() {
    std::array<char, 4096> bytes{};
    const ssize_t count = ::recv(m_socket.Descriptor(), bytes.data(), bytes.size(), 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return true;
    }
    m_bGone = count <= 0;
    m_waiting.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return !m_bGone;
}

std::optional<std::string> ControlLine::Take() {
    for (;;) {
        const std::size_t end = m_waiting.find('\n');
        if (end == std::string::npos && m_waiting.size() <= kLongestLine) {
            return std::nullopt;
        }
        std::string line = m_waiting.substr(0, std::min(end, kLongestLine));
        m_waiting.erase(0, end == std::string::npos ? end : end + 1);
        if (!std::exchange(m_bSkip, end == std::string::npos)) {
            line = WithoutTelnet(line);
            if (line.ends_with('\r')) {
                line.pop_back();
            }
            return line;
        }
    }
}

std::optional<std::string> ControlLine::Next() {
    for (;;) {
        if (std::optional<std::string> line = Take()) {
            m_heard(*line);
            return line;
        }
        if (m_bGone || WaitFor(m_socket, POLLIN, m_ending) != Waited::Ready || !Receive()) {
            return std::nullopt;
        }
    }
}

void ControlLine::Say(const std::string& reply) {
    m_said(reply);
    const std::string text = reply + "\r\n";
    for (std::size_t sent = 0; sent < text.size() && !m_bGone;) {
        const ssize_t count =
            ::send(m_socket.Descriptor(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
        } else if (errno != EINTR &&
                   (errno != EAGAIN || WaitFor(m_socket, POLLOUT, m_ending, kSayLimit) != Waited::Ready)) {
            m_bGone = true;
        }
    }
}

bool ControlLine::IsListening() const {
    return !m_bGone && m_waiting.size() < kMostWaiting;
}

ControlLine::State ControlLine::Look() {
    while (IsListening()) {
        pollfd ready{m_socket.Descriptor(), POLLIN, 0};
        if (::poll(&ready, 1, 0) <= 0) {
            break;
        }
        Receive();
    }
    for (std::size_t first = 0, end = 0; (end = m_waiting.find('\n', first)) != std::string::npos;
         first = end + 1) {
        if (const std::string line = m_waiting.substr(first, end - first); IsAbort(line)) {
            m_heard("ABOR");
            m_waiting.erase(first, end + 1 - first);
            return State::Abort;
        }
    }
    return m_bGone ? State::Gone : State::Quiet;
}

} // namespace xdcam
