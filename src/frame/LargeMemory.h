// LargeMemory.h - memory that the system may back with its large pages.
//
// A disk that is read past the cache is given the pages of the memory that it fills, one by one. Large ones
// are fewer by some hundred times: on a virtual machine such a read is up to twice as fast.
#pragma once

#include "frame/Types.h"

#include <cstddef>

namespace vxcio {

// From this size on; also the size of a large page on most machines.
inline constexpr std::size_t kLargeMemory = std::size_t{2} << 20;

// Zeroed memory that begins at a multiple of kLargeMemory and takes no more than its size, rounded up to
// whole small pages. Null where the system has no large pages to give or memory lacks; ordinary memory may be
// there still. Freed by LargeFree with the same size. Any thread may call.
uint8* LargeAlloc(std::size_t size) noexcept;
void LargeFree(uint8* memory, std::size_t size) noexcept;

} // namespace vxcio
