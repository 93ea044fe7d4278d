// RunSettings.h - the settings of one run.
#pragma once

#include "Options.h"

#include <string>

namespace vxcio::tool {

// Whether the settings limit how long an operation on one of two copies may take.
bool IsTimeOutSet();

// All that is set now, in the form of a settings file, with the time-outs of the run in the place of those of
// the files.
std::string SettingsWithTimeOut(uint32 milliseconds);

} // namespace vxcio::tool
