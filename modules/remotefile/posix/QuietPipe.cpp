#include "QuietPipe.h"

#include <cerrno>
#include <ctime>
#include <pthread.h>
#include <signal.h>

namespace vxcio {

namespace {

sigset_t PipeAlone() noexcept {
    sigset_t set;
    ::sigemptyset(&set);
    ::sigaddset(&set, SIGPIPE);
    return set;
}

} // namespace

QuietPipe::QuietPipe() noexcept {
    const sigset_t pipe = PipeAlone();
    sigset_t before;
    if (::pthread_sigmask(SIG_BLOCK, &pipe, &before) == 0) {
        // Who has blocked it deals with it.
        m_isToUnblock = ::sigismember(&before, SIGPIPE) == 0;
    }
}

QuietPipe::~QuietPipe() {
    if (!m_isToUnblock) {
        return;
    }
    // It was not blocked, so none was waiting when this began.
    const sigset_t pipe = PipeAlone();
    const timespec now{};
    const int error = errno;
    while (::sigtimedwait(&pipe, nullptr, &now) == -1 && errno == EINTR) {
    }
    ::pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
    errno = error;
}

} // namespace vxcio
