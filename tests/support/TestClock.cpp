#include "support/TestClock.h"

#include "support/TestClockState.h"

#include <cstdio>
#include <cstdlib>

namespace vxcio::test {

namespace forwarding {

namespace {

// The clock that is alive. Never destroyed, as the plan's.
struct Current {
    std::mutex mutex;
    std::shared_ptr<ClockState> clock; // guarded by mutex
};

Current& TheCurrent() {
    static Current* const current = new Current;
    return *current;
}

} // namespace

std::shared_ptr<ClockState> CurrentClock() {
    Current& current = TheCurrent();
    const std::lock_guard lock(current.mutex);
    return current.clock;
}

uint32 ClockTicks(ClockState& clock) {
    return static_cast<uint32>(clock.Now()); // wraps on purpose
}

int64 ClockCounter(ClockState& clock) {
    return static_cast<int64>(clock.Now()) * (kClockFrequency / 1000);
}

void ClockSleep(ClockState& clock, uint32 milliseconds) {
    clock.Sleep(milliseconds);
}

uint32 ClockWaitOne(ClockState& clock, void* handle, uint32 milliseconds) {
    if (milliseconds == 0 || milliseconds == VXC_INFINITE) {
        return real::VXC_WaitForSingleObject(handle, milliseconds);
    }
    return clock.Wait(1, &handle, false, milliseconds);
}

uint32 ClockWaitMany(ClockState& clock, uint32 count, void* const* handles, int waitAll,
                     uint32 milliseconds) {
    // What the layer refuses it refuses by itself, without waiting.
    if (milliseconds == 0 || milliseconds == VXC_INFINITE || count == 0 || count > VXC_MAXIMUM_WAIT_OBJECTS ||
        handles == nullptr) {
        return real::VXC_WaitForMultipleObjects(count, handles, waitAll, milliseconds);
    }
    return clock.Wait(count, handles, waitAll != 0, milliseconds);
}

} // namespace forwarding

TestClock::TestClock(uint32 startTicks) : m_state(std::make_shared<forwarding::ClockState>(startTicks)) {
    forwarding::Current& current = forwarding::TheCurrent();
    {
        const std::lock_guard lock(current.mutex);
        if (current.clock != nullptr) {
            std::fprintf(stderr, "a test clock is alive already\n");
            std::abort();
        }
        current.clock = m_state;
    }
    forwarding::g_interceptors.fetch_add(1);
}

TestClock::~TestClock() {
    forwarding::g_interceptors.fetch_sub(1);
    forwarding::Current& current = forwarding::TheCurrent();
    {
        const std::lock_guard lock(current.mutex);
        current.clock.reset();
    }
    m_state->End();
}

uint64 TestClock::Now() const {
    return m_state->Now();
}

int TestClock::Advance(uint64 milliseconds) {
    return m_state->Advance(milliseconds);
}

std::optional<uint64> TestClock::NextDeadline() const {
    return m_state->NextDeadline();
}

int TestClock::Sleepers() const {
    return m_state->Sleepers();
}

bool TestClock::WaitForSleepers(int n) {
    return m_state->WaitForSleepers(n);
}

int TestClock::Begun() const {
    return m_state->Begun();
}

bool TestClock::WaitForBegun(int n) {
    return m_state->WaitForBegun(n);
}

void TestClock::AutoAdvance(bool on) {
    m_state->AutoAdvance(on);
}

void TestClock::AutoAdvanceSleeps(bool on) {
    m_state->AutoAdvanceSleeps(on);
}

std::vector<uint32> TestClock::Sleeps() const {
    return m_state->Sleeps();
}

std::vector<uint32> TestClock::Waits() const {
    return m_state->Waits();
}

bool TestClock::WaitForSleeps(std::size_t n) {
    return m_state->WaitForSleeps(n);
}

} // namespace vxcio::test
