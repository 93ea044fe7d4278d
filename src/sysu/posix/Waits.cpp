#include "frame/SystemLayer.h"
#include "sysu/LastError.h"
#include "sysu/posix/Clock.h"
#include "sysu/posix/Futex.h"
#include "sysu/posix/Looking.h"
#include "sysu/posix/NamedEvent.h"
#include "sysu/posix/WaitObject.h"

namespace vxcio::sysu {

namespace {

// Whether the wait would end if it looked closer; a guess, since nothing stands still.
bool SeemsReady(const Waiter& waiter) noexcept {
    for (uint32 i = 0; i < waiter.count; ++i) {
        const bool signalled = (waiter.links[i].object->word.load() & kSignalled) != 0;
        if (signalled != waiter.all) {
            return signalled;
        }
    }
    return waiter.all;
}

// Takes what the wait asks for, if it is there now.
bool TakeNow(Waiter& waiter) noexcept {
    if (waiter.count == 1) {
        return TryTake(*waiter.links[0].object);
    }
    const std::lock_guard lock(WaitLock());
    EnterQueues(waiter);
    const bool taken = TakeIfReady(waiter);
    LeaveQueues(waiter);
    return taken;
}

// Looks for a while. An auto-reset event with a queue serves the queue first: no use to look.
bool SpinAndTake(Waiter& waiter) noexcept {
    WaitObject& first = *waiter.links[0].object;
    if (waiter.count == 1 && first.kind == WaitKind::AutoEvent && first.word.load() >= kOneWaiter) {
        return false;
    }
    return LookAWhile(first.spin, [&] { return SeemsReady(waiter) && TakeNow(waiter); });
}

// Sleeps until the wait is satisfied or its time has come. The wait stands in the queues.
bool Sleep(Waiter& waiter, uint64 deadline) noexcept {
    for (;;) {
        uint32 word = kWaiterAwake;
        waiter.word.compare_exchange_strong(word, kWaiterAsleep);
        if (word == kWaiterDone) {
            return true;
        }
        if (!FutexWait(waiter.word, kWaiterAsleep, deadline)) {
            const std::lock_guard lock(WaitLock());
            if (!waiter.satisfied) {
                LeaveQueues(waiter);
                return false;
            }
            // Satisfied just in time, and about to be woken.
            deadline = kNoDeadline;
        }
    }
}

uint32 WaitSlowly(Waiter& waiter, WaitObject* const* objects, uint32 milliseconds) noexcept {
    const ObjectReferences references(objects, waiter.count);
    const uint64 deadline =
        milliseconds == VXC_INFINITE ? kNoDeadline : DeadlineAfter(MonotonicNanoseconds(), milliseconds);
    if (SpinAndTake(waiter)) {
        return waiter.index;
    }
    {
        const std::lock_guard lock(WaitLock());
        EnterQueues(waiter);
        if (TakeIfReady(waiter)) {
            LeaveQueues(waiter);
            return waiter.index;
        }
    }
    if (!Sleep(waiter, deadline)) {
        return VXC_WAIT_TIMEOUT;
    }
    return waiter.index;
}

bool HoldsOneTwice(WaitObject* const* objects, uint32 count) noexcept {
    for (uint32 i = 1; i < count; ++i) {
        for (uint32 k = 0; k < i; ++k) {
            if (objects[i] == objects[k]) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

} // namespace vxcio::sysu

using namespace vxcio::sysu;

uint32 VXC_WaitForSingleObject(void* handle, uint32 milliseconds) noexcept {
    WaitObject* object = WaitObjectOf(handle);
    if (object == nullptr) {
        return VXC_WAIT_FAILED;
    }
    if (object->kind == WaitKind::NamedEvent) {
        return WaitWithNamed(&object, 1, milliseconds);
    }
    if (TryTake(*object)) {
        return VXC_WAIT_OBJECT_0;
    }
    if (milliseconds == 0) {
        return VXC_WAIT_TIMEOUT;
    }
    WaitLink link;
    link.object = object;
    Waiter waiter(&link, 1, false);
    return WaitSlowly(waiter, &object, milliseconds);
}

uint32 VXC_WaitForMultipleObjects(uint32 count, void* const* handles, int waitAll,
                                  uint32 milliseconds) noexcept {
    if (count == 0 || count > VXC_MAXIMUM_WAIT_OBJECTS || handles == nullptr) {
        SetLastError(VXC_ERROR_INVALID_PARAMETER);
        return VXC_WAIT_FAILED;
    }
    WaitObject* objects[VXC_MAXIMUM_WAIT_OBJECTS];
    bool named = false;
    for (uint32 i = 0; i < count; ++i) {
        objects[i] = WaitObjectOf(handles[i]);
        if (objects[i] == nullptr) {
            return VXC_WAIT_FAILED;
        }
        named = named || objects[i]->kind == WaitKind::NamedEvent;
    }
    const bool all = waitAll != 0 && count > 1;
    if (all && (named || HoldsOneTwice(objects, count))) {
        SetLastError(VXC_ERROR_INVALID_PARAMETER);
        return VXC_WAIT_FAILED;
    }
    if (named) {
        return WaitWithNamed(objects, count, milliseconds);
    }
    // The first object is the one that wins anyway.
    if (!all && TryTake(*objects[0])) {
        return VXC_WAIT_OBJECT_0;
    }
    WaitLink links[VXC_MAXIMUM_WAIT_OBJECTS];
    for (uint32 i = 0; i < count; ++i) {
        links[i].object = objects[i];
    }
    Waiter waiter(links, count, all);
    // A poll that finds nothing says so of a single moment; a wait looks again anyway.
    if ((milliseconds == 0 || SeemsReady(waiter)) && TakeNow(waiter)) {
        return waiter.index;
    }
    return milliseconds == 0 ? VXC_WAIT_TIMEOUT : WaitSlowly(waiter, objects, milliseconds);
}
