// PlugOptions.h - the part of the command line that tells of plug-ins.
#pragma once

#include "Options.h"

namespace CLI {
class App;
}

namespace vxcio::tool {

// Adds load, call and bench to the verb `plug`. Each gets `footer`.
void AddPlugVerbs(CLI::App& plug, Options& options, const char* footer);

} // namespace vxcio::tool
