// Probe.h - what can be told about one file by itself.
#pragma once

#include "sysu/HostControl.h"

#include "frame/Types.h"

#include <chrono>
#include <string>

namespace vxcio::tool {

struct FileFacts {
    bool opened = false;
    std::string reason; // why it was not opened, as the end of a sentence
    uint64 size = 0;
    uint32 sectorSize = 0;
    uint32 driveType = 0;
    DiskFacts disk{};
};

// Opens the file by itself and looks. Takes at most as long as `limit`; a disk that does not answer within
// is a reason, too.
FileFacts AskFile(const std::string& name, std::chrono::milliseconds limit);

// What must not reach the library from a command line; empty when nothing is wrong, also where the disk does
// not answer in time.
std::string ReasonAgainst(const std::string& name);

// Why an open of this name failed: what can be said in words, and the numbers for who looks them up.
std::string OpenReason(const std::string& name, uint32 status, uint32 error, const std::string& errorText,
                       const std::string& failure);

// Text of the last error of this thread.
std::string LastErrorWords();

// Which class of the library serves a name.
const char* ServingSource(const std::string& name);

} // namespace vxcio::tool
