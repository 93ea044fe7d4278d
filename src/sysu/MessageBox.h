// MessageBox.h - questions to the user in a window of the system.
#pragma once

#include "frame/Types.h"

namespace vxcio {

// The answer, kPromptNo where there are no windows.
int ShowMessageBox(const wchar_t* text, const wchar_t* caption, uint32 kind);

} // namespace vxcio
