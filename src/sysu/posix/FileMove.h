// FileMove.h - giving a file another name, on another disk too.
#pragma once

#include <string>

namespace vxcio::sysu {

// Never replaces what is there: EEXIST. A folder keeps to its disk (EXDEV); a file is copied and removed
// where it must be. A copy that cannot be finished is taken back; one whose original cannot be removed
// stays beside it and counts as moved. The same name twice is no change. 0, or the system's error.
int MoveFile(const std::string& oldPath, const std::string& newPath) noexcept;

} // namespace vxcio::sysu
