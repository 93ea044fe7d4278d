// WithMemory.h - operations of the layer that make objects and may find no memory for them.
#pragma once

#include "frame/PlatformTypes.h"
#include "sysu/LastError.h"

namespace vxcio::sysu {

// What `act` gives, a handle or an address; null with last error 8 where it throws.
template <class Act>
void* WithMemory(Act act) noexcept {
    try {
        return act();
    } catch (...) {
        SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

} // namespace vxcio::sysu
