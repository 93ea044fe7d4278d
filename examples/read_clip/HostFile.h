// HostFile.h - a host's own file functions: the table that a host packs into a name to put its own file
// system under the library.
#pragma once

#include "filehandle/CallerFileFunctions.h"

#include <atomic>

// Files of the C library behind the table, with a count of the calls. The table must live until the file was
// opened and the functions until it was closed; both live as long as the process here.
namespace host {

struct Calls {
    std::atomic<unsigned> open{0};
    std::atomic<unsigned> read{0};
    std::atomic<unsigned> seek{0};
    std::atomic<unsigned> close{0};
};

Calls& Count();

IOCallbackSet* Table();

} // namespace host
