// EntryProbe.h - what the library of EntryProbe.cpp tells.
#pragma once

// Attaches and detaches of the library so far, of the table of shares ("T", "t") and of the module ("M",
// "m"), in their order.
struct EntryProbeCounts {
    int attached;
    int detached;
    char order[8];
};

// Where the counts are kept, as the library's own memory goes with it. Set before it is unloaded.
using EntryProbeKeep = void (*)(EntryProbeCounts* counts);
