// TestClock.h - time that moves only when a test says so.
//
//   TestClock clock;
//   ... start a thread that waits 15 seconds for a disk ...
//   ASSERT_TRUE(clock.WaitForSleepers(1));
//   clock.Advance(15000);
#pragma once

#include "support/ForwardingLayer.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace vxcio::test {

namespace forwarding {
class ClockState;
}

// While it lives VXC_GetTickCount, the performance counter, VXC_Sleep and every wait with a limit other than
// 0 and infinite run on it, on all threads; one at a time. Waits keep their meaning: an object that is
// signalled ends them at once and comes before the limit. Any thread may call its functions.
//
// The destructor lets all that wait on it end as if their limit had passed.
class TestClock {
public:
    // Where the tick count begins; near 0xFFFFFFFF it wraps as the real one does after 49 days.
    explicit TestClock(uint32 startTicks = 1'000'000);
    ~TestClock();
    TestClock(const TestClock&) = delete;
    TestClock& operator=(const TestClock&) = delete;

    // Milliseconds. Not cut to 32 bits.
    uint64 Now() const;

    // Moves the time. The number of sleeps and waits whose limit was reached; they do not count as sleepers
    // any more when this returns, even where their threads have not run yet.
    int Advance(uint64 milliseconds);

    // When the next of them ends, in the time of Now().
    std::optional<uint64> NextDeadline() const;

    // Sleeps and waits that stand at this moment. A wait whose object was signalled counts until its thread
    // has run; where that matters, count the beginnings.
    int Sleepers() const;
    // Blocks until at least so many stand. False when they did not come (Bounded.h).
    [[nodiscard]] bool WaitForSleepers(int n);

    // Sleeps and waits that have begun to stand since the clock was made, and the same wait for it.
    int Begun() const;
    [[nodiscard]] bool WaitForBegun(int n);

    // When on, a sleep, and a wait with a limit that finds nothing signalled, moves the time to its own end
    // instead of standing. What stands already stays until the time gets there.
    void AutoAdvance(bool on);
    // The same for sleeps alone: a wait stands until the time gets to its limit.
    void AutoAdvanceSleeps(bool on);

    // The lengths of all calls of VXC_Sleep, in the order in which they began; and of all waits with a limit
    // that found nothing signalled.
    std::vector<uint32> Sleeps() const;
    std::vector<uint32> Waits() const;
    // Blocks until so many of those sleeps have begun.
    [[nodiscard]] bool WaitForSleeps(std::size_t n);

private:
    std::shared_ptr<forwarding::ClockState> m_state; // calls in flight hold it too
};

} // namespace vxcio::test
