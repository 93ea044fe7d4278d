// RingEvent.h - an event of the system layer with an owner.
//
// Setting, resetting and waiting without a limit have no failure of their own on an event that is there.
// Should the system layer tell of one all the same, it is asked again a few times: nobody else would wake
// the thread at the other end.
#pragma once

#include "frame/SystemLayer.h"

namespace vxcio {

enum class RingEventKind {
    AutoReset,   // one wait takes the signal away
    ManualReset, // stays signalled until it is reset
};

// Empty and good for nothing until Create gave true. Any thread may set, reset and wait; the owner makes it
// before and ends it after all of them.
class RingEvent {
public:
    RingEvent() noexcept = default;
    ~RingEvent() {
        if (m_handle != nullptr) {
            VXC_CloseHandle(m_handle);
        }
    }
    RingEvent(const RingEvent&) = delete;
    RingEvent& operator=(const RingEvent&) = delete;

    // Unsignalled. False when memory lacks.
    bool Create(RingEventKind kind) noexcept {
        m_handle = VXC_CreateEventW(nullptr, kind == RingEventKind::ManualReset ? 1 : 0, 0, nullptr);
        return m_handle != nullptr;
    }

    void Set() const noexcept {
        Insist([this] { return VXC_SetEvent(m_handle) != 0; });
    }
    void Reset() const noexcept {
        Insist([this] { return VXC_ResetEvent(m_handle) != 0; });
    }
    // Without a limit. False when there is nothing to wait for.
    bool Wait() const noexcept { return WaitFor(m_handle); }
    // The same for any object, such as a thread.
    static bool WaitFor(void* handle) noexcept {
        return Insist(
            [handle] { return VXC_WaitForSingleObject(handle, VXC_INFINITE) == VXC_WAIT_OBJECT_0; });
    }

    void* Handle() const noexcept { return m_handle; }

private:
    template <class Operation>
    static bool Insist(Operation operation) noexcept {
        constexpr int kTries = 8;
        for (int i = 0; i < kTries; ++i) {
            if (operation()) {
                return true;
            }
        }
        return false;
    }

    void* m_handle = nullptr;
};

} // namespace vxcio
