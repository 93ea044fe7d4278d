// TestClockState.h - the part of a test clock that calls in flight hold on to. Inner header of the forwarding
// layer; tests use TestClock.h.
#pragma once

#include "support/ForwardingHooks.h"

#include <condition_variable>
#include <list>
#include <mutex>
#include <vector>

namespace vxcio::test::forwarding {

// One sleep or wait that stands; lives on the stack of its thread, from which it is taken out under the
// mutex.
struct Sleeper {
    uint64 deadline;
    void* alarm; // event that ends the wait; null for a sleep, which watches `due`
    bool due = false;
};

//   thread that waits                     clock
//   poll: nothing signalled
//   make alarm, enter the list   <------  WaitForSleepers sees it
//   real wait: objects + alarm   <------  Advance: limit reached, leaves the list, alarm set
//   leave the list, close alarm           (under the mutex: an alarm in the list is open)
class ClockState {
public:
    explicit ClockState(uint32 startTicks) : m_now(startTicks) {}

    uint64 Now() const;
    void Sleep(uint32 milliseconds);
    // `count` objects; all of them or any.
    uint32 Wait(uint32 count, void* const* handles, bool waitAll, uint32 milliseconds);

    int Advance(uint64 milliseconds);
    std::optional<uint64> NextDeadline() const;
    int Sleepers() const;
    bool WaitForSleepers(int n);
    int Begun() const;
    bool WaitForBegun(int n);
    void AutoAdvance(bool on);
    void AutoAdvanceSleeps(bool on);
    std::vector<uint32> Sleeps() const;
    std::vector<uint32> Waits() const;
    bool WaitForSleeps(std::size_t n);
    // Everything that stands goes, and nothing stands again.
    void End();

private:
    // These with m_mutex held.
    int MoveTo(uint64 time);
    void Wake(Sleeper& sleeper);
    void Enter(Sleeper& sleeper);

    bool IsDue(const Sleeper& sleeper) const;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    // Guarded by m_mutex.
    uint64 m_now;
    bool m_autoAdvance = false;
    bool m_autoAdvanceSleeps = false;
    bool m_ended = false;
    int m_begun = 0;
    std::list<Sleeper*> m_sleepers;
    std::vector<uint32> m_sleeps;
    std::vector<uint32> m_waits;
};

} // namespace vxcio::test::forwarding
