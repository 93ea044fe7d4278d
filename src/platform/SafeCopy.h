// SafeCopy.h - reads memory at an address that may be anything.
#pragma once

#include <cstddef>

namespace vxcio {

// Copies `bytes` bytes from `source` to `target`: 1. 0 when some byte of source can't be read; target's
// content is then undefined. Never faults. Any thread.
int CopyFromAnywhere(void* target, const void* source, std::size_t bytes) noexcept;

} // namespace vxcio
