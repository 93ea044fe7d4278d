#include "filehandle/HandOver.h"

#include "frame/SystemLayer.h"
#include "platform/ModulePath.h"

#include <new>

namespace vxcio {

namespace {

// How often a call that does not fail on a living object is made before it is given up.
constexpr int kTries = 3;

constinit std::atomic<bool> g_pinned{false};

} // namespace

Ref<SharedEvent> SharedEvent::Make(bool manualReset) noexcept {
    void* const handle = VXC_CreateEventW(nullptr, manualReset ? 1 : 0, 0, nullptr);
    if (handle == nullptr) {
        return {};
    }
    auto* const event = new (std::nothrow) SharedEvent(handle);
    if (event == nullptr) {
        VXC_CloseHandle(handle);
    }
    return Ref<SharedEvent>::Adopt(event);
}

SharedEvent::~SharedEvent() {
    VXC_CloseHandle(m_handle);
}

bool SharedEvent::Signal() const noexcept {
    for (int i = 0; i < kTries; ++i) {
        if (VXC_SetEvent(m_handle) != 0) {
            return true;
        }
    }
    return false;
}

bool WaitFor(void* object, uint32 milliseconds) noexcept {
    uint32 result = VXC_WAIT_FAILED;
    for (int i = 0; i < kTries && result == VXC_WAIT_FAILED; ++i) {
        result = VXC_WaitForSingleObject(object, milliseconds);
    }
    return result == VXC_WAIT_OBJECT_0;
}

void StayForStuckThreads() noexcept {
    if (!g_pinned.exchange(true)) {
        ModulePath().pinModule();
    }
}

std::atomic<bool>& StuckThreadsInspector::Pinned() noexcept {
    return g_pinned;
}

} // namespace vxcio
