// A plug-in for tests, whose calls come to no end while their host lives. Each says the number of its
// server's process on standard output first, in a line of nine characters.
#include "bridge/VXC32Plug.h"

#include <chrono>
#include <cstdio>
#include <thread>
#include <unistd.h>

VXC32PLUG_EXPORT int VXC32PlugCall(void* /*instance*/, uint32 /*command*/, const wchar_t* /*commandString*/,
                                   CVXCSerialize& /*request*/, CVXCSerialize& /*reply*/) {
    const pid_t host = getppid();
    char line[32];
    const int length = std::snprintf(line, sizeof line, "%08d\n", static_cast<int>(getpid()));
    if (write(STDOUT_FILENO, line, static_cast<std::size_t>(length)) != length) {
        return 1;
    }
    while (getppid() == host) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return 0;
}
