// OwnConnections.h - what goes on at the network connections of the test process, as the system tells it.
#pragma once

#include "frame/Types.h"

#include <sys/types.h>

namespace vxcio::test {

// Bytes that the system keeps on the TCP connections of this process to servers on this machine, for both
// ends of them.
struct KeptBytes {
    uint64 toServers = 0; // written, and not yet read by a server
    uint64 fromServers = 0;
    bool operator==(const KeptBytes&) const = default;
};
KeptBytes BytesOnConnections();

// The number of the calling thread, as the system has it.
pid_t OwnThread();

// Waits until this thread of the process sleeps while those bytes stay as they are and `isSettled` holds of
// them. False where it ends, or does not come to rest in time (Bounded.h).
[[nodiscard]] bool WaitUntilAtRest(pid_t thread, bool (*isSettled)(const KeptBytes&));

} // namespace vxcio::test
