// LostPath.h - paths whose copy memory lacked for.
#pragma once

#include "frame/VXCString.h"

namespace vxcio {

// Whether the copy of a path is empty and the path is not. Sent, it would name another file or folder.
inline bool IsLost(const CVXCString& copy, const wchar_t* path) noexcept {
    return copy.IsEmpty() && path != nullptr && path[0] != 0;
}

} // namespace vxcio
