// SambaShares.h - what this machine shares by Samba, as its configuration and its users' shares say.
//
// The text of a configuration is taken as Samba takes it: sections in brackets, "name = value" with case and
// blanks of the name ignored, "#" and ";" at the start of a comment, a backslash at the end of a line that
// goes on, "include" one level deep. Any thread. What gives a value may throw std::bad_alloc.
#pragma once

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
};

// The text of a file that is included; nothing where there is none.
using ReadIncluded = std::function<std::optional<std::string>(const std::string& file)>;

// Shares are the sections with a path, but for "global", "homes", "printers" and "print$", those that are not
// available, and those whose path depends on who asks.
SambaConfiguration ParseSamba(std::string_view text, const ReadIncluded& read);

// The share in the file of a user's share with this name; nothing where it tells no path.
std::optional<SambaShare> ParseUserShare(const std::string& fileName, std::string_view text);

// The configuration of this machine with its users' shares behind its own, from the file that the setting
// "SambaConfiguration" names. Read again when that file has changed; the users' shares only then. Empty where
// there is none.
SambaConfiguration OwnSamba();

} // namespace vxcio
