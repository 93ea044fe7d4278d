// FtpListing.h - what stands in a folder of an FTP server.
#pragma once

#include "FtpName.h"
#include "LogView.h"
#include "Options.h"

#include "frame/Types.h"

#include <optional>
#include <string>
#include <vector>

namespace vxcio::tool {

struct FtpEntry {
    std::string name;
    bool isFolder = false;
    uint32 sizeLow = 0; // the low 32 bits of the size: a listing of the library has no more
    uint64 time = 0;    // 100 ns since the start of 1601, as the server tells it; 0 where it is not known
};

struct FtpFolder {
    std::vector<FtpEntry> entries; // in the server's order, without "." and ".."
    uint64 strangeLines = 0;       // that looked like entries and could not be read

    const FtpEntry* Find(const std::string& name) const;
};

// The entries of a folder, on a session of its own. Links are none of them. Nothing with a reason where it
// cannot be listed to its end; `isNoFolder`: the server has said that there is none that can be entered.
std::optional<FtpFolder> ListFtp(const FtpName& folder, const Options& options, LogView& log,
                                 std::string& reason, bool* isNoFolder = nullptr);

// The entry of a name in the listing of its folder; nothing where it is not in it, or the folder cannot be
// listed.
std::optional<FtpEntry> ListedEntry(const FtpName& name, const Options& options, LogView& log,
                                    std::string& reason);

enum class FtpKind { Missing, File, Folder, Unknown };

struct FtpFacts {
    FtpKind kind = FtpKind::Unknown;
    std::string reason;            // of Unknown
    std::optional<FtpEntry> entry; // as its folder lists it, if it does
};

// What a name leads to: an entry of its folder, else a folder that can be entered, else, as a link may lead
// to it, a file that can be opened. Missing only where the server has refused both for good; Unknown where it
// cannot be asked or says nothing that tells.
FtpFacts LookAtFtp(const FtpName& name, const Options& options, LogView& log);

} // namespace vxcio::tool
