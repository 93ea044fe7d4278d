// Weather.h - what the disks of one round are like: a calm one has none of it, in a rough one reads fail,
// come up short and hang while the time runs fast.
#pragma once

#include "support/FaultPlan.h"
#include "support/Gate.h"
#include "support/TestClock.h"

#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace vxcio::stress {

// One at a time. Any thread may call its functions; they do nothing in a calm one.
//
// In a rough one a thread of its own ticks once a millisecond: it moves the clock on which all waits with a
// limit run, and opens the gates whose time has come, so that nothing hangs for good.
class Weather {
public:
    // Milliseconds by which a tick moves the clock; 0 for a calm one, which runs on the real clock.
    explicit Weather(uint32 clockStep);
    ~Weather();
    Weather(const Weather&) = delete;
    Weather& operator=(const Weather&) = delete;

    bool IsRough() const { return m_plan.has_value(); }

    // Adds a rule and gives its number.
    std::size_t Add(const test::FaultRule& rule);
    // Adds a rule that holds calls for so many ticks.
    void Hold(test::Op op, const std::wstring& nameEnd, int nth, bool fromThenOn, bool afterEffect,
              int ticks);
    void Remove(std::size_t rule);
    // Moves the clock so far that every limit which runs is over.
    void PassAllLimits();
    // Opens the gates of this name now.
    void OpenGates(const std::wstring& nameEnd);

private:
    struct Held {
        std::wstring nameEnd;
        std::size_t rule;
        int ticks;
        std::unique_ptr<test::Gate> gate;
    };

    void Tick();
    void Run();

    std::optional<test::TestClock> m_clock;
    std::optional<test::FaultPlan> m_plan;
    const uint32 m_clockStep;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isOver = false; // guarded by m_mutex, as the list
    std::list<Held> m_held;
    std::thread m_ticker;
};

} // namespace vxcio::stress
