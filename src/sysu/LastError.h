// LastError.h - the last error of the calling thread, inside the system layer.
#pragma once

#include "frame/Types.h"

namespace vxcio::sysu {

// Sets the number; its text is the layer's own for that number.
void SetLastError(uint32 number) noexcept;

// Sets the Windows number of an error of the system, and keeps the system's own for the text. 0 clears.
void SetLastSystemError(int systemError) noexcept;

// The Windows number of an error of the system.
uint32 TranslateSystemError(int systemError) noexcept;

} // namespace vxcio::sysu
