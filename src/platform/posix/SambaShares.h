// SambaShares.h - what this machine shares by Samba, as its configuration and its users' shares say.
//
// The text of a configuration is taken as Samba takes it: sections in brackets, "name = value" with case and
// blanks of the name ignored, quotation marks around a value left out, "#" and ";" at the start of a comment,
// a backslash at the end of a line that goes on, runs of blanks as one, "include" one level deep, "copy", and
// a path of the global section as that of all sections that begin behind it. What is neither is skipped, and
// so is what stands below a heading that is broken, where Samba refuses the whole. Any thread. What gives a
// value may throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio {

struct SambaShare {
    std::string name;
    std::string path; // whole, of this system
};

struct SambaConfiguration {
    std::string netbiosName; // these empty where not set
    std::string workgroup;
    std::string usershareFolder;
    std::vector<SambaShare> shares; // in the order in which their sections begin
    std::size_t skippedLines = 0;   // that are no part of a configuration
};

// The text of a file that is included; nothing where there is none.
using ReadIncluded = std::function<std::optional<std::string>(const std::string& file)>;

// More files are not included, and what stands in further sections is left out.
inline constexpr int kMostIncludes = 100;
inline constexpr std::size_t kMostSections = 10000;

// Shares are the sections with a path, but for "global", "homes", "printers" and "print$", those that are not
// available or had no path when their section ended, and those whose path depends on who asks.
SambaConfiguration ParseSamba(std::string_view text, const ReadIncluded& read);

// The share in the file of a user's share with this name; nothing where it tells no path, or where its name
// is none for a share.
std::optional<SambaShare> ParseUserShare(const std::string& fileName, std::string_view text);

// Adds those whose name, with case ignored, no share has before them.
void AddUserShares(SambaConfiguration& configuration, std::vector<SambaShare> shares);

// The file that the setting "SambaConfiguration" names, else the standard one.
std::string OwnSambaFile();

// The configuration of this machine in that file, with its users' shares behind its own. Read again when that
// file has changed, and as long as it may still change unseen; the users' shares only then. Never null; empty
// where there is none; the log tells why where there is a file that is none.
std::shared_ptr<const SambaConfiguration> OwnSamba();

} // namespace vxcio
