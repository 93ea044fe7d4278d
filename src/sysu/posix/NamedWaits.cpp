// Waits in which events of several processes take part. An event of this process is waited for in its queue,
// as ever, a shared one on its word; the thread sleeps on all these words at once.
#include "frame/PlatformTypes.h"
#include "sysu/posix/Clock.h"
#include "sysu/posix/Futex.h"
#include "sysu/posix/Looking.h"
#include "sysu/posix/NamedEvent.h"
#include "sysu/posix/WaitObject.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>

namespace vxcio::sysu {

namespace {

constexpr uint32 kNone = VXC_MAXIMUM_WAIT_OBJECTS;

// Where the kernel cannot sleep on several words, the shared ones are looked at so often.
constexpr uint64 kPollNanoseconds = 5'000'000;

bool IsNamed(const WaitObject& object) noexcept {
    return object.kind == WaitKind::NamedEvent;
}

SharedEventWords& WordsOf(WaitObject& object) noexcept {
    return static_cast<NamedEvent&>(object).words;
}

bool TryTakeNamed(WaitObject& object) noexcept {
    std::atomic<uint32>& state = WordsOf(object).state;
    // Looked at first: a store would take the line away from who is about to signal. Any value but 0 is a
    // signal, as it keeps waits from sleeping.
    uint32 seen = state.load();
    return seen != 0 && state.compare_exchange_strong(seen, 0);
}

bool TryTakeOne(WaitObject& object) noexcept {
    return IsNamed(object) ? TryTakeNamed(object) : TryTake(object);
}

// Gives back what a wait took.
void GiveBack(WaitObject& object) noexcept {
    if (IsNamed(object)) {
        SignalNamed(static_cast<NamedEvent&>(object));
    } else if (object.kind == WaitKind::AutoEvent) {
        Signal(object);
    }
}

// The objects are looked at one after the other, so one below the taken one may have been signalled before
// it: then that one ends the wait.
uint32 LowestInstead(WaitObject* const* objects, uint32 taken) noexcept {
    for (uint32 i = 0; i < taken;) {
        if (TryTakeOne(*objects[i])) {
            GiveBack(*objects[taken]);
            taken = i;
            i = 0;
        } else {
            ++i;
        }
    }
    return taken;
}

// Takes the lowest object that is signalled; its index, or kNone.
uint32 TakeLowest(WaitObject* const* objects, uint32 count) noexcept {
    for (uint32 i = 0; i < count; ++i) {
        if (TryTakeOne(*objects[i])) {
            return LowestInstead(objects, i);
        }
    }
    return kNone;
}

// The sleeping part of one wait.
class MixedSleep {
public:
    MixedSleep(WaitObject* const* objects, uint32 count) noexcept : m_objects(objects) {
        for (uint32 i = 0; i < count; ++i) {
            if (IsNamed(*objects[i])) {
                m_named[m_namedCount++] = i;
            } else {
                m_links[m_localCount].object = objects[i];
                m_local[m_localCount++] = i;
            }
        }
    }

    // The index of an object that was taken, or kNone at the deadline.
    uint32 Run(uint64 deadline) noexcept {
        Waiter waiter(m_links, m_localCount, false);
        {
            const std::lock_guard lock(WaitLock());
            EnterQueues(waiter);
            if (TakeIfReady(waiter)) {
                LeaveQueues(waiter);
                return m_local[waiter.index];
            }
        }
        for (uint32 i = 0; i < m_namedCount; ++i) {
            CountIn(NamedWords(i));
        }
        const uint32 named = SleepUntilOne(waiter, deadline);
        for (uint32 i = 0; i < m_namedCount; ++i) {
            CountOut(NamedWords(i));
        }
        return Settle(named, LeaveUnlessSatisfied(waiter));
    }

private:
    SharedEventWords& NamedWords(uint32 i) const noexcept { return WordsOf(*m_objects[m_named[i]]); }

    static void CountIn(SharedEventWords& words) noexcept {
        if (words.waiters.fetch_add(1) == ~uint32{0}) {
            words.waiters.fetch_add(1); // a bad process had its hand in it: a waiter must not count as none
        }
    }

    static void CountOut(SharedEventWords& words) noexcept {
        // The wake that was meant for another wait as well may have come here.
        if (words.waiters.fetch_sub(1) != 1 && words.state.load() != 0) {
            FutexWakeOne(&words.state, FutexScope::Machine);
        }
    }

    // The index of a named event that was taken; kNone when the wait was satisfied in a queue, or at the
    // deadline.
    uint32 SleepUntilOne(Waiter& waiter, uint64 deadline) noexcept {
        for (bool inTime = true;;) {
            for (uint32 i = 0; i < m_namedCount; ++i) {
                if (TryTakeNamed(*m_objects[m_named[i]])) {
                    return m_named[i];
                }
            }
            uint32 word = kWaiterAwake;
            waiter.word.compare_exchange_strong(word, kWaiterAsleep);
            if (word == kWaiterDone || !inTime) {
                return kNone;
            }
            // Asked each time: a word that changes all the time keeps the system from ever seeing the
            // deadline.
            inTime = Doze(waiter, deadline) && (deadline == kNoDeadline || MonotonicNanoseconds() < deadline);
        }
    }

    // False when the deadline came; true otherwise, which may be for no reason.
    bool Doze(Waiter& waiter, uint64 deadline) noexcept {
        if (m_localCount == 0 && m_namedCount == 1) {
            return FutexWait(NamedWords(0).state, 0, deadline, FutexScope::Machine);
        }
        futex_waitv words[VXC_MAXIMUM_WAIT_OBJECTS + 1] = {};
        uint32 count = 0;
        const auto add = [&](std::atomic<uint32>& word, uint32 expected, FutexScope scope) {
            words[count].uaddr = reinterpret_cast<std::uintptr_t>(&word);
            words[count].val = expected;
            words[count].flags = FUTEX_32 | static_cast<uint32>(scope);
            ++count;
        };
        add(waiter.word, kWaiterAsleep, FutexScope::Process);
        for (uint32 i = 0; i < m_namedCount; ++i) {
            add(NamedWords(i).state, 0, FutexScope::Machine);
        }
        const FutexLimit limit(deadline);
        if (syscall(SYS_futex_waitv, words, count, 0, limit.Get(), CLOCK_MONOTONIC) >= 0) {
            return true;
        }
        if (errno == EAGAIN || errno == EINTR || errno == ETIMEDOUT) {
            return errno != ETIMEDOUT;
        }
        // Not known, or not allowed. Nobody else wakes this word without a reason to look.
        FutexWait(waiter.word, kWaiterAsleep, std::min(deadline, MonotonicNanoseconds() + kPollNanoseconds));
        return true;
    }

    // Leaves the queues. The index of the object that had satisfied the wait, or kNone.
    uint32 LeaveUnlessSatisfied(Waiter& waiter) noexcept {
        {
            const std::lock_guard lock(WaitLock());
            if (!waiter.satisfied) {
                LeaveQueues(waiter);
                return kNone;
            }
        }
        // Who satisfied it is about to mark the record, which has to stay until then.
        for (;;) {
            uint32 word = kWaiterAwake;
            waiter.word.compare_exchange_strong(word, kWaiterAsleep);
            if (word == kWaiterDone) {
                return m_local[waiter.index];
            }
            FutexWait(waiter.word, kWaiterAsleep, kNoDeadline);
        }
    }

    // Of two objects that ended the wait the lower one did; the other gets its signal back.
    uint32 Settle(uint32 named, uint32 local) const noexcept {
        if (named == kNone || local == kNone) {
            return std::min(named, local);
        }
        GiveBack(*m_objects[std::max(named, local)]);
        return std::min(named, local);
    }

    WaitObject* const* const m_objects;
    uint32 m_named[VXC_MAXIMUM_WAIT_OBJECTS];
    uint32 m_namedCount = 0;
    uint32 m_local[VXC_MAXIMUM_WAIT_OBJECTS];
    uint32 m_localCount = 0;
    WaitLink m_links[VXC_MAXIMUM_WAIT_OBJECTS];
};

} // namespace

uint32 WaitWithNamed(WaitObject* const* objects, uint32 count, uint32 milliseconds) noexcept {
    uint32 index = TakeLowest(objects, count);
    if (index != kNone) {
        return index;
    }
    if (milliseconds == 0) {
        return VXC_WAIT_TIMEOUT;
    }
    const ObjectReferences references(objects, count);
    const uint64 deadline =
        milliseconds == VXC_INFINITE ? kNoDeadline : DeadlineAfter(MonotonicNanoseconds(), milliseconds);
    SpinScore& spin = objects[0]->spin;
    const bool awake = t_partner.IsAwake();
    if (awake) {
        spin.Encourage();
    }
    const auto look = [&] { return (index = TakeLowest(objects, count)) != kNone; };
    if (LookAWhile(spin, look, awake ? kAwakePartnerSpin : kWokenPartnerSpin)) {
        return index;
    }
    t_partner.AnswerIsLate();
    index = MixedSleep(objects, count).Run(deadline);
    return index == kNone ? VXC_WAIT_TIMEOUT : LowestInstead(objects, index);
}

} // namespace vxcio::sysu
