// RecursiveLock.h - the lock of a channel, for its owner's threads.
#pragma once

#include "frame/Counted.h"
#include "frame/Types.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace vxcio {

// The thread that holds it may enter again, and leaves as often; who leaves without holding it changes
// nothing. Shared between the channel and the threads that wait, so that it is there to the end of their
// waits.
class RecursiveLock : public Counted<RecursiveLock> {
public:
    void Enter() {
        std::unique_lock lock(m_mutex);
        const std::thread::id me = std::this_thread::get_id();
        if (m_depth != 0 && m_owner != me) {
            ++m_waiting;
            m_left.wait(lock, [this] { return m_depth == 0 || m_closed; });
            --m_waiting;
            if (m_closed) {
                return;
            }
        }
        m_owner = me;
        ++m_depth;
    }

    void Leave() {
        {
            const std::lock_guard lock(m_mutex);
            if (m_depth == 0 || m_owner != std::this_thread::get_id() || --m_depth != 0) {
                return;
            }
        }
        m_left.notify_one();
    }

    // Lets go of all who wait: what they waited for has gone.
    void Close() {
        {
            const std::lock_guard lock(m_mutex);
            m_closed = true;
        }
        m_left.notify_all();
    }

    // Whether nobody holds it or waits for it now.
    bool IsIdle() {
        const std::lock_guard lock(m_mutex);
        return m_depth == 0 && m_waiting == 0;
    }

    // Threads that wait for it now; for tests, as it may have changed when it is told.
    uint32 Waiting() {
        const std::lock_guard lock(m_mutex);
        return m_waiting;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_left;
    std::thread::id m_owner; // meaningful while m_depth is not 0
    uint32 m_depth = 0;
    uint32 m_waiting = 0;
    bool m_closed = false;
};

} // namespace vxcio
