// Many threads at once. Each test ends after a number of rounds, or earlier by the clock on a slow machine;
// what a lost or doubled signal would do is a hang or a wrong count. The plain variables are guarded by the
// events alone, so a run with the thread sanitizer proves the order that the events give.
#include "WaitHelpers.h"

using namespace waittest;

namespace {

class Limit {
public:
    bool IsOver() const { return std::chrono::steady_clock::now() > m_end; }

private:
    std::chrono::steady_clock::time_point m_end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(700);
};

// Cheap, repeatable numbers.
class Numbers {
public:
    explicit Numbers(uint32 seed) : m_state(seed * 2654435761u + 1) {}
    uint32 Below(uint32 limit) {
        m_state = m_state * 1664525u + 1013904223u;
        return (m_state >> 8) % limit;
    }

private:
    uint32 m_state;
};

} // namespace

TEST(WaitStressTest, HandOverThereAndBack) {
    constexpr int kRounds = 100'000;
    const Handle question(AutoEvent());
    const Handle answer(AutoEvent());
    int box = 0; // belongs to whom the last event woke
    bool over = false;
    std::thread partner([&] {
        for (;;) {
            EXPECT_EQ(VXC_WaitForSingleObject(question, VXC_INFINITE), VXC_WAIT_OBJECT_0);
            if (over) {
                return;
            }
            ++box;
            VXC_SetEvent(answer);
        }
    });
    const Limit limit;
    int rounds = 0;
    while (rounds < kRounds && !limit.IsOver()) {
        VXC_SetEvent(question);
        ASSERT_EQ(VXC_WaitForSingleObject(answer, VXC_INFINITE), VXC_WAIT_OBJECT_0);
        ++rounds;
        ASSERT_EQ(box, rounds);
    }
    over = true;
    VXC_SetEvent(question);
    partner.join();
}

TEST(WaitStressTest, HandOverBetweenManyThroughWaitsForAny) {
    // One token goes round; each thread waits for its own event or the end.
    constexpr std::size_t kThreads = 6;
    const Handle quit(ManualEvent());
    std::vector<std::unique_ptr<Handle>> turns;
    for (std::size_t i = 0; i < kThreads; ++i) {
        turns.push_back(std::make_unique<Handle>(AutoEvent()));
    }
    constexpr uint64 kSteps = 50'000;
    uint64 steps = 0; // belongs to whose turn it is
    const Limit limit;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            void* const both[] = {quit, *turns[i]};
            uint64 mine = 0;
            while (VXC_WaitForMultipleObjects(2, both, 0, VXC_INFINITE) == 1) {
                ASSERT_EQ(steps, mine * kThreads + i);
                ++mine;
                ++steps;
                if (i + 1 == kThreads && (steps >= kSteps || limit.IsOver())) {
                    VXC_SetEvent(quit);
                } else {
                    VXC_SetEvent(*turns[(i + 1) % kThreads]);
                }
            }
        });
    }
    VXC_SetEvent(*turns[0]);
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(steps % kThreads, 0u);
}

TEST(WaitStressTest, MixedWaitsTakeEveryEventExactlyOnce) {
    // Each auto-reset event is the right to its counter: taken by one, given back by the same.
    constexpr uint32 kEvents = 4;
    constexpr uint32 kThreads = 8;
    constexpr int kRounds = 20'000;
    std::vector<std::unique_ptr<Handle>> owners;
    std::vector<void*> events;
    for (uint32 i = 0; i < kEvents; ++i) {
        owners.push_back(std::make_unique<Handle>(AutoEvent(true)));
        events.push_back(*owners.back());
    }
    uint64 counters[kEvents] = {};
    std::atomic<uint64> taken{0};
    const Limit limit;
    const auto use = [&](uint32 event) {
        ++counters[event];
        taken.fetch_add(1, std::memory_order_relaxed);
    };
    std::vector<std::thread> threads;
    for (uint32 t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            Numbers numbers(t);
            for (int round = 0; round < kRounds && !limit.IsOver(); ++round) {
                const uint32 from = numbers.Below(kEvents);
                const uint32 count = 1 + numbers.Below(kEvents - from);
                const uint32 times[] = {0, 1, VXC_INFINITE};
                const uint32 time = times[numbers.Below(3)];
                const bool all = numbers.Below(2) != 0;
                const uint32 result =
                    count == 1 ? VXC_WaitForSingleObject(events[from], time)
                               : VXC_WaitForMultipleObjects(count, &events[from], all ? 1 : 0, time);
                if (result == VXC_WAIT_TIMEOUT) {
                    ASSERT_NE(time, VXC_INFINITE);
                    continue;
                }
                ASSERT_LT(result, count);
                const uint32 first = all ? from : from + result;
                const uint32 last = all ? from + count - 1 : first;
                for (uint32 event = first; event <= last; ++event) {
                    use(event);
                }
                if (numbers.Below(4) == 0) {
                    sched_yield(); // the others find it taken and queue up
                }
                for (uint32 event = last + 1; event-- > first;) {
                    VXC_SetEvent(events[event]);
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    uint64 sum = 0;
    for (uint32 i = 0; i < kEvents; ++i) {
        sum += counters[i];
        EXPECT_EQ(QueueOf(events[i]), 0u);
        EXPECT_TRUE(Poll(events[i]));
    }
    EXPECT_EQ(sum, taken.load());
    EXPECT_GT(sum, 0u);
}

TEST(WaitStressTest, PulsesOfAManualResetEventFreeEverybodyWhoWaits) {
    constexpr uint32 kThreads = 5;
    constexpr int kRounds = 2'000;
    const Handle pulse(ManualEvent());
    std::atomic<int> freed{0};
    std::atomic<int> finished{0}; // rounds
    std::atomic<bool> over{false};
    std::vector<std::thread> threads;
    for (uint32 i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 1;; ++round) {
                EXPECT_EQ(VXC_WaitForSingleObject(pulse, VXC_INFINITE), VXC_WAIT_OBJECT_0);
                if (over.load()) {
                    return;
                }
                freed.fetch_add(1);
                // Not back before the pulse is over, or it would be freed twice.
                EXPECT_TRUE(Await([&] { return finished.load() >= round; }));
            }
        });
    }
    const Limit limit;
    for (int round = 1; round <= kRounds && !limit.IsOver(); ++round) {
        ASSERT_TRUE(AwaitQueue(pulse, kThreads));
        VXC_SetEvent(pulse);
        VXC_ResetEvent(pulse);
        ASSERT_TRUE(Await([&] { return freed.load() == round * static_cast<int>(kThreads); }));
        finished.store(round);
    }
    over.store(true);
    VXC_SetEvent(pulse);
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(WaitStressTest, WhoIsFreedMayCloseTheEventAtOnce) {
    // The signal may still be on its way back when the event is gone. Waits in turn sleep, look and poll.
    constexpr int kRounds = 20'000;
    const Handle hasWork(AutoEvent());
    const Handle quit(AutoEvent());
    std::atomic<void*> work{nullptr};
    std::thread signaller([&] {
        void* const both[] = {quit, hasWork};
        while (VXC_WaitForMultipleObjects(2, both, 0, VXC_INFINITE) == 1) {
            VXC_SetEvent(work.load());
        }
    });
    const Limit limit;
    const Handle never(AutoEvent());
    for (int round = 0; round < kRounds && !limit.IsOver(); ++round) {
        void* event = round % 2 == 0 ? AutoEvent() : ManualEvent();
        void* const both[] = {never, event};
        work.store(event);
        VXC_SetEvent(hasWork);
        switch (round % 3) {
        case 0:
            ASSERT_EQ(VXC_WaitForSingleObject(event, VXC_INFINITE), VXC_WAIT_OBJECT_0);
            break;
        case 1:
            ASSERT_EQ(VXC_WaitForMultipleObjects(2, both, 0, VXC_INFINITE), 1u);
            break;
        default:
            while (!Poll(event)) {
                sched_yield();
            }
            break;
        }
        ASSERT_EQ(VXC_CloseHandle(event), 1);
    }
    VXC_SetEvent(quit);
    signaller.join();
}

TEST(WaitStressTest, TimeOutsRaceWithSignalsAndLoseNone) {
    // A signal either ends the wait or is still there after its time-out.
    constexpr int kRounds = 300;
    const Handle event(AutoEvent());
    const Handle other(AutoEvent());
    const Handle go(AutoEvent());
    std::atomic<bool> over{false};
    std::atomic<int> sent{0};
    std::thread signaller([&] {
        while (VXC_WaitForSingleObject(go, VXC_INFINITE) == VXC_WAIT_OBJECT_0 && !over.load()) {
            const auto start = std::chrono::steady_clock::now();
            while (std::chrono::steady_clock::now() - start < std::chrono::microseconds(1000)) {
                sched_yield();
            }
            VXC_SetEvent(event);
            sent.fetch_add(1);
        }
    });
    const Limit limit;
    int rounds = 0;
    int got = 0;
    while (rounds < kRounds && !limit.IsOver()) {
        VXC_SetEvent(go);
        ++rounds;
        void* const both[] = {other, event};
        const uint32 result = VXC_WaitForMultipleObjects(2, both, 0, 1);
        ASSERT_TRUE(result == 1 || result == VXC_WAIT_TIMEOUT);
        got += result == 1 ? 1 : 0;
        ASSERT_TRUE(Await([&] { return sent.load() == rounds; }));
        if (result == VXC_WAIT_TIMEOUT) {
            ASSERT_TRUE(Poll(event));
            ++got;
        }
        ASSERT_FALSE(Poll(event));
    }
    EXPECT_EQ(got, rounds);
    over.store(true);
    VXC_SetEvent(go);
    signaller.join();
}

TEST(WaitStressTest, ThreadsComeAndGo) {
    constexpr int kRounds = 300;
    const Limit limit;
    std::atomic<uint32> runs{0};
    const auto entry = [](void* argument) -> uint32 {
        return static_cast<std::atomic<uint32>*>(argument)->fetch_add(1);
    };
    uint32 started = 0;
    for (int round = 0; round < kRounds && !limit.IsOver(); ++round) {
        void* threads[4] = {};
        for (void*& thread : threads) {
            thread = VXC_CreateThread(nullptr, 0, entry, &runs, round % 2 == 0 ? VXC_CREATE_SUSPENDED : 0,
                                      nullptr);
            ASSERT_NE(thread, nullptr);
            VXC_ResumeThread(thread);
            ++started;
        }
        ASSERT_EQ(VXC_WaitForMultipleObjects(4, threads, 1, VXC_INFINITE), VXC_WAIT_OBJECT_0);
        ASSERT_EQ(runs.load(), started);
        for (void* thread : threads) {
            ASSERT_EQ(VXC_CloseHandle(thread), 1);
        }
    }
}
