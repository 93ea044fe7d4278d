// SpinScore.h - whether it is worth while to look at an object for a while before sleeping, and how long.
//
// Each object keeps a score. A wait that ends within the first few microseconds of its look brings it up; a
// look in vain brings it down, and so does one that ended late: by then sleeping would have cost no more, and
// a partner that has to be woken each time is woken sooner where this thread gives up its core.
//
//      best     looks have always paid off of late: patient, so that one time at which the partner was kept
//               from running does not send both to sleep
//      between  a few microseconds
//      0        waits sleep at once; but one in kTryAgain looks, patiently, and if that pays off, even late,
//               the score is the best again
//
// Patience has to outlast the waking of a partner: two threads that answer each other fall asleep in turn
// otherwise, and then neither ever looks long enough to find out that they need not. Where a thread has one
// core alone, the partner cannot run while it looks: waits there ask UsableCores and never look.
//
// Any thread may call. The score is a guess: updates that get lost between threads do no harm.
#pragma once

#include "frame/Types.h"

#include <atomic>
#include <sched.h>

namespace vxcio::sysu {

// How long a wait looks before it sleeps, in nanoseconds. To wake a thread takes two to five microseconds on
// a bare machine and some twenty on a virtual one.
struct SpinLimits {
    uint64 few;     // between the scores; a look that lasts no longer has paid
    uint64 patient; // with the best score
    uint64 again;   // with score 0, now and then
};
inline constexpr SpinLimits kThreadSpin = {5'000, 40'000, 40'000};
// Behind a signal to another process that slept. Now and then long enough for what it may have to copy, so
// that both find out that they can stay awake.
inline constexpr SpinLimits kWokenPartnerSpin = {5'000, 40'000, 160'000};
// Behind a signal to one that looked: it is about to answer, and all there is to win is won by not sleeping.
inline constexpr SpinLimits kAwakePartnerSpin = {80'000, 160'000, 160'000};

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

    // How long the next wait looks, in nanoseconds; 0 for not at all.
    uint64 Patience(const SpinLimits& limits = kThreadSpin) noexcept {
        const uint32 score = m_score.load(std::memory_order_relaxed);
        if (score > 0) {
            return score >= kBest ? limits.patient : limits.few;
        }
        const uint32 slept = m_slept.load(std::memory_order_relaxed) + 1;
        m_slept.store(slept % kTryAgain, std::memory_order_relaxed);
        return slept == kTryAgain ? limits.again : 0;
    }

    // The partner was found awake: the next wait looks.
    void Encourage() noexcept {
        if (m_score.load(std::memory_order_relaxed) == 0) {
            m_score.store(1, std::memory_order_relaxed);
        }
    }

    // The wait ended after so long a look.
    void Paid(uint64 nanoseconds, const SpinLimits& limits = kThreadSpin) noexcept {
        const uint32 score = m_score.load(std::memory_order_relaxed);
        if (score > 0 && nanoseconds > limits.few) {
            m_score.store(score - 1, std::memory_order_relaxed);
            return;
        }
        // No write where nothing changes: the line is the one the partners hand to each other.
        if (score < kBest) {
            m_score.store(score == 0 ? kBest : score + 1, std::memory_order_relaxed);
        }
    }

    void InVain() noexcept {
        const uint32 score = m_score.load(std::memory_order_relaxed);
        if (score > 0) {
            m_score.store(score >= kBest ? kBest / 2 : score - 1, std::memory_order_relaxed);
        }
    }

    // 0 to kBest.
    uint32 Score() const noexcept { return m_score.load(std::memory_order_relaxed); }

private:
    std::atomic<uint32> m_score{kBest / 2};
    std::atomic<uint32> m_slept{0}; // waits since the last look, at score 0
};

} // namespace vxcio::sysu
