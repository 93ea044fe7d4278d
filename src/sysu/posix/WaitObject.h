// WaitObject.h - what can be waited for: events and threads; and the queue of those who wait.
//
// An object's whole state is one word; a named event's lies in memory that processes share, and NamedEvent.h
// tells of it. The word: bit 0 tells that it is signalled, the rest counts the waits that
// stand in its queue.
//
//      0  not signalled, nobody waits   \  changed by anybody with one compare-and-exchange:
//      1  signalled, nobody waits       /  no lock, no system call
//   >= 2  somebody waits: the signalled bit is changed only under the wait lock
//
// So a wait that has entered the queues of all its objects, under the lock, has stopped them: it can look at
// them one after the other and take one or all as if in a single moment. Whoever signals an object with a
// queue does, under the lock, what the waits in it ask for (see Dispatch), takes the satisfied ones out of
// all their queues, and wakes them when the lock is free again:
//
//   wait                                         signal
//   1. take a signalled object, if it can        1. nobody waits: set bit 0, done
//   2. look for a while (SpinScore.h)            2. lock; set bit 0
//   3. lock; enter all queues; look again;       3. satisfy the waits, in the order they came;
//      unlock                                       unlock
//   4. sleep on the word of the own record       4. set the word of each satisfied record, wake it
//   5. at the deadline: lock; leave the queues,
//      unless satisfied meanwhile; unlock
//
// After step 1 of a signal the object is not touched again, and it is not freed while the lock is held: who
// was freed by a signal may close the handle at once, though the signal has not returned yet.
//
// Ownership: an object counts references, one for the handle, one for each wait that goes on, and one for
// the thread while it runs.
#pragma once

#include "frame/Types.h"
#include "sysu/posix/QueueLock.h"
#include "sysu/posix/SpinScore.h"

#include <atomic>
#include <cstdint>
#include <mutex>

namespace vxcio::sysu {

struct WaitLink;
struct Waiter;

enum class WaitKind : uint32 {
    AutoEvent,   // a wait that is satisfied takes the signal away
    ManualEvent, // stays signalled until it is reset
    Thread,      // signalled for good when the thread has ended
    NamedEvent,  // as AutoEvent, but its state is shared with other processes (NamedEvent.h)
};

// In an object's word.
inline constexpr uint32 kSignalled = 1;
inline constexpr uint32 kOneWaiter = 2;

// First word of every object, so that a handle of another kind is told apart; kClosedMagic when the handle
// was closed and somebody still waits.
inline constexpr uint32 kWaitMagic = 0x57A17AB1u;
inline constexpr uint32 kClosedMagic = 0x57A1DEADu;

// Its own cache line: objects that two threads hand to each other must not slow down their neighbours.
inline constexpr std::size_t kCacheLine = 64;

struct alignas(kCacheLine) WaitObject {
    WaitObject(WaitKind itsKind, bool signalled) noexcept : kind(itsKind), word(signalled ? kSignalled : 0) {}
    WaitObject(const WaitObject&) = delete;
    WaitObject& operator=(const WaitObject&) = delete;

    std::atomic<uint32> magic{kWaitMagic};
    const WaitKind kind;
    std::atomic<uint32> word;
    std::atomic<uint32> references{1};
    SpinScore spin;
    WaitLink* first = nullptr; // the queue; guarded by the wait lock
    WaitLink* last = nullptr;
};

// One place of one wait in the queue of one object.
struct WaitLink {
    WaitObject* object;
    Waiter* waiter;
    WaitLink* next;
    WaitLink* previous;
};

// Word of a waiter.
inline constexpr uint32 kWaiterAwake = 0;
inline constexpr uint32 kWaiterAsleep = 1;
inline constexpr uint32 kWaiterDone = 2; // its record may be gone the moment this is written

// One wait that goes on; it lies on the stack of the thread that waits.
struct Waiter {
    Waiter(WaitLink* itsLinks, uint32 itsCount, bool forAll) noexcept
        : links(itsLinks), count(itsCount), all(forAll) {}
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    std::atomic<uint32> word{kWaiterAwake};
    WaitLink* const links; // one per object, in the caller's order
    const uint32 count;
    const bool all;
    bool satisfied = false;       // guarded by the wait lock
    uint32 index = 0;             // of the object that ended the wait; 0 when all did
    Waiter* nextToWake = nullptr; // for the thread that satisfied it
};

// The lock of all queues. Held for a few steps only, never across a system call that may block.
QueueLock& WaitLock() noexcept;

// The object of a handle, or null when it is none (then the last error is 6). Does not add a reference.
WaitObject* WaitObjectOf(void* handle) noexcept;

void AddReference(WaitObject& object) noexcept;
void DropReference(WaitObject& object) noexcept;

// Whether the object was signalled; an auto-reset event no longer is, then.
bool TryTake(WaitObject& object) noexcept;
// Signals the object and satisfies who waits for it.
void Signal(WaitObject& object) noexcept;
// Takes the signal away.
void Unsignal(WaitObject& object) noexcept;

// Keeps the objects of a wait alive.
class ObjectReferences {
public:
    ObjectReferences(WaitObject* const* objects, uint32 count) noexcept : m_objects(objects), m_count(count) {
        for (uint32 i = 0; i < m_count; ++i) {
            AddReference(*m_objects[i]);
        }
    }
    ~ObjectReferences() {
        for (uint32 i = 0; i < m_count; ++i) {
            DropReference(*m_objects[i]);
        }
    }
    ObjectReferences(const ObjectReferences&) = delete;
    ObjectReferences& operator=(const ObjectReferences&) = delete;

private:
    WaitObject* const* const m_objects;
    const uint32 m_count;
};

// The three below need the wait lock.
void EnterQueues(Waiter& waiter) noexcept;
void LeaveQueues(Waiter& waiter) noexcept;
// Takes what the wait asks for, if it is there: the lowest signalled object, or all when all are. The wait
// must stand in the queues.
bool TakeIfReady(Waiter& waiter) noexcept;

} // namespace vxcio::sysu
