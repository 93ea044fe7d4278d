#include "support/FtpScriptServer.h"

#include "support/posix/FtpScriptSockets.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vxcio::test::script {

namespace {

// The real time after which a step that the clock or a full connection holds up is looked at again.
constexpr int kTick = 1;

} // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        Close();
        m_number = std::exchange(other.m_number, -1);
    }
    return *this;
}

void Descriptor::Close() {
    if (IsOpen()) {
        ::close(std::exchange(m_number, -1));
    }
}

Server::Server(State& state, uint32 address)
    : m_state(state), m_address(address), m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_controlListener(ListenAt(address, &m_port)) {}

Server::~Server() {
    Stop();
}

void Server::Start() {
    const std::lock_guard lock(m_state.mutex);
    m_state.server = this;
    m_lastActivity = std::chrono::steady_clock::now();
    m_thread = std::thread([this] { Run(); });
}

void Server::Stop() {
    {
        const std::lock_guard lock(m_state.mutex);
        m_stop = true;
        m_state.server = nullptr;
        m_state.changed.notify_all();
    }
    Wake();
    if (m_thread.joinable()) {
        m_thread.join();
    }
    CloseAll();
    m_controlListener.Close();
}

void Server::Wake() const {
    const uint64 one = 1;
    // It can't fail but for a counter that is full, and then the thread is woken already.
    static_cast<void>(::write(m_wake.Number(), &one, sizeof one) < 0);
}

void Server::CloseAll() {
    m_control.Close();
    m_controlChannel = nullptr;
    m_listeners.clear();
    m_data.clear();
}

void Server::Run() {
    std::unique_lock lock(m_state.mutex);
    while (!m_stop) {
        if (m_state.hasFailed) {
            CloseAll();
            m_controlListener.Close();
        }
        m_state.awaited = {};
        m_pollIn = -1;
        m_pollOut = -1;
        if (!m_state.hasFailed && !m_state.isOver) {
            RunSteps();
            if (m_state.hasFailed) {
                continue;
            }
        }
        if (PollOnce(lock)) {
            m_lastActivity = std::chrono::steady_clock::now();
        } else if (IsBounded() && std::chrono::steady_clock::now() - m_lastActivity > m_state.limit) {
            m_state.Fail("nothing came");
        }
        TakeControl();
    }
}

// Whether it is to do something yet, which may not take for ever.
bool Server::IsBounded() const {
    return m_state.next < m_state.steps.size() && !m_state.hasFailed && !m_state.isOver;
}

// Stands until something comes, and tells whether that was so.
bool Server::PollOnce(std::unique_lock<std::mutex>& lock) {
    m_state.awaited.control = m_control.IsOpen();
    const bool isTimed = m_state.awaited.time || m_state.awaited.full != nullptr;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(m_lastActivity + m_state.limit -
                                                                            std::chrono::steady_clock::now());
    const int limit =
        IsBounded() ? static_cast<int>(std::clamp<std::int64_t>(left.count() + 1, 1, INT_MAX)) : -1;
    const bool reads = m_control.IsOpen() && !m_controlChannel->sawEnd;
    pollfd polls[] = {{m_wake.Number(), POLLIN, 0},
                      {reads ? m_control.Number() : -1, POLLIN, 0},
                      {m_pollIn, POLLIN, 0},
                      {m_pollOut, POLLOUT, 0}};
    m_state.waits = true;
    m_state.changed.notify_all();
    lock.unlock();
    const int ready = ::poll(polls, 4, isTimed ? kTick : limit);
    uint64 wakes = 0;
    static_cast<void>(::read(m_wake.Number(), &wakes, sizeof wakes) < 0);
    lock.lock();
    m_state.waits = false;
    return ready > 0;
}

void Server::TakeControl() {
    char bytes[4096];
    while (m_control.IsOpen() && !m_controlChannel->sawEnd) {
        const ssize_t got = ::recv(m_control.Number(), bytes, sizeof bytes, MSG_DONTWAIT);
        if (got > 0) {
            m_controlChannel->received += static_cast<uint64>(got);
            m_heard.append(bytes, static_cast<std::size_t>(got));
            m_state.heard.append(bytes, static_cast<std::size_t>(got));
        } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
            m_controlChannel->sawEnd = true;
        } else if (errno == EAGAIN) {
            return;
        }
    }
}

void Server::RunSteps() {
    while (!m_state.hasFailed && m_state.next < m_state.steps.size()) {
        if (Do(m_state.steps[m_state.next]) == Progress::Wait) {
            return;
        }
        if (!m_state.hasFailed) {
            ++m_state.next;
            m_begun = false;
            m_moved = 0;
            m_lastActivity = std::chrono::steady_clock::now();
        }
    }
    if (!m_state.hasFailed && !m_heard.empty()) {
        m_state.Fail("got " + Quote(m_heard));
    }
}

Server::Progress Server::Do(const Step& step) {
    switch (step.kind) {
    case StepKind::AcceptControl:
    case StepKind::Expect:
    case StepKind::ExpectAny:
    case StepKind::ExpectPort:
    case StepKind::ExpectClosed:
    case StepKind::Say:
    case StepKind::SayPort:
    case StepKind::After:
    case StepKind::Quiet:
    case StepKind::UntilTold:
    case StepKind::Fin:
    case StepKind::Rst:
        return DoControl(step);
    default:
        return DoData(step);
    }
}

} // namespace vxcio::test::script
