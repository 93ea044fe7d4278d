#include "WaitHelpers.h"

#include <cstddef>
#include <iterator>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace waittest;

namespace {

void* const kNoHandles[] = {nullptr, VXC_INVALID_HANDLE, reinterpret_cast<void*>(0x40),
                            reinterpret_cast<void*>(0x123451)};

void ExpectInvalidHandle(uint32 result, uint32 failure) {
    EXPECT_EQ(result, failure);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_HANDLE);
}

uint32 AsUnsigned(int value) {
    return static_cast<uint32>(value);
}

// From here on the kernel kills the process at any system call of this thread but the one that ends it.
bool AllowNothingButExit() {
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP),
    };
    const sock_fprog program = {static_cast<unsigned short>(std::size(rules)), rules};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// Makes the last error something that no test expects.
void SpoilLastError() {
    EXPECT_EQ(VXC_QueryPerformanceFrequency(nullptr), 0);
}

} // namespace

TEST(EventTest, StartsInTheStateAskedFor) {
    const Handle set(AutoEvent(true));
    const Handle clear(AutoEvent(false));
    const Handle manualSet(ManualEvent(true));
    const Handle manualClear(ManualEvent(false));
    EXPECT_TRUE(Poll(set));
    EXPECT_FALSE(Poll(clear));
    EXPECT_TRUE(Poll(manualSet));
    EXPECT_FALSE(Poll(manualClear));
}

TEST(EventTest, AutoResetEventIsTakenByOneWait) {
    const Handle event(AutoEvent());
    EXPECT_EQ(VXC_SetEvent(event), 1);
    EXPECT_EQ(VXC_WaitForSingleObject(event, VXC_INFINITE), VXC_WAIT_OBJECT_0);
    EXPECT_EQ(VXC_WaitForSingleObject(event, 0), VXC_WAIT_TIMEOUT);
}

TEST(EventTest, SignalOfASignalledAutoResetEventIsLost) {
    const Handle event(AutoEvent(true));
    VXC_SetEvent(event);
    EXPECT_TRUE(Poll(event));
    EXPECT_FALSE(Poll(event));
}

TEST(EventTest, ManualResetEventStaysSignalledUntilItIsReset) {
    const Handle event(ManualEvent());
    VXC_SetEvent(event);
    EXPECT_TRUE(Poll(event));
    EXPECT_TRUE(Poll(event));
    EXPECT_EQ(VXC_ResetEvent(event), 1);
    EXPECT_FALSE(Poll(event));
    EXPECT_EQ(VXC_ResetEvent(event), 1);
}

TEST(EventTest, ResetTakesTheSignalOfAnAutoResetEvent) {
    const Handle event(AutoEvent(true));
    EXPECT_EQ(VXC_ResetEvent(event), 1);
    EXPECT_FALSE(Poll(event));
}

TEST(EventTest, AutoResetEventFreesOneWaiterAtATimeInTheOrderTheyCame) {
    const Handle event(AutoEvent());
    auto first = WaitsForOne(event);
    ASSERT_TRUE(AwaitQueue(event, 1));
    auto second = WaitsForOne(event);
    ASSERT_TRUE(AwaitQueue(event, 2));
    auto third = WaitsForOne(event);
    ASSERT_TRUE(AwaitQueue(event, 3));

    VXC_SetEvent(event);
    EXPECT_EQ(QueueOf(event), 2u);
    EXPECT_EQ(first->Result(), VXC_WAIT_OBJECT_0);
    EXPECT_FALSE(Poll(event));
    EXPECT_FALSE(second->IsDone());
    EXPECT_FALSE(third->IsDone());

    VXC_SetEvent(event);
    EXPECT_EQ(second->Result(), VXC_WAIT_OBJECT_0);
    EXPECT_FALSE(third->IsDone());
    VXC_SetEvent(event);
    EXPECT_EQ(third->Result(), VXC_WAIT_OBJECT_0);
    EXPECT_FALSE(Poll(event));
}

TEST(EventTest, TwoSignalsInARowFreeTwoWaiters) {
    const Handle event(AutoEvent());
    auto first = WaitsForOne(event);
    auto second = WaitsForOne(event);
    ASSERT_TRUE(AwaitQueue(event, 2));
    VXC_SetEvent(event);
    VXC_SetEvent(event);
    EXPECT_EQ(first->Result(), VXC_WAIT_OBJECT_0);
    EXPECT_EQ(second->Result(), VXC_WAIT_OBJECT_0);
}

TEST(EventTest, ManualResetEventFreesAllWaitersThoughItIsResetAtOnce) {
    const Handle event(ManualEvent());
    std::vector<std::unique_ptr<WaitingThread>> waiting;
    for (int i = 0; i < 5; ++i) {
        waiting.push_back(WaitsForOne(event));
    }
    ASSERT_TRUE(AwaitQueue(event, 5));
    VXC_SetEvent(event);
    VXC_ResetEvent(event);
    for (auto& thread : waiting) {
        EXPECT_EQ(thread->Result(), VXC_WAIT_OBJECT_0);
    }
    EXPECT_FALSE(Poll(event));
}

TEST(EventTest, HasNoNameWhereItIsResetByHand) {
    EXPECT_EQ(VXC_CreateEventW(nullptr, 1, 0, L"vxctest-event"), nullptr);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
}

TEST(EventTest, WhatIsNoHandleGivesError6) {
    alignas(vxcio::sysu::kCacheLine) unsigned char other[64] = {1, 2, 3};
    std::vector<void*> handles(std::begin(kNoHandles), std::end(kNoHandles));
    handles.push_back(other);
    for (void* handle : handles) {
        SpoilLastError();
        ExpectInvalidHandle(AsUnsigned(VXC_SetEvent(handle)), 0);
        SpoilLastError();
        ExpectInvalidHandle(AsUnsigned(VXC_ResetEvent(handle)), 0);
        SpoilLastError();
        ExpectInvalidHandle(AsUnsigned(VXC_CloseHandle(handle)), 0);
        SpoilLastError();
        ExpectInvalidHandle(VXC_WaitForSingleObject(handle, 0), VXC_WAIT_FAILED);
        SpoilLastError();
        ExpectInvalidHandle(VXC_WaitForSingleObject(handle, VXC_INFINITE), VXC_WAIT_FAILED);
        SpoilLastError();
        ExpectInvalidHandle(VXC_ResumeThread(handle), 0xFFFFFFFFu);
        SpoilLastError();
        unsigned long exitCode = 77;
        ExpectInvalidHandle(AsUnsigned(VXC_GetExitCodeThread(handle, &exitCode)), 0);
        EXPECT_EQ(exitCode, 77u);
    }
}

TEST(EventTest, ClosingAHandleThatIsWaitedForHarmsNobody) {
    void* event = AutoEvent();
    const Handle quit(AutoEvent());
    auto waiting = WaitsForMany({event, quit}, false);
    ASSERT_TRUE(AwaitQueue(quit, 1));
    EXPECT_EQ(VXC_CloseHandle(event), 1);
    // The wait still holds the object, but its handle is none any more.
    SpoilLastError();
    ExpectInvalidHandle(AsUnsigned(VXC_CloseHandle(event)), 0);
    SpoilLastError();
    ExpectInvalidHandle(AsUnsigned(VXC_SetEvent(event)), 0);
    VXC_SetEvent(quit);
    EXPECT_EQ(waiting->Result(), 1u);
}

TEST(EventTest, FreeEventsCostNoSystemCall) {
    const Handle automatic(AutoEvent());
    const Handle manual(ManualEvent());
    void* const both[] = {automatic, manual};
    const auto useThem = [&] {
        uint32 wrong = 0;
        VXC_SetEvent(automatic);
        wrong |= VXC_WaitForSingleObject(automatic, VXC_INFINITE);
        wrong |= VXC_WaitForSingleObject(automatic, 0) ^ VXC_WAIT_TIMEOUT;
        VXC_SetEvent(manual);
        wrong |= VXC_WaitForSingleObject(manual, 1000);
        wrong |= VXC_WaitForMultipleObjects(2, both, 0, VXC_INFINITE) ^ 1u;
        VXC_SetEvent(automatic);
        wrong |= VXC_WaitForMultipleObjects(2, both, 1, VXC_INFINITE);
        VXC_ResetEvent(manual);
        wrong |= VXC_WaitForMultipleObjects(2, both, 0, 0) ^ VXC_WAIT_TIMEOUT;
        return wrong;
    };
    ASSERT_EQ(useThem(), 0u);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (!AllowNothingButExit()) {
            _exit(2);
        }
        uint32 wrong = 0;
        for (int i = 0; i < 1000; ++i) {
            wrong |= useThem();
        }
        // Not _exit, before which the address sanitizer makes a call of its own.
        syscall(SYS_exit_group, wrong != 0 ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}
