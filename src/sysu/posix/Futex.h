// Futex.h - sleeping on a word of this process until somebody wakes it.
//
// The bare system call and not std::atomic::wait: that one has no limit of time and spins as it likes. What
// a sleeper may read afterwards is ordered by the atomic word alone, never by the wake.
#pragma once

#include "frame/Types.h"
#include "sysu/posix/Clock.h"

#include <atomic>
#include <cerrno>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace vxcio::sysu {

static_assert(sizeof(std::atomic<uint32>) == sizeof(uint32), "the system looks at the bare word");

// Sleeps while `word` holds `expected`, at the most until `deadline` of MonotonicNanoseconds. False when the
// deadline came; true otherwise, which may be for no reason: look at the word again.
inline bool FutexWait(std::atomic<uint32>& word, uint32 expected, uint64 deadline) noexcept {
    timespec until = {};
    const timespec* limit = nullptr;
    if (deadline != kNoDeadline) {
        until.tv_sec = static_cast<time_t>(deadline / 1'000'000'000);
        until.tv_nsec = static_cast<long>(deadline % 1'000'000'000);
        limit = &until;
    }
    const long result = syscall(SYS_futex, static_cast<void*>(&word), FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG,
                                expected, limit, nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

// Wakes one sleeper. The word may be gone already: only its address counts, and who sleeps there for
// another reason takes it as a wake for no reason.
inline void FutexWakeOne(void* word) noexcept {
    syscall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, 1, nullptr, nullptr, 0);
}

} // namespace vxcio::sysu
