// FileSizeSignal.h - keeps a write over the process's file size limit from ending the process.
//
// Beyond such a limit the system sends the writing thread a signal that ends the process by default. It is
// held back on this thread alone for the length of the call: ignoring it instead would change the host's own
// handling, and that of every program it starts. Where there is no limit, which is nearly always, it cannot
// come and nothing is done.
#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>
#include <sys/resource.h>

namespace vxcio::sysu {

class FileSizeSignalGuard {
public:
    FileSizeSignalGuard() noexcept {
        rlimit limit{};
        if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
            return;
        }
        sigset_t pending;
        ::sigpending(&pending);
        m_wasPending = ::sigismember(&pending, SIGXFSZ) == 1;
        const sigset_t signal = Signal();
        m_isHeld = ::pthread_sigmask(SIG_BLOCK, &signal, &m_formerMask) == 0;
    }

    ~FileSizeSignalGuard() {
        if (!m_isHeld) {
            return;
        }
        const int error = errno;
        if (!m_wasPending) {
            const sigset_t signal = Signal();
            const timespec noTime{};
            while (::sigtimedwait(&signal, nullptr, &noTime) < 0 && errno == EINTR) {
            }
        }
        ::pthread_sigmask(SIG_SETMASK, &m_formerMask, nullptr);
        errno = error;
    }

    FileSizeSignalGuard(const FileSizeSignalGuard&) = delete;
    FileSizeSignalGuard& operator=(const FileSizeSignalGuard&) = delete;

private:
    static sigset_t Signal() noexcept {
        sigset_t signal;
        ::sigemptyset(&signal);
        ::sigaddset(&signal, SIGXFSZ);
        return signal;
    }

    sigset_t m_formerMask{};
    bool m_isHeld = false;
    bool m_wasPending = false;
};

} // namespace vxcio::sysu
