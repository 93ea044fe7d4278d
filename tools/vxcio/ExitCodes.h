// ExitCodes.h - how the tool ends. The numbers are told in --help and in README.md; scripts rely on them.
#pragma once

namespace vxcio::tool {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;        // a file could not be opened or read, an output not written
inline constexpr int kExitUsage = 2;         // arguments that make no sense
inline constexpr int kExitMismatch = 3;      // md5 -c: a digest differs from the list; --verify: it differs
inline constexpr int kExitTarget = 4;        // copy, get, put: the target could not be written
inline constexpr int kExitInterrupted = 130; // ended by Ctrl-C or SIGTERM
inline constexpr int kExitClosedPipe = 141;  // whoever reads standard output went away

} // namespace vxcio::tool
