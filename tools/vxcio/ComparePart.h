// ComparePart.h - whether a part that an earlier copy has left is the start of its source.
#pragma once

#include "CopyReport.h"
#include "LogView.h"
#include "Options.h"
#include "Readable.h"

#include <string>
#include <vector>

namespace vxcio::tool {

struct Range {
    uint64 from = 0;
    uint64 bytes = 0;

    bool operator==(const Range&) const = default;
};

// Where a part is looked at of which it is known what it was made from: the first and the last MiB, and 14
// times 256 KiB spread between; all of one that is not much larger than these together.
std::vector<Range> WindowsOf(uint64 bytes);

enum class Likeness { Same, Differs, Unread, Interrupted };

// Compares these ranges byte for byte, in their order. `at` receives the first byte that differs, `reason`
// why one of the two could not be read.
Likeness Compare(Readable& source, Readable& part, const std::vector<Range>& ranges, CopyReport& report,
                 uint64& at, std::string& reason);

// Whether a file on a server of which it tells no size, or 0, is empty: read to the server's word that this
// is all.
bool IsProvenEmpty(const FtpName& name, const Options& options, LogView& log);

} // namespace vxcio::tool
