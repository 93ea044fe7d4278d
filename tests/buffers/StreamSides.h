// StreamSides.h - the two sides of a byte ring on threads of their own, and whether one has gone to sleep.
#pragma once

#include "support/Bounded.h"
#include "support/FaultPlan.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <type_traits>
#include <utility>

namespace vxcio::test {

// Runs work on a thread. A thread that has not ended when this is destroyed is left alone: what its work
// uses must stay then.
template <class Result>
class Side {
public:
    template <class Work>
    explicit Side(Work work)
        : m_shared(std::make_shared<Shared>()),
          m_thread([shared = m_shared, work = std::move(work)]() mutable {
              auto result = work();
              const std::lock_guard lock(shared->mutex);
              shared->result = std::move(result);
              shared->changed.notify_all();
          }) {}
    ~Side() {
        if (HasEnded()) {
            m_thread.join();
        } else {
            m_thread.detach();
        }
    }
    Side(const Side&) = delete;
    Side& operator=(const Side&) = delete;

    bool HasEnded() const {
        const std::lock_guard lock(m_shared->mutex);
        return m_shared->result.has_value();
    }
    // What the work gave; nothing when it did not end in time (Bounded.h).
    std::optional<Result> Wait() const {
        std::unique_lock lock(m_shared->mutex);
        if (!WaitBounded(m_shared->changed, lock, [this] { return m_shared->result.has_value(); })) {
            return std::nullopt;
        }
        return m_shared->result;
    }

private:
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        std::optional<Result> result; // guarded by mutex
    };

    std::shared_ptr<Shared> m_shared;
    std::thread m_thread;
};

template <class Work>
Side(Work) -> Side<std::invoke_result_t<Work&>>;

// Stops every wait of the ring on its way to sleep, when it has looked for the last time: whatever comes now
// has to wake it. One at a time, as it is a fault plan.
class SleepWatch {
public:
    SleepWatch() { plan.Add(Hold(Op::VXC_WaitForSingleObject, m_gate).FromThenOn()); }

    // Waits until a thread is on its way to sleep. It stays there.
    [[nodiscard]] bool WaitForSleeper() { return m_gate.WaitUntilReached(); }
    // Lets it fall asleep.
    void LetSleep() {
        m_gate.Open();
        m_gate.Close();
    }
    // Nobody is stopped any more.
    void LetAll() { m_gate.Open(); }
    // Waits for a thread and lets it fall asleep.
    [[nodiscard]] bool SeeAsleep() {
        const bool came = WaitForSleeper();
        LetSleep();
        return came;
    }

    FaultPlan plan;

private:
    Gate m_gate;
};

} // namespace vxcio::test
