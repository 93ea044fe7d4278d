// RecordAttachment.h - a block of any length that is read to memory of its own.
#pragma once

#include "bridge/Serialize.h"

namespace vxcio {

// Reads a block for which the stream has told a length of `size` bytes, not 0, and gives memory for it, which
// the caller frees by SerilizeFree. `size` takes the bytes that came, 0 where none did; the memory is there
// in both cases. As much of `size` as the stream still holds is there too, with zeros behind the block.
// Throws std::bad_alloc where memory lacks: the stream then stands ahead of the block, and `size` is 0.
unsigned char* ReadAttachment(CVXCSerialize& stream, unsigned int& size);

} // namespace vxcio
