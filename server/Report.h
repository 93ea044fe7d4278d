// Report.h - what the server says of itself: on its standard error, which is its host's.
#pragma once

#include "frame/SystemLayer.h"

namespace vxcserver {

// From here on errors of the log, the bridge's among them, are written there.
void BeginReports() noexcept;

template <class... Arguments>
void ReportError(const wchar_t* format, Arguments... arguments) noexcept {
    VXC_OutputW(L"VXC32ServU", INFOTYPE_ERROR, format, arguments...);
}

} // namespace vxcserver
