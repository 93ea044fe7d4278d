// LostPath.h - paths and commands whose copies memory lacked for.
#pragma once

#include "frame/VXCString.h"

#include <cwchar>

namespace vxcio {

// Whether the copy of a path is empty and the path is not. Sent, it would name another file or folder.
inline bool IsLost(const CVXCString& copy, const wchar_t* path) noexcept {
    return copy.IsEmpty() && path != nullptr && path[0] != 0;
}

// Whether a text that was joined of two has both. One that lost its verb or its path would be another
// command, or name another file. Null counts as empty.
inline bool IsJoined(const CVXCString& whole, const wchar_t* first, const wchar_t* second) noexcept {
    const std::size_t length =
        (first == nullptr ? 0 : std::wcslen(first)) + (second == nullptr ? 0 : std::wcslen(second));
    return static_cast<std::size_t>(whole.GetLength()) == length;
}

} // namespace vxcio
