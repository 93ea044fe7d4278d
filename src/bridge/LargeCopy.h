// LargeCopy.h - copying a large piece to memory that another process is going to read.
//
// Ordinary stores take each line of the target away from the core that read it the last time, one after the
// other; where the two cores are far from each other that takes ten times as long as the copy. Stores past
// the cache need not ask for the lines, but take twice as long where both sides run on one core or near each
// other. Nobody tells which it is, so copies are timed: CopyChoice is what came of it.
#pragma once

#include "frame/Types.h"

#include <atomic>
#include <cstddef>

namespace vxcio {

// Which way the next large copy goes. Any thread; updates that get lost do no harm.
class CopyChoice {
public:
    // Copies past the cache between two ordinary ones that find out whether they are faster by now.
    static constexpr uint32 kTryAgain = 64;
    // Bytes that an ordinary copy moves in a nanosecond; fewer is slow.
    static constexpr uint64 kBytesPerNanosecond = 12;

    // True for past the cache.
    bool Next() noexcept {
        const uint32 left = m_left.load(std::memory_order_relaxed);
        if (left == 0) {
            return false;
        }
        m_left.store(left - 1, std::memory_order_relaxed);
        return true;
    }

    // An ordinary copy took so long. One that is slow by itself may have been kept from running, or have met
    // fresh memory; two in a row, or one that was a try, were not.
    void Took(std::size_t bytes, uint64 nanoseconds) noexcept {
        const bool slow = nanoseconds * kBytesPerNanosecond > bytes;
        if (slow && m_doubt.load(std::memory_order_relaxed)) {
            m_left.store(kTryAgain, std::memory_order_relaxed);
        }
        m_doubt.store(slow, std::memory_order_relaxed);
    }

private:
    std::atomic<uint32> m_left{0};
    std::atomic<bool> m_doubt{false};
};

// As memmove. Ordered like any copy: ahead of a signal that follows.
void CopyForAnotherCore(unsigned char* to, const unsigned char* from, std::size_t bytes) noexcept;

// For pieces that do not overlap. False, with nothing done, where the processor has no such stores.
bool CopyPastTheCache(unsigned char* to, const unsigned char* from, std::size_t bytes) noexcept;

} // namespace vxcio
