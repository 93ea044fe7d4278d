// NetworkOrigin.h - where the names of this machine and of its shares are read from. Any thread; may wait for
// a disk. Throws std::bad_alloc.
#pragma once

#include <string>

namespace vxcio {

struct NetworkOrigin {
    std::wstring configuration; // the file in which shares are looked for
    std::wstring computerFile;  // the file that names this machine; empty where that is the host's name
};

NetworkOrigin OriginOfNetworkNames();

} // namespace vxcio
