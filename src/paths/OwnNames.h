// OwnNames.h - what this machine is called in the names of its shares. Any thread; may wait for a disk.
#pragma once

#include "frame/Export.h"

namespace vxcio {

// Texts of no content are empty, never null; they live only for the call.
struct OwnNames {
    const wchar_t* computer;      // the "COMPUTER" of \\COMPUTER\share
    const wchar_t* computerFrom;  // the file that sets it; empty where it is made of the host's name
    const wchar_t* workgroup;     // in front of the names that Local2UNC gives
    const wchar_t* configuration; // the file in which shares are looked for, whether it is there or not
};

// Calls `take` with them once. 0 where memory lacked, and it was not called.
using OwnNamesTaker = void (*)(void* context, const OwnNames& names);
VXCSOFTCODECIO_API int AskOwnNames(OwnNamesTaker take, void* context) noexcept;

} // namespace vxcio
