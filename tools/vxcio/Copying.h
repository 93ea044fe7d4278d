// Copying.h - one copy, from its opening until it has its name.
#pragma once

#include "CopyPlan.h"
#include "CopyReport.h"
#include "LogView.h"
#include "Options.h"

namespace vxcio::tool {

// The exit code; what became of it has been told.
int CopyOne(const CopyJob& job, const Options& options, LogView& log, CopyReport& report);

} // namespace vxcio::tool
