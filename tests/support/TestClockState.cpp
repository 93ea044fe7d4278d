#include "support/TestClockState.h"

#include "support/Bounded.h"

#include <algorithm>

namespace vxcio::test::forwarding {

namespace {

constexpr uint64 kNever = ~uint64{0};

// The real time that one turn of a wait takes which can't have the alarm among its objects.
constexpr uint32 kTurn = 1;

} // namespace

uint64 ClockState::Now() const {
    const std::lock_guard lock(m_mutex);
    return m_now;
}

void ClockState::Wake(Sleeper& sleeper) {
    sleeper.due = true;
    if (sleeper.alarm != nullptr) {
        real::VXC_SetEvent(sleeper.alarm);
    }
}

int ClockState::MoveTo(uint64 time) {
    m_now = std::max(m_now, time);
    int woken = 0;
    for (auto at = m_sleepers.begin(); at != m_sleepers.end();) {
        if ((*at)->deadline <= m_now) {
            Wake(**at);
            at = m_sleepers.erase(at);
            ++woken;
        } else {
            ++at;
        }
    }
    m_changed.notify_all();
    return woken;
}

void ClockState::Enter(Sleeper& sleeper) {
    ++m_begun;
    m_sleepers.push_back(&sleeper);
    m_changed.notify_all();
}

bool ClockState::IsDue(const Sleeper& sleeper) const {
    const std::lock_guard lock(m_mutex);
    return sleeper.due;
}

void ClockState::Sleep(uint32 milliseconds) {
    std::unique_lock lock(m_mutex);
    m_sleeps.push_back(milliseconds);
    m_changed.notify_all();
    if (m_ended || milliseconds == 0) {
        lock.unlock();
        real::VXC_Sleep(0);
        return;
    }
    const uint64 deadline = milliseconds == VXC_INFINITE ? kNever : m_now + milliseconds;
    if ((m_autoAdvance || m_autoAdvanceSleeps) && deadline != kNever) {
        MoveTo(deadline);
        return;
    }
    Sleeper sleeper{deadline, nullptr};
    Enter(sleeper);
    m_changed.wait(lock, [&] { return sleeper.due; });
}

uint32 ClockState::Wait(uint32 count, void* const* handles, bool waitAll, uint32 milliseconds) {
    const auto poll = [&](uint32 limit) {
        return count == 1 ? real::VXC_WaitForSingleObject(handles[0], limit)
                          : real::VXC_WaitForMultipleObjects(count, handles, waitAll ? 1 : 0, limit);
    };
    // What is signalled, and what is wrong with the handles, shows without a limit.
    const uint32 first = poll(0);
    if (first != VXC_WAIT_TIMEOUT) {
        return first;
    }
    void* alarm = real::VXC_CreateEventW(nullptr, 1, 0, nullptr);
    if (alarm == nullptr) {
        return VXC_WAIT_FAILED;
    }
    std::unique_lock lock(m_mutex);
    m_waits.push_back(milliseconds);
    Sleeper sleeper{m_now + milliseconds, alarm};
    if (m_ended) {
        sleeper.due = true;
    } else if (m_autoAdvance) {
        MoveTo(sleeper.deadline);
        sleeper.due = true;
    } else {
        Enter(sleeper);
    }
    const bool stands = !sleeper.due;
    lock.unlock();

    uint32 result = VXC_WAIT_TIMEOUT;
    if (stands && (!waitAll || count == 1) && count < VXC_MAXIMUM_WAIT_OBJECTS) {
        void* all[VXC_MAXIMUM_WAIT_OBJECTS] = {};
        std::copy_n(handles, count, all);
        all[count] = alarm; // last: an object that is signalled as well comes first
        result = real::VXC_WaitForMultipleObjects(count + 1, all, 0, VXC_INFINITE);
        if (result == count) {
            result = VXC_WAIT_TIMEOUT;
        }
    } else if (stands) {
        // No single wait of the layer ends with "all of these, or the alarm", and none takes one object more
        // than the most; so this one sleeps in short real turns.
        while (result == VXC_WAIT_TIMEOUT && !IsDue(sleeper)) {
            result = poll(kTurn);
        }
        if (result == VXC_WAIT_TIMEOUT) {
            result = poll(0);
        }
    }
    lock.lock();
    m_sleepers.remove(&sleeper);
    m_changed.notify_all();
    lock.unlock();
    real::VXC_CloseHandle(alarm);
    return result;
}

int ClockState::Advance(uint64 milliseconds) {
    const std::lock_guard lock(m_mutex);
    return MoveTo(m_now + milliseconds);
}

std::optional<uint64> ClockState::NextDeadline() const {
    const std::lock_guard lock(m_mutex);
    uint64 next = kNever;
    for (const Sleeper* sleeper : m_sleepers) {
        next = std::min(next, sleeper->deadline);
    }
    return next == kNever ? std::nullopt : std::optional<uint64>(next);
}

int ClockState::Sleepers() const {
    const std::lock_guard lock(m_mutex);
    return static_cast<int>(m_sleepers.size());
}

bool ClockState::WaitForSleepers(int n) {
    std::unique_lock lock(m_mutex);
    return WaitBounded(m_changed, lock, [&] { return static_cast<int>(m_sleepers.size()) >= n; });
}

int ClockState::Begun() const {
    const std::lock_guard lock(m_mutex);
    return m_begun;
}

bool ClockState::WaitForBegun(int n) {
    std::unique_lock lock(m_mutex);
    return WaitBounded(m_changed, lock, [&] { return m_begun >= n; });
}

void ClockState::AutoAdvance(bool on) {
    const std::lock_guard lock(m_mutex);
    m_autoAdvance = on;
}

void ClockState::AutoAdvanceSleeps(bool on) {
    const std::lock_guard lock(m_mutex);
    m_autoAdvanceSleeps = on;
}

std::vector<uint32> ClockState::Sleeps() const {
    const std::lock_guard lock(m_mutex);
    return m_sleeps;
}

std::vector<uint32> ClockState::Waits() const {
    const std::lock_guard lock(m_mutex);
    return m_waits;
}

bool ClockState::WaitForSleeps(std::size_t n) {
    std::unique_lock lock(m_mutex);
    return WaitBounded(m_changed, lock, [&] { return m_sleeps.size() >= n; });
}

void ClockState::End() {
    const std::lock_guard lock(m_mutex);
    m_ended = true;
    MoveTo(kNever);
}

} // namespace vxcio::test::forwarding
