// SpinScore.h - whether it is worth while to look at an object for a few microseconds before sleeping.
//
// Each object keeps a score. A wait that ended while it was looking brings it up, and so does one that slept
// but was signalled so soon that looking would have caught it; a look in vain brings it down. At 0 waits
// sleep at once, and only one in kTryAgain looks all the same, to find out whether times have changed. Where
// a thread has one core alone, the partner cannot run while it looks: it never does.
//
// Any thread may call. The score is a guess: updates that get lost between threads do no harm.
#pragma once

#include "frame/Types.h"

#include <atomic>
#include <sched.h>

namespace vxcio::sysu {

// How long a wait looks before it sleeps.
inline constexpr uint64 kSpinNanoseconds = 5000;

// Cores on which the calling thread may run.
inline uint32 UsableCores() noexcept {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    if (sched_getaffinity(0, sizeof cores, &cores) != 0) {
        // Fails on machines with more cores than the set holds, which certainly have two.
        return 2;
    }
    return static_cast<uint32>(CPU_COUNT(&cores));
}

// Tells the core that this thread only looks, which leaves power and the memory bus to others.
inline void SpinPause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield" ::: "memory");
#endif
}

class SpinScore {
public:
    static constexpr uint32 kBest = 8;
    static constexpr uint32 kTryAgain = 32;

    // Whether the next wait looks first.
    bool ShouldSpin(uint32 cores) noexcept {
        if (cores < 2) {
            return false;
        }
        if (m_score.load(std::memory_order_relaxed) > 0) {
            return true;
        }
        const uint32 skipped = m_skipped.load(std::memory_order_relaxed) + 1;
        m_skipped.store(skipped % kTryAgain, std::memory_order_relaxed);
        return skipped == kTryAgain;
    }

    void Paid() noexcept {
        const uint32 score = m_score.load(std::memory_order_relaxed);
        // No write where nothing changes: the line is the one the partners hand to each other.
        if (score < kBest) {
            m_score.store(score + 1, std::memory_order_relaxed);
        }
    }

    void InVain() noexcept {
        const uint32 score = m_score.load(std::memory_order_relaxed);
        if (score > 0) {
            m_score.store(score - 1, std::memory_order_relaxed);
        }
    }

private:
    std::atomic<uint32> m_score{kBest};
    std::atomic<uint32> m_skipped{0};
};

} // namespace vxcio::sysu
