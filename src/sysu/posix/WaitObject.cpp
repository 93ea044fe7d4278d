#include "sysu/posix/WaitObject.h"

#include "frame/PlatformTypes.h"
#include "sysu/LastError.h"
#include "sysu/posix/Futex.h"
#include "sysu/posix/NamedEvent.h"
#include "sysu/posix/Thread.h"

namespace vxcio::sysu {

namespace {

// No destructor that does anything: abandoned threads may signal until the process is gone.
constinit QueueLock g_waitLock;

// Addresses below this are never those of an object, but small numbers that somebody took for a handle.
constexpr std::uintptr_t kLowestAddress = 0x10000;

bool IsSignalled(const WaitObject& object) noexcept {
    return (object.word.load() & kSignalled) != 0;
}

void Take(WaitObject& object) noexcept {
    if (object.kind == WaitKind::AutoEvent) {
        object.word.fetch_and(~kSignalled);
    }
}

// The next link of another waiter. The links of one waiter, which may name an object twice, lie side by
// side in its queue.
WaitLink* NextWaiter(WaitLink* link) noexcept {
    WaitLink* next = link->next;
    while (next != nullptr && next->waiter == link->waiter) {
        next = next->next;
    }
    return next;
}

// Satisfies who waits for the object, first come first served: a manual-reset event all of them, an
// auto-reset event one. Waits for all whose other objects are not signalled are passed over and take
// nothing. Gives the satisfied ones as a list. Needs the wait lock.
Waiter* Dispatch(WaitObject& object) noexcept {
    Waiter* satisfied = nullptr;
    Waiter** end = &satisfied;
    WaitLink* link = object.first;
    while (link != nullptr && IsSignalled(object)) {
        Waiter& waiter = *link->waiter;
        WaitLink* next = NextWaiter(link);
        if (TakeIfReady(waiter)) {
            LeaveQueues(waiter);
            waiter.satisfied = true;
            *end = &waiter;
            end = &waiter.nextToWake;
        }
        link = next;
    }
    return satisfied;
}

// Outside the wait lock, so that who is woken does not run into it.
void Wake(Waiter* waiter) noexcept {
    while (waiter != nullptr) {
        Waiter* next = waiter->nextToWake;
        void* address = &waiter->word;
        if (waiter->word.exchange(kWaiterDone) == kWaiterAsleep) {
            FutexWakeOne(address);
        }
        waiter = next;
    }
}

} // namespace

QueueLock& WaitLock() noexcept {
    return g_waitLock;
}

WaitObject* WaitObjectOf(void* handle) noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(handle);
    if (address >= kLowestAddress && address % kCacheLine == 0) {
        auto* object = static_cast<WaitObject*>(handle);
        if (object->magic.load(std::memory_order_relaxed) == kWaitMagic) {
            return object;
        }
    }
    SetLastError(VXC_ERROR_INVALID_HANDLE);
    return nullptr;
}

void AddReference(WaitObject& object) noexcept {
    object.references.fetch_add(1, std::memory_order_relaxed);
}

void DropReference(WaitObject& object) noexcept {
    if (object.references.fetch_sub(1, std::memory_order_acq_rel) != 1) {
        return;
    }
    {
        // Who signalled the object last may still be at its queue.
        const std::lock_guard lock(g_waitLock);
        object.magic.store(kClosedMagic, std::memory_order_relaxed);
    }
    if (object.kind == WaitKind::Thread) {
        delete static_cast<Thread*>(&object);
    } else if (object.kind == WaitKind::NamedEvent) {
        delete static_cast<NamedEvent*>(&object);
    } else {
        delete &object;
    }
}

bool TryTake(WaitObject& object) noexcept {
    uint32 word = object.word.load();
    if ((word & kSignalled) == 0) {
        return false;
    }
    if (object.kind != WaitKind::AutoEvent) {
        return true;
    }
    while (word == kSignalled) {
        if (object.word.compare_exchange_weak(word, 0)) {
            return true;
        }
    }
    if ((word & kSignalled) == 0) {
        return false;
    }
    const std::lock_guard lock(g_waitLock);
    return (object.word.fetch_and(~kSignalled) & kSignalled) != 0;
}

void Signal(WaitObject& object) noexcept {
    uint32 word = object.word.load();
    while (word < kOneWaiter) {
        // Written also when it is signalled already: what this thread did before must be seen by who takes
        // it.
        if (object.word.compare_exchange_weak(word, kSignalled)) {
            return;
        }
    }
    Waiter* satisfied = nullptr;
    {
        const std::lock_guard lock(g_waitLock);
        object.word.fetch_or(kSignalled);
        satisfied = Dispatch(object);
    }
    Wake(satisfied);
}

void Unsignal(WaitObject& object) noexcept {
    uint32 word = object.word.load();
    while (word < kOneWaiter) {
        if (object.word.compare_exchange_weak(word, 0)) {
            return;
        }
    }
    const std::lock_guard lock(g_waitLock);
    object.word.fetch_and(~kSignalled);
}

void EnterQueues(Waiter& waiter) noexcept {
    for (uint32 i = 0; i < waiter.count; ++i) {
        WaitLink& link = waiter.links[i];
        WaitObject& object = *link.object;
        link.waiter = &waiter;
        link.next = nullptr;
        link.previous = object.last;
        (object.last != nullptr ? object.last->next : object.first) = &link;
        object.last = &link;
        object.word.fetch_add(kOneWaiter);
    }
}

void LeaveQueues(Waiter& waiter) noexcept {
    for (uint32 i = 0; i < waiter.count; ++i) {
        WaitLink& link = waiter.links[i];
        WaitObject& object = *link.object;
        (link.previous != nullptr ? link.previous->next : object.first) = link.next;
        (link.next != nullptr ? link.next->previous : object.last) = link.previous;
        object.word.fetch_sub(kOneWaiter);
    }
}

bool TakeIfReady(Waiter& waiter) noexcept {
    if (!waiter.all) {
        for (uint32 i = 0; i < waiter.count; ++i) {
            if (IsSignalled(*waiter.links[i].object)) {
                Take(*waiter.links[i].object);
                waiter.index = i;
                return true;
            }
        }
        return false;
    }
    for (uint32 i = 0; i < waiter.count; ++i) {
        if (!IsSignalled(*waiter.links[i].object)) {
            return false;
        }
    }
    for (uint32 i = 0; i < waiter.count; ++i) {
        Take(*waiter.links[i].object);
    }
    waiter.index = 0;
    return true;
}

} // namespace vxcio::sysu
