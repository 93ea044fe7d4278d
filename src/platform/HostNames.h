// HostNames.h - from names of hosts to addresses, behind a table that tests replace. Addresses are numbers in
// the host's byte order.
#pragma once

#include "frame/Types.h"

namespace vxcio {

struct HostNameTable {
    // The first IPv4 address of a host by its name or by its dotted address; 0.0.0.0 is one as well. False
    // where it has none, and *address is left alone.
    bool (*firstAddress)(const char* host, uint32* address); // may wait
    // The address at which other hosts know this one: the first of the host's own name or, where that name
    // leads nowhere or back into the host, that of the first interface that is up. 0 where there is none.
    uint32 (*ownAddress)();
};

HostNameTable& HostNames() noexcept;

} // namespace vxcio
