// ServerFacts.h - the plug-in server as the system sees it, and where the example's plug-in lies. The bridge
// itself keeps no hold on the server's process.
#pragma once

#include "frame/Types.h"

#include <optional>
#include <string>

namespace frame_stats {

struct ServerFacts {
    uint32 process = 0;
    int bits = 0; // of the program: 32 or 64; 0 where it could not be told
    std::string program;
};

// The server of this process; nothing where there is none.
std::optional<ServerFacts> FindServer();

// Bits of a program or module: 32 or 64; 0 where it is neither, or cannot be read.
int BitsOf(const std::string& file);

// Whether the process still runs.
bool IsRunning(uint32 process);

// The frame statistics plug-in as it is installed, beside the server: VXC32/plugs/FrameStats.so in the folder
// of the library. It need not be there.
std::wstring InstalledPlug();

} // namespace frame_stats
