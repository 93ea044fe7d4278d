// EntryProbe.h - what the library of EntryProbe.cpp tells.
#pragma once

// Attaches and detaches of the library so far.
struct EntryProbeCounts {
    int attached;
    int detached;
};

// Where the counts are kept, as the library's own memory goes with it. Set before it is unloaded.
using EntryProbeKeep = void (*)(EntryProbeCounts* counts);
