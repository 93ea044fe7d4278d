// Names.h - what the names of the command line mean: single files, two copies of one, and lists.
#pragma once

#include "FtpName.h"
#include "FtpStretch.h"
#include "HttpName.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio::tool {

// One file; `second` names its mirrored copy, or is empty.
struct Entry {
    std::string first; // of an FTP name or a URL what may be shown of it
    std::string second;
    std::string written;                      // as it was given, for messages; without a password
    std::shared_ptr<const FtpName> ftp;       // null for a file
    std::string wrong;                        // not empty: why it cannot be opened
    std::shared_ptr<FtpStretch> stretch = {}; // of an FTP name: only this of it
    std::shared_ptr<const HttpName> url = {}; // null for a file and an FTP name
};

// What is read as one stream.
struct Input {
    std::vector<Entry> entries; // never empty
    bool joined = false;        // a list, even if it has one entry only
    std::string written;
};

// How many of them are URLs.
std::size_t CountUrls(const Input& input);

// "FIRST*SECOND" is two copies. A star that belongs to a name is written twice; one at the very start belongs
// to the name anyhow. No disk is asked, as one of the two may be dead. Nothing where no second name follows
// the star; then `reason` tells.
//
// An FTP name is one file with all its stars, and so is a URL. Nothing where it makes no sense, or where it
// is one of two copies.
std::optional<Entry> ParseEntry(const std::string& text, std::string& reason);

// The names of the lines of a list file: UTF-8, one a line, without blank lines and those that begin with
// '#'. Relative names count from the list's folder. Nothing with a reason where it cannot be read, where a
// line makes no sense or where it names no file.
std::optional<std::vector<Entry>> ReadNameList(const std::string& list, std::string& reason);

// Each name an input of its own, "@FILE" one of all that the list names; with `join` all of them one.
// Nothing with a reason where one makes no sense.
std::optional<std::vector<Input>> ReadNames(const std::vector<std::string>& names, bool join,
                                            std::string& reason);

// A plain name, taken as it stands: a file, or an FTP name or URL, in whose entry stands what is wrong with
// it.
Input PlainInput(const std::string& name);

} // namespace vxcio::tool
