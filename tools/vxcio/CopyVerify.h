// CopyVerify.h - whether a copy stands on the disk as it was read.
#pragma once

#include "CopyReport.h"
#include "CopyTarget.h"
#include "LogView.h"
#include "Options.h"

#include <string>

namespace vxcio::tool {

enum class Checked { Good, Differs, Failed, Interrupted };

// Forces a finished target to the disk, a range at a time. Good, Failed with a reason, or Interrupted.
Checked SyncTarget(const CopyJob& job, const CopyTarget& target, uint64 bytes, const Options& options,
                   CopyReport& report, std::string& reason);

// Reads `bytes` of a target that was forced to the disk from Start() on, past the cache, and compares their
// digest. `from` receives where they came from: "disk", "server", "memory" (a file system that has no disk),
// "cache" (of the system, which would not let go of it) or "unknown"; a warning tells of all but the first.
Checked VerifyTarget(const CopyJob& job, const CopyTarget& target, uint64 bytes, const std::string& digest,
                     const Options& options, LogView& log, CopyReport& report, std::string& from,
                     std::string& reason);

} // namespace vxcio::tool
