// MxfExtent.h - whether all of an MXF file (SMPTE 377M) is there, as far as its first bytes can tell.
#pragma once

#include "frame/Types.h"

#include <array>
#include <string>

namespace vxcio::tool {

// The bytes at the start of a file; zeros behind its end.
using MxfStart = std::array<uint8, 64>;

// Why a file of `size` bytes that begins with these cannot be whole: the Partition Pack in front must be, and
// the footer that it names must begin within the file. Empty where nothing speaks against it.
std::string MxfTrouble(const MxfStart& first, uint64 size);

} // namespace vxcio::tool
