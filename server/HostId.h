// HostId.h - whom the server serves, as its command line tells.
#pragma once

#include "frame/Types.h"

#include <optional>
#include <string>

namespace vxcserver {

struct HostId {
    std::wstring text; // as it stands, zeros in front and all: channels are named by it
    uint32 process;    // its number
};

// The last word of the command line, which may come cut at its blanks or not. Nothing unless that is the
// number of a process.
std::optional<HostId> TakeHostId(int count, const char* const* words);

} // namespace vxcserver
