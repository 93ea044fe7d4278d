// DroppedHandles.h - file handles that nobody wants any more while an operation of theirs still hangs.
#pragma once

#include "filehandle/SoftFileHandle.h"

#include <memory>

namespace vxcio {

// Frees the handle; one that has timed out, whose end would be waited for once more, is kept in sight for the
// life of the process instead. Any thread.
void DropHandle(std::unique_ptr<CQLSoftFileHandle> handle) noexcept;

} // namespace vxcio
