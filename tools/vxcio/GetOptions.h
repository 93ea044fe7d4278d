// GetOptions.h - the part of the command line that tells of single files from and to servers.
#pragma once

#include "Options.h"

namespace CLI {
class App;
}

namespace vxcio::tool {

// Adds get and put. Each gets `footer`.
void AddGetVerbs(CLI::App& app, Options& options, const char* footer);

// Throws CLI::ValidationError where names and options of theirs do not go together.
void CheckGetOptions(const Options& options);

} // namespace vxcio::tool
