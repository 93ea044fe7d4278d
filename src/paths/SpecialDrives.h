// SpecialDrives.h - the drives whose files count as local whatever the drives lead to. One list serves the
// process; it only grows. Any thread. What gives a string or list may throw std::bad_alloc.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vxcio {

// "D:\" for the settings "d", "D:" and "D:\"; empty for names that are no drive.
std::wstring SpecialDriveOf(std::wstring_view name);

// Asks the system for them and adds them.
void ReadSpecialDrives();

std::vector<std::wstring> SpecialDrives();
bool IsOnSpecialDrive(std::wstring_view path);

// For tests.
void ForgetSpecialDrives() noexcept;

} // namespace vxcio
