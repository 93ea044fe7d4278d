// Futex.h - sleeping on a word until somebody wakes it: a word of this process, or one that processes share.
//
// The bare system call and not std::atomic::wait: that one has no limit of time and spins as it likes. What
// a sleeper may read afterwards is ordered by the atomic word alone, never by the wake. The layout of what
// the kernel reads is the same in 32-bit processes.
#pragma once

#include "frame/Types.h"
#include "sysu/posix/Clock.h"

#include <atomic>
#include <cerrno>
#include <linux/futex.h>
#include <linux/time_types.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vxcio::sysu {

static_assert(sizeof(std::atomic<uint32>) == sizeof(uint32), "the system looks at the bare word");

// Who may sleep on the word.
enum class FutexScope : int {
    Process = FUTEX_PRIVATE_FLAG,
    Machine = 0, // everybody who maps the memory
};

// A limit as the kernel takes it: 64 bits in every process, null for none.
class FutexLimit {
public:
    explicit FutexLimit(uint64 deadline) noexcept : m_none(deadline == kNoDeadline) {
        m_until.tv_sec = static_cast<decltype(m_until.tv_sec)>(deadline / 1'000'000'000);
        m_until.tv_nsec = static_cast<decltype(m_until.tv_nsec)>(deadline % 1'000'000'000);
    }
    const __kernel_timespec* Get() const noexcept { return m_none ? nullptr : &m_until; }

private:
    __kernel_timespec m_until{};
    bool m_none;
};

// The call whose limit has 64 bits; older systems of 32 bits have another one besides.
#ifdef SYS_futex_time64
inline constexpr long kFutexCall = SYS_futex_time64;
#else
inline constexpr long kFutexCall = SYS_futex;
#endif

// Sleeps while `word` holds `expected`, at the most until `deadline` of MonotonicNanoseconds. False when the
// deadline came; true otherwise, which may be for no reason: look at the word again.
inline bool FutexWait(std::atomic<uint32>& word, uint32 expected, uint64 deadline,
                      FutexScope scope = FutexScope::Process) noexcept {
    const FutexLimit limit(deadline);
    const long result =
        syscall(kFutexCall, static_cast<void*>(&word), FUTEX_WAIT_BITSET | static_cast<int>(scope), expected,
                limit.Get(), nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

// Wakes one sleeper. The word may be gone already: only its address counts, and who sleeps there for
// another reason takes it as a wake for no reason.
inline void FutexWakeOne(void* word, FutexScope scope = FutexScope::Process) noexcept {
    syscall(kFutexCall, word, FUTEX_WAKE | static_cast<int>(scope), 1, nullptr, nullptr, 0);
}

} // namespace vxcio::sysu
