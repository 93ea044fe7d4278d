#include "CrashReport.h"

#include <csignal>
#include <memory>
#include <new>
#include <unistd.h>

namespace vxcserver {

namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGABRT, SIGILL};
constexpr int kSignalBase = 128;
constexpr std::size_t kStackBytes = 65536;

// The stack of one thread's signal handler.
class SignalStack {
public:
    SignalStack() noexcept : m_memory(new (std::nothrow) char[kStackBytes]) {
        if (m_memory != nullptr) {
            stack_t stack = {};
            stack.ss_sp = m_memory.get();
            stack.ss_size = kStackBytes;
            sigaltstack(&stack, nullptr);
        }
    }
    ~SignalStack() {
        stack_t none = {};
        none.ss_flags = SS_DISABLE;
        sigaltstack(&none, nullptr);
    }
    SignalStack(const SignalStack&) = delete;
    SignalStack& operator=(const SignalStack&) = delete;

private:
    const std::unique_ptr<char[]> m_memory;
};

// Only what may be called in a signal handler; in one piece, so that the line stays whole.
void OnCrash(int number) {
    char text[] = "VXC32ServU: ended by signal   \n";
    char* const digits = text + sizeof text - 4;
    digits[0] = static_cast<char>(number < 10 ? ' ' : '0' + number / 10);
    digits[1] = static_cast<char>('0' + number % 10);
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, sizeof text - 1);
    _exit(kSignalBase + number);
}

} // namespace

void BeginCrashReports() noexcept {
    PrepareForCrashes();
    struct sigaction action = {};
    action.sa_handler = OnCrash;
    action.sa_flags = SA_ONSTACK;
    for (const int number : kSignals) {
        sigaction(number, &action, nullptr);
    }
    // A host that has gone takes the end of a pipe with it; that is no reason to die. Nor is what a terminal
    // sends to all its programs at once: the host decides what comes of it, and the server ends with the
    // host.
    for (const int number : {SIGPIPE, SIGINT, SIGQUIT, SIGHUP}) {
        std::signal(number, SIG_IGN);
    }
}

void PrepareForCrashes() noexcept {
    thread_local const SignalStack stack;
}

void EndAtOnce(int code) noexcept {
    _exit(code);
}

} // namespace vxcserver
