// EthernetDisks.h - the disks on which files are never written past the cache.
#pragma once

#include "frame/Types.h"

#include <string>
#include <string_view>
#include <vector>

namespace vxcio {

// The entries of the setting "DiskArray". The text between two stars is not an entry by itself: each entry
// begins with all that came before it, so 'D:\*E:\' means 'D:\' and 'D:\E:\'. A star at the very end is a
// character of the last entry, one at the very start makes an empty entry, with which every name begins.
// Throws std::bad_alloc.
std::vector<std::wstring> SplitDiskArray(std::wstring_view text);

// Whether the name begins with one of the entries of the setting, upper and lower case alike; characters
// count, not folders. Without the setting no name does. Throws std::bad_alloc.
bool IsOnEthernetDisk(const wchar_t* fileName);

} // namespace vxcio
