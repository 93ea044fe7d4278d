#include "CrashReport.h"

#include <csignal>
#include <cstring>
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

void Write(const char* text) noexcept {
    if (write(STDERR_FILENO, text, std::strlen(text)) < 0) {
        return; // nobody listens
    }
}

// Only what may be called in a signal handler.
void OnCrash(int number) {
    char text[3] = {static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10), 0};
    Write("VXC32ServU: ended by signal ");
    Write(number < 10 ? text + 1 : text);
    Write("\n");
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
    // A host that has gone takes the end of a pipe with it; that is no reason to die.
    std::signal(SIGPIPE, SIG_IGN);
}

void PrepareForCrashes() noexcept {
    thread_local const SignalStack stack;
}

void EndAtOnce(int code) noexcept {
    _exit(code);
}

} // namespace vxcserver
