// HeapText.h - copying a text into a string where it matters that none of it is lost.
#pragma once

#include "frame/VXCString.h"

namespace vxcio {

// False when memory lacked: the string is empty then, and the text is not. Null counts as empty.
inline bool CopyText(CVXCString& to, const wchar_t* text) noexcept {
    to = text;
    return !to.IsEmpty() || text == nullptr || text[0] == 0;
}

} // namespace vxcio
