// Process.h - this process, and starting others, behind a table that tests replace.
#pragma once

#include "frame/Types.h"

namespace vxcio {

struct ProcessTable {
    uint32 (*processId)();
    uint32 (*threadId)();
    // Starts the program of a command line. The handle of the process, or null with the last error set.
    void* (*start)(const wchar_t* commandLine);
    // Closes the handle; the process goes on.
    void (*closeProcess)(void* process);
    // The next number of the runtime library's generator, which nobody seeds here.
    int (*random)();
};

ProcessTable& Process() noexcept;

} // namespace vxcio
