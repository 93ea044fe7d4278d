#include "WaitHelpers.h"

#include <csignal>
#include <dlfcn.h>
#include <link.h>
#include <pthread.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace waittest;

namespace {

// Size of a stack for which a small process has no room.
constexpr uint32 kHugeStack = 0xF0000000u;

void* Start(uint32 (*entry)(void*), void* argument, uint32 flags = 0, unsigned long* id = nullptr,
            uint32 stackBytes = 0) {
    return VXC_CreateThread(nullptr, stackBytes, entry, argument, flags, id);
}

unsigned long ExitCodeOf(void* thread) {
    unsigned long exitCode = 0xEEEEEEEEul;
    EXPECT_EQ(VXC_GetExitCodeThread(thread, &exitCode), 1);
    return exitCode;
}

bool IsAlive(unsigned long id) {
    struct stat facts = {};
    return stat(("/proc/self/task/" + std::to_string(id)).c_str(), &facts) == 0;
}

// What a thread of these tests does: it waits until it may go on.
struct Gate {
    Handle open{ManualEvent()};
    std::atomic<bool> ran{false};
};

uint32 PassGate(void* context) {
    auto* gate = static_cast<Gate*>(context);
    gate->ran.store(true);
    return VXC_WaitForSingleObject(gate->open, VXC_INFINITE) == VXC_WAIT_OBJECT_0 ? 42 : 1;
}

uint32 TellKernelId(void* context) {
    *static_cast<unsigned long*>(context) = static_cast<unsigned long>(syscall(SYS_gettid));
    return 0;
}

uint32 TellMask(void* context) {
    pthread_sigmask(SIG_SETMASK, nullptr, static_cast<sigset_t*>(context));
    return 0;
}

uint32 TellStackBytes(void* context) {
    pthread_attr_t attributes;
    EXPECT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
    EXPECT_EQ(pthread_attr_getstacksize(&attributes, static_cast<std::size_t*>(context)), 0);
    pthread_attr_destroy(&attributes);
    return 0;
}

// Takes its time to go, after the entry function has returned.
struct SlowToGo {
    std::atomic<bool>* gone = nullptr;
    ~SlowToGo() {
        for (int i = 0; i < 1000; ++i) {
            sched_yield();
        }
        gone->store(true);
    }
};

uint32 LeaveSomethingBehind(void* context) {
    thread_local SlowToGo slow;
    slow.gone = static_cast<std::atomic<bool>*>(context);
    return 0;
}

} // namespace

TEST(ThreadTest, IsSignalledWhenItsEntryHasReturned) {
    Gate gate;
    const Handle thread(Start(PassGate, &gate));
    EXPECT_EQ(VXC_WaitForSingleObject(thread, 0), VXC_WAIT_TIMEOUT);
    EXPECT_EQ(ExitCodeOf(thread), VXC_STILL_ACTIVE);
    VXC_SetEvent(gate.open);
    EXPECT_EQ(VXC_WaitForSingleObject(thread, VXC_INFINITE), VXC_WAIT_OBJECT_0);
    EXPECT_EQ(ExitCodeOf(thread), 42u);
    EXPECT_EQ(VXC_WaitForSingleObject(thread, 0), VXC_WAIT_OBJECT_0); // and stays so
}

TEST(ThreadTest, EndIsSeenBySleepingWaitsForOneAnyAndAll) {
    Gate gate;
    const Handle thread(Start(PassGate, &gate));
    const Handle never(AutoEvent());
    const Handle ready(ManualEvent(true));
    auto one = WaitsForOne(thread);
    auto any = WaitsForMany({never, thread}, false);
    auto all = WaitsForMany({ready, thread}, true);
    ASSERT_TRUE(AwaitQueue(thread, 3));
    VXC_SetEvent(gate.open);
    EXPECT_EQ(one->Result(), 0u);
    EXPECT_EQ(any->Result(), 1u);
    EXPECT_EQ(all->Result(), 0u);
}

TEST(ThreadTest, SuspendedThreadRunsOnlyWhenItIsResumed) {
    Gate gate;
    VXC_SetEvent(gate.open);
    unsigned long id = 0;
    const Handle thread(Start(PassGate, &gate, VXC_CREATE_SUSPENDED, &id));
    EXPECT_TRUE(IsAlive(id));
    EXPECT_EQ(VXC_WaitForSingleObject(thread, 2), VXC_WAIT_TIMEOUT);
    EXPECT_FALSE(gate.ran.load());
    EXPECT_EQ(ExitCodeOf(thread), VXC_STILL_ACTIVE);
    EXPECT_EQ(VXC_ResumeThread(thread), 1u);
    EXPECT_EQ(VXC_ResumeThread(thread), 0u);
    EXPECT_EQ(VXC_WaitForSingleObject(thread, VXC_INFINITE), VXC_WAIT_OBJECT_0);
    EXPECT_TRUE(gate.ran.load());
    EXPECT_EQ(VXC_ResumeThread(thread), 0u);
}

TEST(ThreadTest, ThreadThatWasNotSuspendedHasNothingToResume) {
    Gate gate;
    const Handle thread(Start(PassGate, &gate));
    EXPECT_EQ(VXC_ResumeThread(thread), 0u);
    VXC_SetEvent(gate.open);
    VXC_WaitForSingleObject(thread, VXC_INFINITE);
}

TEST(ThreadTest, SuspendedThreadWhoseHandleIsClosedEndsWithoutHavingRun) {
    Gate gate;
    unsigned long id = 0;
    Handle thread(Start(PassGate, &gate, VXC_CREATE_SUSPENDED, &id));
    auto waiting = WaitsForOne(thread);
    ASSERT_TRUE(AwaitQueue(thread, 1));
    EXPECT_EQ(VXC_CloseHandle(thread.Release()), 1);
    EXPECT_EQ(waiting->Result(), VXC_WAIT_OBJECT_0); // nobody could have resumed it any more
    EXPECT_TRUE(Await([&] { return !IsAlive(id); }));
    EXPECT_FALSE(gate.ran.load());
}

TEST(ThreadTest, RunsOnWhenItsHandleIsClosed) {
    Gate gate;
    unsigned long id = 0;
    EXPECT_EQ(VXC_CloseHandle(Start(PassGate, &gate, 0, &id)), 1);
    EXPECT_TRUE(Await([&] { return gate.ran.load(); }));
    EXPECT_TRUE(IsAlive(id));
    VXC_SetEvent(gate.open);
    EXPECT_TRUE(Await([&] { return !IsAlive(id); }));
}

TEST(ThreadTest, ClosingTheHandleOfAnEndedThreadSeesItOff) {
    std::atomic<bool> gone{false};
    Handle thread(Start(LeaveSomethingBehind, &gone));
    EXPECT_EQ(VXC_WaitForSingleObject(thread, VXC_INFINITE), VXC_WAIT_OBJECT_0);
    EXPECT_EQ(VXC_CloseHandle(thread.Release()), 1);
    EXPECT_TRUE(gone.load());
}

TEST(ThreadTest, MayCloseItsOwnHandle) {
    struct Context {
        Handle start{AutoEvent()};
        void* thread = nullptr;
        std::atomic<int> closed{-1};
    } context;
    unsigned long id = 0;
    const auto entry = [](void* argument) -> uint32 {
        auto* mine = static_cast<Context*>(argument);
        VXC_WaitForSingleObject(mine->start, VXC_INFINITE);
        mine->closed.store(VXC_CloseHandle(mine->thread));
        return 0;
    };
    context.thread = Start(entry, &context, 0, &id);
    ASSERT_NE(context.thread, nullptr);
    VXC_SetEvent(context.start);
    EXPECT_TRUE(Await([&] { return !IsAlive(id); }));
    EXPECT_EQ(context.closed.load(), 1);
}

TEST(ThreadTest, IdIsTheKernelsOwnAlsoOfASuspendedThread) {
    for (const uint32 flags : {0u, VXC_CREATE_SUSPENDED}) {
        unsigned long told = 0;
        unsigned long seen = 1;
        const Handle thread(Start(TellKernelId, &seen, flags, &told));
        EXPECT_NE(told, 0u);
        VXC_ResumeThread(thread);
        EXPECT_EQ(VXC_WaitForSingleObject(thread, VXC_INFINITE), VXC_WAIT_OBJECT_0);
        EXPECT_EQ(told, seen);
    }
}

TEST(ThreadTest, ExceptionEndsTheThreadAlone) {
    const auto entry = [](void*) -> uint32 { throw std::runtime_error("lost"); };
    const Handle thread(Start(entry, nullptr));
    EXPECT_EQ(VXC_WaitForSingleObject(thread, VXC_INFINITE), VXC_WAIT_OBJECT_0);
    EXPECT_EQ(ExitCodeOf(thread), 0xFFFFFFFFu);
}

TEST(ThreadTest, LeavingByTheSystemsOwnExitSignalsTheHandle) {
    const auto entry = [](void*) -> uint32 { pthread_exit(nullptr); };
    const Handle thread(Start(entry, nullptr));
    EXPECT_EQ(VXC_WaitForSingleObject(thread, VXC_INFINITE), VXC_WAIT_OBJECT_0);
    EXPECT_EQ(ExitCodeOf(thread), 0xFFFFFFFFu);
}

TEST(ThreadTest, SignalsOfTheHostGoElsewhereButFaultsDoNot) {
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    sigset_t mask;
    sigemptyset(&mask);
    const Handle thread(Start(TellMask, &mask));
    EXPECT_EQ(VXC_WaitForSingleObject(thread, VXC_INFINITE), VXC_WAIT_OBJECT_0);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGALRM, SIGUSR1, SIGCHLD, SIGPIPE, SIGXFSZ}) {
        EXPECT_EQ(sigismember(&mask, number), 1) << number;
    }
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
        EXPECT_EQ(sigismember(&mask, number), 0) << number;
    }
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int number = 1; number < SIGRTMIN; ++number) {
        EXPECT_EQ(sigismember(&before, number), sigismember(&after, number)) << number;
    }
}

TEST(ThreadTest, StackHasTheSizeAskedForAndNeverLessThanAMebibyte) {
    const auto stackFor = [](uint32 asked) {
        std::size_t bytes = 0;
        const Handle thread(Start(TellStackBytes, &bytes, 0, nullptr, asked));
        EXPECT_EQ(VXC_WaitForSingleObject(thread, VXC_INFINITE), VXC_WAIT_OBJECT_0);
        return bytes;
    };
    EXPECT_GE(stackFor(0), std::size_t{1} << 20);
    EXPECT_GE(stackFor(1), std::size_t{1} << 20);
    const std::size_t odd = (std::size_t{48} << 20) + 1;
    EXPECT_GE(stackFor(static_cast<uint32>(odd)), odd);
}

TEST(ThreadTest, BadArgumentsGiveError87) {
    EXPECT_EQ(VXC_SetEvent(nullptr), 0);
    EXPECT_EQ(Start(nullptr, nullptr), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(VXC_SetEvent(nullptr), 0);
    std::size_t unused = 0;
    EXPECT_EQ(Start(TellStackBytes, &unused, 0x100), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);

    const Handle thread(Start(TellStackBytes, &unused));
    EXPECT_EQ(VXC_SetEvent(nullptr), 0);
    EXPECT_EQ(VXC_GetExitCodeThread(thread, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    VXC_WaitForSingleObject(thread, VXC_INFINITE);
}

TEST(ThreadTest, ThreadsAndEventsAreNotTakenForEachOther) {
    std::size_t unused = 0;
    const Handle thread(Start(TellStackBytes, &unused));
    VXC_WaitForSingleObject(thread, VXC_INFINITE);
    const Handle event(AutoEvent());
    const auto expectError6 = [](bool failed) {
        EXPECT_TRUE(failed);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_HANDLE);
        VXC_QueryPerformanceCounter(nullptr); // another last error
    };
    expectError6(VXC_SetEvent(thread) == 0);
    expectError6(VXC_ResetEvent(thread) == 0);
    expectError6(VXC_ResumeThread(event) == 0xFFFFFFFFu);
    unsigned long exitCode = 0;
    expectError6(VXC_GetExitCodeThread(event, &exitCode) == 0);
    EXPECT_TRUE(Poll(thread));
}

// The sanitizers reserve more addresses than the limit of this test leaves.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(ThreadTest, NoRoomForAThreadGivesError8) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const rlimit limit = {rlim_t{1} << 30, rlim_t{1} << 30};
        if (setrlimit(RLIMIT_AS, &limit) != 0) {
            _exit(3);
        }
        std::size_t unused = 0;
        unsigned long id = 77;
        void* thread = Start(TellStackBytes, &unused, 0, &id, kHugeStack);
        _exit(thread == nullptr && VXC_GetLastError() == VXC_ERROR_NOT_ENOUGH_MEMORY && id == 77 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}
#endif

TEST(ThreadTest, CodeOfTheLayerStaysInMemoryForThreadsThatWereLeft) {
    void* library = dlopen("libVXCSoftCodecSysU.so.3", RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    link_map* map = nullptr;
    ASSERT_EQ(dlinfo(library, RTLD_DI_LINKMAP, &map), 0);
    bool stays = false;
    for (const ElfW(Dyn)* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
        stays = stays || (entry->d_tag == DT_FLAGS_1 && (entry->d_un.d_val & DF_1_NODELETE) != 0);
    }
    EXPECT_TRUE(stays);
    dlclose(library);
}
