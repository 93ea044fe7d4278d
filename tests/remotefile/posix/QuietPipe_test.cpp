// The signal of a connection that is gone, while the module is at work.
#include "QuietPipe.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <pthread.h>

using namespace vxcio;

namespace {

volatile std::sig_atomic_t g_heard = 0;

class QuietPipeTest : public testing::Test {
protected:
    QuietPipeTest() : m_former(std::signal(SIGPIPE, [](int) { g_heard = g_heard + 1; })) { g_heard = 0; }
    ~QuietPipeTest() override { std::signal(SIGPIPE, m_former); }

    static bool IsBlocked() {
        sigset_t mask;
        ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        return ::sigismember(&mask, SIGPIPE) == 1;
    }
    static bool IsWaiting() {
        sigset_t waiting;
        ::sigpending(&waiting);
        return ::sigismember(&waiting, SIGPIPE) == 1;
    }
    static void Block(int how) {
        sigset_t pipe;
        ::sigemptyset(&pipe);
        ::sigaddset(&pipe, SIGPIPE);
        ::pthread_sigmask(how, &pipe, nullptr);
    }

private:
    void (*m_former)(int);
};

} // namespace

TEST_F(QuietPipeTest, TheSignalIsHeardByNobody) {
    {
        const QuietPipe quiet;
        ::pthread_kill(::pthread_self(), SIGPIPE);
        errno = ENOENT;
    }
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(g_heard, 0);
    EXPECT_FALSE(IsBlocked());
    EXPECT_FALSE(IsWaiting());
    ::pthread_kill(::pthread_self(), SIGPIPE); // and then it is heard again
    EXPECT_EQ(g_heard, 1);
}

TEST_F(QuietPipeTest, WhoHasBlockedItKeepsIt) {
    Block(SIG_BLOCK);
    ::pthread_kill(::pthread_self(), SIGPIPE);
    { const QuietPipe quiet; }
    EXPECT_TRUE(IsBlocked());
    EXPECT_TRUE(IsWaiting());
    EXPECT_EQ(g_heard, 0);
    Block(SIG_UNBLOCK);
    EXPECT_EQ(g_heard, 1);
}
