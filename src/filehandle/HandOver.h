// HandOver.h - what a request passes through between its caller and a worker, and the events that tell of it.
//
//   Idle --caller--> Pending --worker--> Working --worker--> Done --caller--> Idle
//                       |                   |
//                       +------caller-------+--> Abandoned, for good: the worker keeps all it was given
//
// Each change is one atomic exchange, so both sides agree on whether an answer came in time, and every field
// of a request belongs to one side at any time.
#pragma once

#include "frame/Counted.h"
#include "frame/Types.h"

#include <atomic>

namespace vxcio {

class HandOver {
public:
    // By the caller, with no request under way. The fields of the request are filled before.
    void Send() noexcept { m_state.store(kPending, std::memory_order_release); }
    // By the caller, for a request of which the worker could not be told. False when it took it all the same.
    bool Withdraw() noexcept { return Change(kPending, kIdle); }
    // By the worker. False when there is no request.
    bool Take() noexcept { return Change(kPending, kWorking); }
    // By the worker, with the fields of the answer filled. False when nobody wants it any more.
    bool Publish() noexcept { return Change(kWorking, kDone); }
    // By the caller. True once for each answer, which then is the caller's.
    bool Accept() noexcept { return Change(kDone, kIdle); }
    // By the caller. False when the answer came first; then it is there to be accepted.
    bool Abandon() noexcept { return Change(kPending, kAbandoned) || Change(kWorking, kAbandoned); }

    bool IsAnswered() const noexcept { return m_state.load(std::memory_order_relaxed) == kDone; }
    bool IsUnderWay() const noexcept {
        const uint32 state = m_state.load(std::memory_order_relaxed);
        return state == kPending || state == kWorking || state == kDone;
    }
    bool IsAbandoned() const noexcept { return m_state.load(std::memory_order_relaxed) == kAbandoned; }

private:
    static constexpr uint32 kIdle = 0;
    static constexpr uint32 kPending = 1;
    static constexpr uint32 kWorking = 2;
    static constexpr uint32 kDone = 3;
    static constexpr uint32 kAbandoned = 4;

    bool Change(uint32 from, uint32 to) noexcept {
        return m_state.compare_exchange_strong(from, to, std::memory_order_acq_rel,
                                               std::memory_order_acquire);
    }

    std::atomic<uint32> m_state{kIdle};
};

// An event of the system layer that caller and workers share; closed with its last reference.
class SharedEvent : public Counted<SharedEvent> {
public:
    // Unsignalled. None when memory or the system's event lacks.
    static Ref<SharedEvent> Make(bool manualReset) noexcept;

    void* Handle() const noexcept { return m_handle; }
    // False when the system refused, which only the system's own trouble can make it do.
    bool Signal() const noexcept;

private:
    friend class Counted<SharedEvent>;
    explicit SharedEvent(void* handle) noexcept : m_handle(handle) {}
    ~SharedEvent();

    void* const m_handle;
};

// VXC_WaitForSingleObject of one object; true when it was signalled within the limit. A wait that fails is
// begun again a few times, as it tells nothing about the object.
bool WaitFor(void* object, uint32 milliseconds) noexcept;

// From now on the library stays in memory: a thread may come back into its code at any time. Called when a
// thread is given up; the first call counts.
void StayForStuckThreads() noexcept;

struct StuckThreadsInspector { // a door for tests
    static std::atomic<bool>& Pinned() noexcept;
};

} // namespace vxcio
