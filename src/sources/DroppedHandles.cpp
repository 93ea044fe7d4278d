#include "sources/DroppedHandles.h"

#include "frame/Status.h"
#include "sources/DroppedList.h"

#include <new>

namespace vxcio {

namespace {
// Never destroyed: a stuck worker may outlive everything.
constinit std::atomic<DroppedHandle*> g_dropped{nullptr};
} // namespace

std::atomic<DroppedHandle*>& DroppedList() noexcept {
    return g_dropped;
}

void DropHandle(std::unique_ptr<CQLSoftFileHandle> handle) noexcept {
    // A read of nothing touches nothing and tells the status, where a time-out stays.
    if (handle->ReadFile(nullptr, 0, nullptr, nullptr) != VXC_STATUS_TIME_OUT) {
        return;
    }
    auto* const entry = new (std::nothrow) DroppedHandle{nullptr, nullptr};
    if (entry == nullptr) {
        static_cast<void>(handle.release()); // out of sight, but no worse
        return;
    }
    entry->handle = handle.release();
    entry->next = g_dropped.load(std::memory_order_relaxed);
    while (!g_dropped.compare_exchange_weak(entry->next, entry, std::memory_order_release)) {
    }
}

} // namespace vxcio
