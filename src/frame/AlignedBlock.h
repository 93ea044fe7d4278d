// AlignedBlock.h - memory for unbuffered transfer.
//
// The distance back to the start of the allocation stands as a 16-bit value in the two bytes in front of
// the block.
//
//   allocation            block
//   |...................|dd|size bytes, zeroed ........|
//   <----- distance ----->
#pragma once

#include "frame/Types.h"

#include <cstddef>

namespace vxcio {

// A zeroed block at a multiple of alignment, a power of two up to 32768, or 0 for none. Null when the
// allocation fails or the alignment is anything else. The caller frees it with AlignedFree.
uint8* AlignedAlloc(std::size_t size, std::size_t alignment) noexcept;

// Null is ignored.
void AlignedFree(uint8* block) noexcept;

} // namespace vxcio
