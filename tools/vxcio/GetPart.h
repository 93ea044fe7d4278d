// GetPart.h - what an earlier download has left beside its target, and what this one leaves.
#pragma once

#include "CopyReport.h"
#include "LogView.h"
#include "Options.h"
#include "Stream.h"
#include "TargetFile.h"

#include <memory>
#include <optional>
#include <string>

namespace vxcio::tool {

// What lies under a name of this system; a disk that does not answer in time is a reason of Unknown.
NameFacts LookWithin(const std::string& name, const Options& options);

// Of one source: its size as the server told it and its time as the server listed it; 0 where it is not
// known.
struct SourceFacts {
    uint64 size = 0;
    uint64 time = 0;
};

enum class Match { Same, Differs, SourceFailed, PartFailed, Interrupted };

// Whether the job's part, a file of `bytes` bytes, is the start of the source; `source` receives that opened,
// at the end of the part where it is the start, and `facts` its size. A part whose record tells of the source
// as it is now is looked at in places, any other as a whole. `reason`: why it is not, or is not known.
Match MatchPart(const CopyJob& job, uint64 bytes, const Options& options, LogView& log, CopyReport& report,
                SourceFacts& facts, std::unique_ptr<Stream>& source, std::string& reason);

// The time of a source as its folder's listing tells it; 0 where it tells none, or one so late that the next
// change might be listed with the same.
uint64 ListedTime(const FtpName& source, const Options& options, LogView& log);

// What stands at `name` when a download has ended early. With `facts` it is the job's part, and a record is
// made that fits it, or none is left.
Leftover LeaveDownload(const CopyJob& job, const std::string& name, const SourceFacts* facts,
                       const Options& options);

} // namespace vxcio::tool
