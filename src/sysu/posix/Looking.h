// Looking.h - looking at something for a while before sleeping for it.
#pragma once

#include "frame/Types.h"
#include "sysu/posix/Clock.h"
#include "sysu/posix/SpinScore.h"

namespace vxcio::sysu {

// Cores of this thread as last seen: asked once, and again after each look in vain, on the way to sleep.
inline constinit thread_local uint32 t_cores = 0;

// Looks between two glances at the clock.
inline constexpr int kLooksPerClock = 16;

// Calls `attempt` until it gives true or patience ends. False at once where looking does not pay.
template <class Attempt>
bool LookAWhile(SpinScore& spin, Attempt attempt, const SpinLimits& limits = kThreadSpin) noexcept {
    const uint64 patience = spin.Patience(limits);
    if (patience == 0) {
        return false;
    }
    if (t_cores == 0) {
        t_cores = UsableCores();
    }
    if (t_cores < 2) {
        return false;
    }
    const uint64 start = MonotonicNanoseconds();
    uint64 looked = 0; // at the last glance at the clock
    do {
        for (int look = 0; look < kLooksPerClock; ++look) {
            SpinPause();
            if (attempt()) {
                spin.Paid(looked, limits);
                return true;
            }
        }
        looked = MonotonicNanoseconds() - start;
    } while (looked < patience);
    spin.InVain();
    t_cores = UsableCores();
    return false;
}

} // namespace vxcio::sysu
