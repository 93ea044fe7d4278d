// SharedObjects.h - memory and events that processes share by name, behind a table that tests replace.
//
// A name lives as long as a handle or a view of it does, in whichever process; a crashed one's go with it.
// Failures set the last error of the thread.
#pragma once

#include "frame/Types.h"

namespace vxcio {

struct SharedObjectTable {
    // A section of `bytes` zeroed bytes. The handle; of the section that is there already where the name is
    // taken (*existed is 1 then, else 0). Null on failure.
    void* (*createMapping)(const wchar_t* name, uint32 bytes, int* existed);
    void* (*openMapping)(const wchar_t* name);
    // Maps the whole section for reading and writing; it stays mapped when the handle is closed. *bytes is
    // its length. At least `least` bytes can be touched from the address on, those behind the section being
    // zeros of this process, unless memory lacks for that. Null on failure; for a section without bytes
    // *bytes is 0 then, else it is left alone.
    void* (*mapView)(void* mapping, uint32 least, uint64* bytes);
    // Nonzero on success; 0 for an address that is no view, which changes nothing.
    int (*unmapView)(void* address);
    int (*closeMapping)(void* mapping);
    // Nonzero while somebody else has opened the section too.
    int (*hasOthers)(void* mapping);
    // Auto-reset events, to be waited for, signalled and closed by the VXC_ operations. A taken name gives
    // the event that is there, as it stands.
    void* (*createEvent)(const wchar_t* name);
    void* (*openEvent)(const wchar_t* name);
};

SharedObjectTable& SharedObjects() noexcept;

} // namespace vxcio
