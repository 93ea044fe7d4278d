// NativeName.h - names of the interface to names of the system.
//
//   X:\dir\file           the folder of the letter in the drive map of the settings, then /dir/file
//   \\server\share\file   the folder in the share map, else the mounted share, then /file
//   \dir\file             /dir/file, unless the current folder has a file of that name
//   anything else         as it is; a backslash is a character like others
//
// Below a mapped drive or share "." and ".." are resolved by the text and never lead out of it. All
// functions look at the disk and the settings, so they may block; they may throw std::bad_alloc.
#pragma once

#include "frame/Types.h"

#include <string>

namespace vxcio::sysu {

struct NativeName {
    std::string path;
    // Bytes of the path that are the folder of the drive or share; 0 for other names.
    std::size_t rootLength = 0;
    // Not 0: there is no such name, and this is its last-error number: 3 for an empty or null name and for
    // a drive that is not mapped, 53 for a share.
    uint32 error = 0;
};

// Trailing blanks and dots of the last part are dropped where the exact name is not there.
NativeName ToNativeName(const wchar_t* name);

// For names that may be joined from a folder of this system and the rest with a backslash: where the exact
// name is not there, each backslash behind the longest existing folder that ends before one separates. Where
// no folder ends before a backslash, and otherwise, like ToNativeName.
NativeName ToJoinedName(const wchar_t* name);

// For names that are joined from a folder and a file with a backslash, as those of modules are: beyond the
// longest existing beginning each backslash separates folders. Otherwise like ToNativeName.
NativeName NativeModulePath(const wchar_t* name);

} // namespace vxcio::sysu
