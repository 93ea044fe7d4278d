// AnswerLook.h - looking for an answer for a while before sleeping until it is told of.
//
// A large transfer from the system's cache takes about as long as it takes to wake a thread, and longer than
// an event is looked at before its waiter sleeps. So who waits for one looks for its answer a little longer,
// as long as that pays off.
#pragma once

#include "frame/Types.h"

#include <algorithm>
#include <chrono>

namespace vxcio {

// One for each partner; one thread at a time.
class AnswerLook {
public:
    // Bytes from which on a transfer is large.
    static constexpr uint32 kLargeTransfer = 64 * 1024;
    // After so many vain looks the waits without one grow no more.
    static constexpr uint32 kMostVainLooks = 8;

    // True as soon as `isThere` says so. False when it did not for a while, or at once: after each vain look
    // twice as many waits go without one, as a look costs a processor.
    template <class IsThere>
    bool Succeeds(IsThere isThere) noexcept {
        if (m_nLooksToSkip > 0) {
            --m_nLooksToSkip;
            return false;
        }
        const auto end = std::chrono::steady_clock::now() + kLook;
        do {
            if (isThere()) {
                m_nVainLooks = 0;
                return true;
            }
        } while (std::chrono::steady_clock::now() < end);
        m_nVainLooks = std::min(m_nVainLooks + 1, kMostVainLooks);
        m_nLooksToSkip = 1u << m_nVainLooks;
        return false;
    }

private:
    // Longer than 1 MiB takes from the system's cache, far shorter than it takes from a disk that turns.
    static constexpr std::chrono::microseconds kLook{200};

    uint32 m_nVainLooks = 0; // in a row
    uint32 m_nLooksToSkip = 0;
};

} // namespace vxcio
