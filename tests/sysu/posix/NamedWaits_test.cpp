// Waits in which events of several processes and objects of this one take part.
#include "SharedTesting.h"

#include "../WaitHelpers.h"
#include "sysu/posix/NamedEvent.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;
using namespace waittest;

namespace {

void* Named(const std::wstring& what, bool signalled = false) {
    return VXC_CreateEventW(nullptr, 0, signalled ? 1 : 0, OwnName(what).c_str());
}

uint32 WaitAny(std::vector<void*> handles, uint32 milliseconds) {
    return VXC_WaitForMultipleObjects(static_cast<uint32>(handles.size()), handles.data(), 0, milliseconds);
}

uint32 SleepersOf(void* handle) {
    return static_cast<sysu::NamedEvent*>(static_cast<sysu::WaitObject*>(handle))->words.waiters.load();
}
bool AwaitSleepers(void* handle, uint32 count) {
    return Await([&] { return SleepersOf(handle) == count; });
}

// From now on this process and its children get `error` for sleeping on several words.
bool RefuseSleepOnSeveral(int error) {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_futex_waitv, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{sizeof program / sizeof program[0], program};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

// Each way in which a mixed wait that sleeps comes to its end.
void ExpectSleepingWaitsEnd() {
    const Handle named(Named(L"named"));
    const Handle other(Named(L"other"));
    const Handle local(AutoEvent());
    const Handle manual(ManualEvent());
    const std::vector<void*> all = {named, local, other, manual};
    void* const order[] = {local, other, manual, named};
    const uint32 index[] = {1, 2, 3, 0};
    for (int i = 0; i < 4; ++i) {
        const auto wait = WaitsForMany(all, false);
        ASSERT_TRUE(AwaitSleepers(named, 1));
        ASSERT_TRUE(AwaitSleepers(other, 1));
        ASSERT_TRUE(AwaitQueue(local, 1));
        VXC_SetEvent(order[i]);
        EXPECT_EQ(wait->Result(), index[i]);
        EXPECT_EQ(Poll(order[i]), order[i] == manual);
        VXC_ResetEvent(manual);
        EXPECT_EQ(SleepersOf(named), 0u);
        EXPECT_EQ(SleepersOf(other), 0u);
        EXPECT_EQ(QueueOf(local), 0u);
    }
    uint32 result = 0;
    EXPECT_GE(MillisecondsOf([&] { result = WaitAny(all, 7); }), 7.0);
    EXPECT_EQ(result, VXC_WAIT_TIMEOUT);
    const auto wait = WaitsForMany({other, named}, false);
    ASSERT_TRUE(AwaitSleepers(named, 1));
    VXC_SetEvent(named);
    EXPECT_EQ(wait->Result(), 1u);
    EXPECT_EQ(WaitAny({other, named}, 1), VXC_WAIT_TIMEOUT);
    EXPECT_FALSE(Poll(named) || Poll(other) || Poll(local));
}

} // namespace

TEST(NamedWaitTest, TheLowestSignalledObjectEndsTheWaitAndTheOthersKeepTheirSignals) {
    const Handle named(Named(L"named"));
    const Handle second(Named(L"second"));
    const Handle local(AutoEvent());
    std::vector<void*> handles = {named, local, second};
    for (int turn = 0; turn < 3; ++turn) {
        for (void* handle : handles) {
            VXC_SetEvent(handle);
        }
        for (uint32 i = 0; i < 3; ++i) {
            EXPECT_EQ(WaitAny(handles, i == 1 ? 0 : VXC_INFINITE), i);
        }
        EXPECT_EQ(WaitAny(handles, 0), VXC_WAIT_TIMEOUT);
        std::rotate(handles.begin(), handles.begin() + 1, handles.end());
    }
}

TEST(NamedWaitTest, ASleepingWaitIsEndedByAnyOfItsObjects) {
    ExpectSleepingWaitsEnd();
}

TEST(NamedWaitTest, ASleepingWaitIsEndedByTheEndOfAThread) {
    const Handle named(Named(L"named"));
    const Handle go(ManualEvent());
    const Handle thread(VXC_CreateThread(
        nullptr, 0, [](void* event) -> uint32 { return VXC_WaitForSingleObject(event, VXC_INFINITE); }, go, 0,
        nullptr));
    const auto wait = WaitsForMany({named, thread}, false);
    ASSERT_TRUE(AwaitSleepers(named, 1));
    VXC_SetEvent(go);
    EXPECT_EQ(wait->Result(), 1u);
    VXC_SetEvent(named);
    EXPECT_EQ(WaitAny({thread, named}, VXC_INFINITE), 0u);
    EXPECT_TRUE(Poll(named));
}

TEST(NamedWaitTest, WhereTheSystemSleepsOnOneWordOnlyWaitsEndAsWell) {
    for (const int error : {ENOSYS, EPERM, EACCES}) {
        SCOPED_TRACE(error);
        InChild([&] {
            ASSERT_TRUE(RefuseSleepOnSeveral(error));
            ExpectSleepingWaitsEnd();
        });
    }
}

TEST(NamedWaitTest, ASleepThatNeverLastsKeepsNoWaitBeyondItsLimit) {
    // As for a word that a bad process changes all the time.
    for (const int error : {EAGAIN, EINTR}) {
        SCOPED_TRACE(error);
        InChild([&] {
            ASSERT_TRUE(RefuseSleepOnSeveral(error));
            const Handle named(Named(L"named"));
            const Handle local(AutoEvent());
            uint32 result = 0;
            EXPECT_GE(MillisecondsOf([&] { result = WaitAny({named, local}, 5); }), 5.0);
            EXPECT_EQ(result, VXC_WAIT_TIMEOUT);
            EXPECT_EQ(SleepersOf(named), 0u);
            EXPECT_EQ(QueueOf(local), 0u);
        });
    }
}

TEST(NamedWaitTest, AWaitForAllIsRefusedAndTakesNothing) {
    const Handle named(Named(L"named", true));
    const Handle local(AutoEvent(true));
    for (const std::vector<void*>& handles :
         {std::vector<void*>{named, local}, {local, named}, {named, named}}) {
        EXPECT_EQ(VXC_WaitForMultipleObjects(2, handles.data(), 1, 0), VXC_WAIT_FAILED);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    }
    void* const one = named;
    EXPECT_EQ(VXC_WaitForMultipleObjects(1, &one, 1, 0), VXC_WAIT_OBJECT_0); // of one, all is any
    EXPECT_TRUE(Poll(local));
    EXPECT_FALSE(Poll(named));
}

TEST(NamedWaitTest, AsManyObjectsAsAWaitTakesMayBeNamed) {
    std::vector<std::unique_ptr<Handle>> owners;
    std::vector<void*> handles;
    for (uint32 i = 0; i < VXC_MAXIMUM_WAIT_OBJECTS; ++i) {
        owners.push_back(std::make_unique<Handle>(Named(L"many" + std::to_wstring(i))));
        handles.push_back(*owners.back());
    }
    for (const uint32 last : {0u, 31u, VXC_MAXIMUM_WAIT_OBJECTS - 1}) {
        const auto wait = WaitsForMany(handles, false);
        ASSERT_TRUE(AwaitSleepers(handles.back(), 1));
        VXC_SetEvent(handles[last]);
        EXPECT_EQ(wait->Result(), last);
    }
}

TEST(NamedWaitTest, AnEventMayStandInAWaitTwice) {
    const Handle named(Named(L"named"));
    const Handle local(AutoEvent());
    const auto wait = WaitsForMany({local, named, named, local}, false);
    ASSERT_TRUE(AwaitSleepers(named, 2));
    VXC_SetEvent(named);
    EXPECT_EQ(wait->Result(), 1u);
    EXPECT_EQ(SleepersOf(named), 0u);
    VXC_SetEvent(local);
    EXPECT_EQ(WaitAny({named, local, local}, VXC_INFINITE), 1u);
    EXPECT_FALSE(Poll(local));
}

TEST(NamedWaitTest, AWaitThatUsedUpTwoWakesHandsOnTheOneItDoesNotTake) {
    // The first wait sleeps on both events, and is the first to be woken for each of them.
    constexpr int kRounds = 300;
    const Handle one(Named(L"one"));
    const Handle two(Named(L"two"));
    for (int round = 0; round < kRounds; ++round) {
        std::atomic<pid_t> sleeper{0};
        WaitingThread both([&] {
            sleeper.store(static_cast<pid_t>(ThreadNumber()));
            return WaitAny({one, two}, 20'000);
        });
        ASSERT_TRUE(AwaitSleepers(two, 1));
        ASSERT_TRUE(Await([&] { return Sleeps(sleeper.load()); }));
        const auto second = WaitsForOne(two, 20'000);
        ASSERT_TRUE(AwaitSleepers(two, 2));
        VXC_SetEvent(one);
        VXC_SetEvent(two);
        const uint32 first = both.Result();
        if (first == 1) { // it took the second event: then the first one is there still
            ASSERT_TRUE(Poll(one));
            VXC_SetEvent(two);
        } else {
            ASSERT_EQ(first, 0u);
        }
        ASSERT_EQ(second->Result(), VXC_WAIT_OBJECT_0) << round;
    }
}

TEST(NamedWaitTest, OfTwoThatAreSignalledOneAfterTheOtherTheLowerOneEndsTheWait) {
    // Signalled in the order of their indexes: whenever the last is, the first one is as well. Those in
    // between leave time for both signals to come while the wait looks from one to the other.
    constexpr int kRounds = 20'000;
    const Handle named(Named(L"named"));
    const Handle local(AutoEvent());
    const Handle never(AutoEvent());
    for (const bool namedFirst : {true, false}) {
        std::vector<void*> handles(VXC_MAXIMUM_WAIT_OBJECTS, never);
        handles.front() = namedFirst ? named : local;
        handles.back() = namedFirst ? local : named;
        std::atomic<int> round{0};
        std::thread signaller([&] {
            for (int seen = 0; seen < kRounds;) {
                if (round.load() == seen) {
                    sched_yield();
                    continue;
                }
                seen = round.load();
                if (seen < kRounds) {
                    VXC_SetEvent(handles.front());
                    VXC_SetEvent(handles.back());
                }
            }
        });
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1'000);
        for (int i = 1; i < kRounds && std::chrono::steady_clock::now() < end && !HasFailure(); ++i) {
            round.store(i);
            uint32 result = VXC_WAIT_TIMEOUT;
            while (result == VXC_WAIT_TIMEOUT) {
                result = WaitAny(handles, i % 8 == 0 ? VXC_INFINITE : 0);
            }
            EXPECT_EQ(result, 0u) << i;
            EXPECT_EQ(WaitAny({result == 0 ? handles.back() : handles.front()}, VXC_INFINITE), 0u);
        }
        round.store(kRounds);
        signaller.join();
    }
}

TEST(NamedWaitTest, SignalsAtRandomAreEachTakenOnce) {
    // Each signal is sent when the one before it was taken, so each of them has to be taken.
    constexpr uint32 kEvents = 4;
    constexpr int kSignals = 5'000;
    std::vector<std::unique_ptr<Handle>> owners;
    std::vector<void*> events;
    for (uint32 i = 0; i < kEvents; ++i) {
        owners.push_back(
            std::make_unique<Handle>(i % 2 == 0 ? Named(L"random" + std::to_wstring(i)) : AutoEvent()));
        events.push_back(*owners.back());
    }
    const Handle quit(ManualEvent());
    std::atomic<int> taken[kEvents] = {};
    std::vector<std::thread> takers;
    for (uint32 t = 0; t < 4; ++t) {
        takers.emplace_back([&, t] {
            // Each in an order of its own, some without some of them; quit is the last.
            std::vector<uint32> order;
            for (uint32 i = 0; i < kEvents; ++i) {
                if (t < 2 || i % 2 == t % 2) {
                    order.push_back(t % 2 == 0 ? i : kEvents - 1 - i);
                }
            }
            std::vector<void*> handles;
            for (const uint32 event : order) {
                handles.push_back(events[event]);
            }
            handles.push_back(quit);
            for (uint32 turn = 0;; ++turn) {
                const uint32 result = WaitAny(handles, turn % 3 == 0 ? 1 : VXC_INFINITE);
                if (result == order.size()) {
                    return;
                }
                if (result < order.size()) {
                    taken[order[result]].fetch_add(1);
                } else {
                    ASSERT_EQ(result, VXC_WAIT_TIMEOUT);
                }
            }
        });
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1'500);
    std::vector<std::thread> senders;
    std::atomic<int> sent[kEvents] = {};
    for (uint32 i = 0; i < kEvents; ++i) {
        senders.emplace_back([&, i] {
            for (int n = 0; n < kSignals && std::chrono::steady_clock::now() < end; ++n) {
                VXC_SetEvent(events[i]);
                sent[i].store(n + 1);
                if (!Await([&] { return taken[i].load() == n + 1; })) {
                    ADD_FAILURE() << "signal " << n << " of event " << i << " was lost";
                    return;
                }
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    VXC_SetEvent(quit);
    for (std::thread& taker : takers) {
        taker.join();
    }
    for (uint32 i = 0; i < kEvents; ++i) {
        EXPECT_EQ(taken[i].load(), sent[i].load());
        EXPECT_GT(taken[i].load(), 0);
        EXPECT_FALSE(Poll(events[i]));
        if (i % 2 == 0) {
            EXPECT_EQ(SleepersOf(events[i]), 0u);
        } else {
            EXPECT_EQ(QueueOf(events[i]), 0u);
        }
    }
}

TEST(NamedWaitTest, TwoProcessesOfAnyWidthsHandOverWithoutLosingAWake) {
    constexpr const char* kRounds = "50000"; // by each of two threads
    for (const std::string& asker : Peers()) {
        for (const std::string& answerer : Peers()) {
            SCOPED_TRACE(asker + " and " + answerer);
            const std::wstring name = OwnName(L"pair");
            const std::string ask = std::string(name.begin(), name.end()) + "-ask";
            const std::string reply = std::string(name.begin(), name.end()) + "-reply";
            Peer answers(answerer, {"answer", ask, reply, kRounds});
            Peer asks(asker, {"ask", ask, reply, kRounds});
            EXPECT_EQ(asks.Result(), 0);
            EXPECT_EQ(answers.Result(), 0);
            for (const char* const event : {"-ask0", "-ask1", "-reply0", "-reply1"}) {
                const std::string narrow = event;
                const std::wstring whole = name + std::wstring(narrow.begin(), narrow.end());
                EXPECT_FALSE(IsFileThere(SharedPath(whole.c_str(), SharedKind::Event)));
            }
        }
    }
}
