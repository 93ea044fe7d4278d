// GetCheck.h - whether what came down is the whole source.
#pragma once

#include "CopyReport.h"
#include "LibraryCopy.h"
#include "LogView.h"
#include "Options.h"
#include "TargetFile.h"

#include <string>

namespace vxcio::tool {

// Why what the library's copy fetched cannot be the whole source; empty where it can.
std::string TroubleWith(const LibraryCopyEnd& end, const FtpName& source, const Options& options,
                        LogView& log);

enum class Arrived { Whole, SourceFailed, TargetFailed, Differs, Interrupted };

// Whether this file holds the bytes of `facts`, the server still tells as many (`size`: it did before; 0
// where it told none), and, with --verify, source and file, read once more, have the same digest: `facts`
// receives that.
Arrived CheckDownload(const CopyJob& job, const TargetFile::Pointer& file, uint64 size,
                      const Options& options, LogView& log, CopyReport& report, CopyFacts& facts,
                      std::string& reason);

} // namespace vxcio::tool
