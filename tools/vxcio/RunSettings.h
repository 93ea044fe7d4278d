// RunSettings.h - the settings of one run.
#pragma once

#include "Options.h"

#include <optional>
#include <string>

namespace vxcio::tool {

// Whether the settings limit how long an operation on one of two copies may take.
bool IsTimeOutSet();

// All that is set now, in the form of a settings file, with the time-outs of the run in the place of those of
// the files: that of file handles, and that of FTP transfers where there is one.
std::string SettingsWithTimeOut(uint32 milliseconds, std::optional<uint32> ftpMilliseconds = {});

} // namespace vxcio::tool
