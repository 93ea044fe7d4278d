#include "../Terminal.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vxcio::tool {

namespace {

constinit std::atomic<bool> g_interruptWanted{false};
constexpr int kLookForStop = 50; // milliseconds
constexpr std::size_t kLongestAnswer = 100;
static_assert(std::atomic<bool>::is_always_lock_free, "the flag is set in a signal handler");

extern "C" void OnInterrupt(int) {
    g_interruptWanted.store(true, std::memory_order_relaxed);
    // A disk that hangs may keep the tool from looking at the flag: the next one ends it.
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

} // namespace

Sent WriteStandardOutput(const void* data, std::size_t bytes, std::string& reason) {
    const char* next = static_cast<const char*>(data);
    while (bytes > 0) {
        const ssize_t done = ::write(STDOUT_FILENO, next, bytes);
        if (done >= 0) {
            next += done;
            bytes -= static_cast<std::size_t>(done);
        } else if (errno == EPIPE) {
            return Sent::ClosedPipe;
        } else if (errno != EINTR) {
            reason = std::strerror(errno);
            return Sent::Failed;
        } else if (InterruptWanted()) {
            return Sent::Interrupted;
        }
    }
    return Sent::Whole;
}

bool IsErrorTerminal() {
    return ::isatty(STDERR_FILENO) == 1;
}

bool IsOutputTerminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}

bool IsInputTerminal() {
    return ::isatty(STDIN_FILENO) == 1;
}

bool ReadInputLine(std::string& line) {
    line.clear();
    while (!InterruptWanted()) {
        // The wish to stop may come just ahead of the wait.
        pollfd input{STDIN_FILENO, POLLIN, 0};
        if (::poll(&input, 1, kLookForStop) <= 0) {
            continue;
        }
        char next = 0;
        const ssize_t got = ::read(STDIN_FILENO, &next, 1);
        if (got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN)) {
            return false;
        }
        if (got > 0 && next == '\n') {
            return true;
        }
        if (got > 0 && line.size() < kLongestAnswer) {
            line += next;
        }
    }
    return false;
}

int ErrorColumns() {
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return 80;
    }
    return size.ws_col;
}

void ForgetVariable(const char* name) {
    ::unsetenv(name);
}

void PrepareSignals() {
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: a write to a pipe that nobody empties must come back.
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

bool InterruptWanted() {
    return g_interruptWanted.load(std::memory_order_relaxed);
}

} // namespace vxcio::tool
