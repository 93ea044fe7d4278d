// BenchCommands.h - what the plug-in for benchmarks does. Numbers on the wire.
#pragma once

#include "frame/Types.h"

namespace bench {

inline constexpr uint32 kNothing = 1;   // no arguments, no results
inline constexpr uint32 kEcho = 2;      // a block, which comes back
inline constexpr uint32 kProcessId = 3; // the number of the server's process, 32 bits
inline constexpr uint32 kDawdle = 4;    // milliseconds, 32 bits, after which it comes back

} // namespace bench
