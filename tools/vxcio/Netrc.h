// Netrc.h - the file in which people keep the users and passwords of their FTP servers.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::tool {

struct NetrcEntry {
    std::optional<std::string> machine; // nothing: the default, for every host
    std::optional<std::string> login;
    std::optional<std::string> password;
};

// Words are parted by blanks, tabs and line ends; "a word" in quotation marks may hold blanks, and a
// backslash in front of a character. Entries begin with `machine NAME` or `default`; behind it stand `login`,
// `password` and `account`, each with a value. `macdef NAME` goes on to the next empty line, and where a word
// such as these is due, '#' begins a comment of one line. Nothing with a reason, which shows no value, where
// the text makes no sense.
std::optional<std::vector<NetrcEntry>> ParseNetrc(std::string_view text, std::string& reason);

// The first entry for this host and, where `user` is given, for that user or for none by name; behind the
// default nothing is looked at. Null where there is none.
const NetrcEntry* FindNetrc(const std::vector<NetrcEntry>& entries, std::string_view host,
                            const std::optional<std::string>& user);

enum class PrivateRead { Good, Missing, Refused };

// A file that holds secrets: Refused with a reason where it cannot be read, is no ordinary file or too large,
// belongs to another user, or others can read it.
PrivateRead ReadPrivateFile(const std::string& file, std::string& text, std::string& reason);

} // namespace vxcio::tool
