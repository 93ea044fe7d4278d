// DroppedList.h - the list behind DropHandle. Inner header of DroppedHandles, and of its tests.
#pragma once

#include "filehandle/SoftFileHandle.h"

#include <atomic>

namespace vxcio {

struct DroppedHandle {
    CQLSoftFileHandle* handle;
    DroppedHandle* next;
};

// The newest first.
std::atomic<DroppedHandle*>& DroppedList() noexcept;

} // namespace vxcio
