// PlugRun.h - what tests of plug-ins share: where the modules lie, what a run leaves, and frames to count.
#pragma once

#include "frame/Types.h"
#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <array>
#include <string>
#include <sys/types.h>
#include <vector>

namespace vxcio::test {

// Bits of a program or module by its head.
int BitsOf(const std::string& file);

// lib/plugs or lib/plugs64 of the build tree, whichever the server can load.
std::string TestPlug(const std::string& name);

// Waits for the end of a process that is no child of ours. False where it does not come.
bool EndsSoon(pid_t process);

// Names that a host has left behind.
std::vector<std::string> NamesOf(pid_t host);

// The library and the verbs of the tool at another place, with a folder of servers or without one. Runs of
// the built programs see it by its environment.
class OtherPlace {
public:
    // `servers` is the folder that holds the server, or empty.
    explicit OtherPlace(const std::string& servers);

    // Takes a library away from there, such as "X.so".
    void Remove(const std::string& library) const;
    Outcome Run(const std::vector<std::string>& command) const;

private:
    TempFolder m_folder;
};

// The server folders of the build tree, of one width or of both.
std::vector<std::string> ServerFolders();

// Random frames of three planes, and what their luma holds.
struct Frames {
    Frames(uint32 itsWidth, uint32 itsHeight, bool is422, uint32 itsCount, uint32 seed);

    uint32 width;
    uint32 height;
    uint32 count;
    std::vector<uint8> bytes;
    std::vector<std::array<uint64, 256>> histograms; // one a frame

    std::string Text() const { return {bytes.begin(), bytes.end()}; }
    std::array<uint64, 256> Total() const;
};

// Of a histogram: least, most and average value, as "min 16  max 235  average 120.5".
std::string InWords(const std::array<uint64, 256>& histogram);

} // namespace vxcio::test
