// TransferDefaults.h - what all sources and sinks agree on.
#pragma once

#include "frame/Types.h"

#include <cstddef>

namespace vxcio {

// Where a disk does not tell its sector size.
inline constexpr uint32 kDefaultSectorSize = 512;

// Memory at a multiple of this fits unbuffered transfer of every disk.
inline constexpr std::size_t kTransferAlignment = 4096;

// Origins of Seek.
inline constexpr uint32 kFromStart = 1;
inline constexpr uint32 kFromEnd = 2;
inline constexpr uint32 kFromCurrent = 3;

} // namespace vxcio
