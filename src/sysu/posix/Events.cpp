#include "frame/SystemLayer.h"
#include "sysu/LastError.h"
#include "sysu/NamedObjects.h"
#include "sysu/posix/NamedEvent.h"
#include "sysu/posix/Thread.h"
#include "sysu/posix/WaitObject.h"

#include <new>

using namespace vxcio::sysu;

namespace {

WaitObject* EventOf(void* handle) noexcept {
    WaitObject* object = WaitObjectOf(handle);
    if (object != nullptr && object->kind == WaitKind::Thread) {
        SetLastError(VXC_ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return object;
}

} // namespace

void* VXC_CreateEventW(VXC_SECURITY_ATTRIBUTES* /*security*/, int manualReset, int initialState,
                       const wchar_t* name) noexcept {
    if (name != nullptr) {
        if (manualReset != 0) {
            SetLastError(VXC_ERROR_INVALID_PARAMETER);
            return nullptr;
        }
        return MakeNamedEvent(name, initialState != 0);
    }
    const WaitKind kind = manualReset != 0 ? WaitKind::ManualEvent : WaitKind::AutoEvent;
    auto* event = new (std::nothrow) WaitObject(kind, initialState != 0);
    if (event == nullptr) {
        SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
    }
    return event;
}

void* vxcio::OpenNamedEvent(const wchar_t* name) noexcept {
    return OpenEventOf(name);
}

int VXC_SetEvent(void* handle) noexcept {
    WaitObject* event = EventOf(handle);
    if (event == nullptr) {
        return 0;
    }
    if (event->kind == WaitKind::NamedEvent) {
        SignalNamed(static_cast<NamedEvent&>(*event));
    } else {
        Signal(*event);
    }
    return 1;
}

int VXC_ResetEvent(void* handle) noexcept {
    WaitObject* event = EventOf(handle);
    if (event == nullptr) {
        return 0;
    }
    if (event->kind == WaitKind::NamedEvent) {
        UnsignalNamed(static_cast<NamedEvent&>(*event));
    } else {
        Unsignal(*event);
    }
    return 1;
}

int VXC_CloseHandle(void* handle) noexcept {
    WaitObject* object = WaitObjectOf(handle);
    if (object == nullptr) {
        return 0;
    }
    uint32 magic = kWaitMagic;
    if (!object->magic.compare_exchange_strong(magic, kClosedMagic)) {
        // Closed by somebody else at the same moment.
        SetLastError(VXC_ERROR_INVALID_HANDLE);
        return 0;
    }
    if (object->kind == WaitKind::Thread) {
        ForgetThread(*static_cast<Thread*>(object));
    }
    DropReference(*object);
    return 1;
}
