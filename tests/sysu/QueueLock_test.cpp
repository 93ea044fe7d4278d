#include "sysu/posix/QueueLock.h"

#include <gtest/gtest.h>

#include <mutex>
#include <sched.h>
#include <thread>
#include <vector>

using namespace vxcio::sysu;

TEST(QueueLockTest, LetsOneInAtATimeAndForgetsNobodyWhoSleeps) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 5'000;
    QueueLock lock;
    int counter = 0; // guarded by the lock alone
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const std::lock_guard guard(lock);
                const int before = counter;
                if (round % 64 == 0) {
                    sched_yield(); // the others run into it and go to sleep
                }
                counter = before + 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, kThreads * kRounds);
}
