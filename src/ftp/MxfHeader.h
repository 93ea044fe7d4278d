// MxfHeader.h - what a stretch of a clip says in its MXF header (SMPTE 377M) about where it begins.
//
// Any bytes are safe input. Nothing throws, any thread may call, nothing is kept.
#pragma once

#include "frame/Types.h"

namespace vxcio {

// So many bytes at the start of a file hold the fields that are looked at here.
inline constexpr uint32 kPartitionHead = 512;

// The Header Byte Count of the Partition Pack at the start of a file, of which kPartitionHead bytes are
// given.
uint64 HeaderByteCount(const uint8* head) noexcept;

// The Origin of the first Timeline Track that has one above 0, in edit units; 0 where there is none.
//
// `header` is walked as KLV items from its first byte on. Lengths are taken from the second to fourth of four
// bytes, so that items whose length has another form lead astray. An item that reaches beyond `size` is read
// as if zeros followed.
int64 TrackOrigin(const uint8* header, uint64 size) noexcept;

} // namespace vxcio
