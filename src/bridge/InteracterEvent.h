// InteracterEvent.h - an event of a channel, held by the channel and by the receiver thread that waits for
// it: so a thread that still runs when its channel takes another event has not lost its own.
#pragma once

#include "frame/Counted.h"
#include "frame/SystemLayer.h"

#include <atomic>
#include <new>

namespace vxcio {

struct InteracterEvent : Counted<InteracterEvent> {
    explicit InteracterEvent(void* itsHandle) noexcept : handle(itsHandle) {}
    ~InteracterEvent() { VXC_CloseHandle(handle); }

    // Takes over a handle. None for a null handle, and where memory lacks; the handle is closed then.
    static Ref<InteracterEvent> Take(void* handle) noexcept {
        if (handle == nullptr) {
            return {};
        }
        auto* const event = new (std::nothrow) InteracterEvent(handle);
        if (event == nullptr) {
            VXC_CloseHandle(handle);
        }
        return Ref<InteracterEvent>::Adopt(event);
    }

    // Keeps it open to the end of the process, for a channel that goes without its release.
    static void Keep(const Ref<InteracterEvent>& event) noexcept {
        if (!event) {
            return;
        }
        static constinit std::atomic<InteracterEvent*> s_kept{nullptr};
        event->AddReference();
        event->m_nextKept = s_kept.load();
        while (!s_kept.compare_exchange_weak(event->m_nextKept, event.Get())) {
        }
    }

    void* const handle;

private:
    InteracterEvent* m_nextKept = nullptr;
};

// Null for none.
inline void* HandleOf(const Ref<InteracterEvent>& event) noexcept {
    return event ? event->handle : nullptr;
}

} // namespace vxcio
