// Whether the host still lives, with and without descriptors of processes.
#include "server/HostWatch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <linux/filter.h>
#include <linux/sched.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;
using vxcserver::HostWatch;

namespace {

// A process that waits to be killed.
class OtherProcess {
public:
    OtherProcess() : m_id(fork()) {
        if (m_id == 0) {
            for (;;) {
                pause();
            }
        }
    }
    ~OtherProcess() {
        Kill();
        Reap();
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    uint32 Id() const { return static_cast<uint32>(m_id); }
    // It is a zombie then.
    void Kill() const {
        if (!m_reaped) {
            kill(m_id, SIGKILL);
            siginfo_t unused = {};
            waitid(P_PID, static_cast<id_t>(m_id), &unused, WEXITED | WNOWAIT);
        }
    }
    void Reap() {
        if (!m_reaped) {
            waitpid(m_id, nullptr, 0);
            m_reaped = true;
        }
    }

private:
    const pid_t m_id;
    bool m_reaped = false;
};

// From here on this process has no descriptors of processes.
bool ForbidProcessDescriptors() {
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | (ENOSYS & SECCOMP_RET_DATA)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {4, steps};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0 &&
           syscall(SYS_pidfd_open, getpid(), 0) < 0;
}

// What the numbered exit code of a child stands for: the first step that went wrong, 0 for none.
template <class Steps>
int InAChildWithoutDescriptors(Steps steps) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(ForbidProcessDescriptors() ? steps() : 99);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// The kernel tells when a process was started to the hundredth of a second.
void WaitForNextTick() {
    const auto tick = [] {
        timespec now = {};
        clock_gettime(CLOCK_BOOTTIME, &now);
        return now.tv_sec * 100LL + now.tv_nsec / 10'000'000;
    };
    for (const auto start = tick(); tick() == start;) {
        std::this_thread::yield();
    }
}

// A new process under a number that is free again. 0 where this process may not choose numbers.
pid_t StartUnderNumber(uint32 number) {
    auto wanted = static_cast<pid_t>(number);
    clone_args arguments = {};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uintptr_t>(&wanted);
    arguments.set_tid_size = 1;
    const long started = syscall(SYS_clone3, &arguments, sizeof arguments);
    if (started == 0) {
        for (;;) {
            pause();
        }
    }
    return started < 0 ? 0 : static_cast<pid_t>(started);
}

} // namespace

TEST(HostWatchTest, ALivingHostHasNotEnded) {
    const OtherProcess host;
    HostWatch watch(host.Id());
    EXPECT_FALSE(watch.HasEnded(0ms));
    EXPECT_FALSE(watch.HasEnded(2ms));
}

TEST(HostWatchTest, AKilledHostHasEndedAlsoWhileNobodyTookItsStatus) {
    OtherProcess host;
    HostWatch watch(host.Id());
    host.Kill();
    EXPECT_TRUE(watch.HasEnded(30s));
    host.Reap();
    EXPECT_TRUE(watch.HasEnded(30s));
}

TEST(HostWatchTest, TheEndOfTheHostEndsTheWait) {
    OtherProcess host;
    HostWatch watch(host.Id());
    std::thread killer([&host] { host.Kill(); });
    EXPECT_TRUE(watch.HasEnded(30s));
    killer.join();
}

TEST(HostWatchTest, AHostThatHadEndedBeforeIsSeen) {
    OtherProcess host;
    host.Kill();
    HostWatch zombie(host.Id());
    EXPECT_TRUE(zombie.HasEnded(0ms));
    host.Reap();
    HostWatch gone(host.Id());
    EXPECT_TRUE(gone.HasEnded(0ms));
    HostWatch impossible(0xFFFFFFFFu);
    EXPECT_TRUE(impossible.HasEnded(0ms));
}

TEST(HostWatchTest, WakeUpEndsOneWaitThisOneOrTheNext) {
    const OtherProcess host;
    HostWatch watch(host.Id());
    watch.WakeUp();
    watch.WakeUp();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(watch.HasEnded(30s));
    std::thread waker([&watch] { watch.WakeUp(); });
    EXPECT_FALSE(watch.HasEnded(30s));
    waker.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
    const auto again = std::chrono::steady_clock::now();
    EXPECT_FALSE(watch.HasEnded(3ms));
    EXPECT_GE(std::chrono::steady_clock::now() - again, 2ms); // the wakes are used up
}

TEST(HostWatchTest, WithoutDescriptorsTheFactsOfTheProcessAreLookedAt) {
    EXPECT_EQ(InAChildWithoutDescriptors([] {
                  OtherProcess host;
                  HostWatch watch(host.Id());
                  if (watch.HasEnded(0ms)) {
                      return 1;
                  }
                  host.Kill();
                  if (!watch.HasEnded(0ms)) { // a zombie
                      return 2;
                  }
                  host.Reap();
                  return watch.HasEnded(0ms) ? 0 : 3;
              }),
              0);
}

TEST(HostWatchTest, WithoutDescriptorsANumberThatIsTakenAnewIsAnotherProcess) {
    constexpr int kMayNotChoose = 50;
    const int result = InAChildWithoutDescriptors([] {
        OtherProcess gone;
        HostWatch watch(gone.Id());
        if (watch.HasEnded(0ms)) {
            return 1;
        }
        gone.Kill();
        gone.Reap();
        HostWatch late(gone.Id());
        WaitForNextTick();
        const pid_t other = StartUnderNumber(gone.Id());
        if (other == 0) {
            return kMayNotChoose;
        }
        const bool isSeen = watch.HasEnded(0ms) && late.HasEnded(0ms);
        const bool isWatched = !HostWatch(gone.Id()).HasEnded(0ms);
        kill(other, SIGKILL);
        waitpid(other, nullptr, 0);
        return !isSeen ? 2 : isWatched ? 0 : 3;
    });
    if (result == kMayNotChoose) {
        GTEST_SKIP() << "lacks the right to choose numbers of processes";
    }
    EXPECT_EQ(result, 0);
}
