// SambaShares.h - what this machine shares by Samba, as its configuration and its users' shares say.
//
// The text of a configuration is taken as Samba takes it: sections in brackets, "name = value" with case and
// blanks of the name ignored, quotation marks around a value left out, "#" and ";" at the start of a comment,
// a backslash at the end of a line that goes on, "include" one level deep. What is neither is skipped, and so
// is what stands below a heading that is broken. Any thread. What gives a value may throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <functional>
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

// More files are not included.
inline constexpr int kMostIncludes = 100;

// Shares are the sections with a path, but for "global", "homes", "printers" and "print$", those that are not
// available, and those whose path depends on who asks.
SambaConfiguration ParseSamba(std::string_view text, const ReadIncluded& read);

// The share in the file of a user's share with this name; nothing where it tells no path, or where its name
// is none for a share.
std::optional<SambaShare> ParseUserShare(const std::string& fileName, std::string_view text);

// Adds those whose name, with case ignored, no share has before them.
void AddUserShares(SambaConfiguration& configuration, std::vector<SambaShare> shares);

// The configuration of this machine with its users' shares behind its own, from the file that the setting
// "SambaConfiguration" names. Read again when that file has changed, and as long as it may still change
// unseen; the users' shares only then. Empty where there is none; the log tells why where there is a file
// that is none.
SambaConfiguration OwnSamba();

} // namespace vxcio
