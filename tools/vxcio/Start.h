// Start.h - what is done before the library is loaded: it reads its time-outs once, at load.
#pragma once

#include "Options.h"

#include <string>

namespace vxcio::tool {

// The verbs stand in a module of their own, since the library comes with them. Its one entry gives the exit
// code and throws nothing.
using RunVerb = int (*)(const Options& options);
inline constexpr const char* kRunVerbName = "vxcio_run_verb";

// Loads the verbs, with the library reading `settings` at load in place of the files, if it is not empty;
// with `keep` also later, to the end of the process. Null with a reason when that fails.
RunVerb LoadVerbs(const std::string& settings, bool keep, std::string& reason);

} // namespace vxcio::tool
