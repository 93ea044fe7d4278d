// QueueLock.h - the lock of the queues of all objects that can be waited for.
//
// A mutex of one word, inline: a partner that slept for a while comes back to cold caches, and each function
// of another library on the way to its wake is felt there. Held for a few steps only, never across a system
// call that may block. Not recursive, in no order with other locks: nothing else is locked under it.
//
// std::lock_guard works with it, hence the names of its operations.
#pragma once

#include "frame/Types.h"
#include "sysu/posix/Futex.h"

#include <atomic>

namespace vxcio::sysu {

class QueueLock {
public:
    constexpr QueueLock() noexcept = default;
    QueueLock(const QueueLock&) = delete;
    QueueLock& operator=(const QueueLock&) = delete;

    void lock() noexcept {
        uint32 state = kFree;
        if (!m_state.compare_exchange_strong(state, kHeld)) {
            LockSlowly();
        }
    }

    void unlock() noexcept {
        if (m_state.exchange(kFree) == kWanted) {
            FutexWakeOne(&m_state);
        }
    }

private:
    static constexpr uint32 kFree = 0;
    static constexpr uint32 kHeld = 1;
    static constexpr uint32 kWanted = 2; // held, and somebody may sleep for it

    void LockSlowly() noexcept {
        // Who slept cannot know whether others still do, and takes it as wanted.
        while (m_state.exchange(kWanted) != kFree) {
            FutexWait(m_state, kWanted, kNoDeadline);
        }
    }

    std::atomic<uint32> m_state{kFree};
};

} // namespace vxcio::sysu
