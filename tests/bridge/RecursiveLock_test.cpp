#include "bridge/RecursiveLock.h"

#include "bridge/InteracterImpl.h"
#include "support/Bounded.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;

namespace {

Ref<RecursiveLock> MakeLock() {
    return Ref<RecursiveLock>::Adopt(new RecursiveLock);
}

template <class Work>
std::future<void> OnThread(Work work) {
    return std::async(std::launch::async, std::move(work));
}

bool Ends(const std::future<void>& thread) {
    return thread.wait_until(std::chrono::system_clock::now() + kHangLimit) == std::future_status::ready;
}

// Enters and leaves on another thread.
template <class Lock>
std::future<void> EnteringOnce(Lock& lock) {
    return OnThread([&lock] {
        lock->Enter();
        lock->Leave();
    });
}

void WaitForWaiter(RecursiveLock& lock) {
    while (lock.Waiting() == 0) {
        std::this_thread::yield();
    }
}

} // namespace

TEST(RecursiveLockTest, ItsHolderEntersAgainAndLeavesAsOften) {
    const Ref<RecursiveLock> lock = MakeLock();
    lock->Enter();
    lock->Enter();
    std::future<void> other = EnteringOnce(lock);
    WaitForWaiter(*lock);
    lock->Leave();
    EXPECT_EQ(lock->Waiting(), 1u); // it is still held once
    lock->Leave();
    EXPECT_TRUE(Ends(other));
}

TEST(RecursiveLockTest, AForeignLeaveChangesNothing) {
    const Ref<RecursiveLock> lock = MakeLock();
    lock->Leave();
    lock->Enter();
    ASSERT_TRUE(Ends(OnThread([&lock] { lock->Leave(); })));
    std::future<void> other = EnteringOnce(lock);
    WaitForWaiter(*lock);
    lock->Leave();
    EXPECT_TRUE(Ends(other));
    lock->Leave(); // one too many
    EXPECT_TRUE(Ends(EnteringOnce(lock)));
}

TEST(RecursiveLockTest, AWaiterEndsWhenTheLockGoes) {
    Ref<RecursiveLock> lock = MakeLock();
    lock->Enter();
    std::future<void> other = OnThread([held = lock] {
        held->Enter();
        held->Leave();
    });
    WaitForWaiter(*lock);
    lock->Close();
    lock.Reset();
    EXPECT_TRUE(Ends(other));
}

TEST(RecursiveLockTest, OneThreadAtATimeIsInside) {
    const Ref<RecursiveLock> lock = MakeLock();
    int inside = 0; // the thread sanitizer looks at it as well
    const auto count = [&] {
        for (int i = 0; i < 5000; ++i) {
            lock->Enter();
            lock->Enter();
            ++inside;
            lock->Leave();
            lock->Leave();
        }
    };
    std::future<void> first = OnThread(count);
    std::future<void> second = OnThread(count);
    first.get();
    second.get();
    EXPECT_EQ(inside, 10000);
}

TEST(InteracterLockTest, AChannelsLockIsRecursiveAndForItsHolderAlone) {
    CVXCInteracterImpl channel(VXC_INTERACTER_SENDER);
    channel.Lock();
    channel.Lock();
    ASSERT_TRUE(Ends(OnThread([&channel] { channel.Unlock(); })));
    std::promise<void> entered;
    std::future<void> isIn = entered.get_future();
    std::future<void> other = OnThread([&] {
        channel.Lock();
        entered.set_value();
        channel.Unlock();
    });
    channel.Unlock();
    // A thread that only began may not have come to the lock; but if it had got in, it would say so.
    EXPECT_EQ(isIn.wait_for(std::chrono::milliseconds(2)), std::future_status::timeout);
    channel.Unlock();
    EXPECT_TRUE(Ends(other));
}

TEST(InteracterLockTest, AChannelMayBeDeletedWhileAnotherThreadHoldsItsLock) {
    CVXCInteracter* const channel = ConstructVXCInteratcter(VXC_INTERACTER_SENDER);
    ASSERT_TRUE(Ends(OnThread([channel] { channel->Lock(); })));
    EXPECT_EQ(DeleteVXCInteratcter(channel), 0);
}
