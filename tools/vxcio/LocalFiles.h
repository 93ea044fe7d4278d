// LocalFiles.h - folders and names of this system, for the verbs that know them on servers as well.
//
// Everything here may wait for a disk: see Guarded.h. A text that a function gives is empty when all went
// well, else the system's reason.
#pragma once

#include "frame/Types.h"

#include <string>
#include <vector>

namespace vxcio::tool {

struct LocalEntry {
    std::string name;
    bool isFolder = false; // also a link to one
    uint64 size = 0;       // of a file, else 0
    uint64 time = 0;       // 100 ns since the start of 1601
};

struct LocalListing {
    std::string reason; // not empty: there is nothing to tell
    bool isFolder = true;
    std::vector<LocalEntry> entries; // of the folder, or the one file itself
};

LocalListing ListLocal(const std::string& name);

// A target that is there is replaced, but for a folder by a file and the other way.
std::string RenameLocal(const std::string& from, const std::string& to);

// A folder that is empty, and no link to one.
std::string RemoveLocalFolder(const std::string& name);

} // namespace vxcio::tool
