// XdcamOptions.h - the part of the command line that tells of XDCAM devices.
#pragma once

#include "Options.h"

namespace CLI {
class App;
}

namespace vxcio::tool {

// Adds info, space and fetch to the verb `xdcam`, whose footer each gets. `addTarget` adds what every verb
// knows that makes a copy.
void AddXdcamVerbs(CLI::App& xdcam, Options& options, void (*addTarget)(CLI::App&, Options&));

// Throws CLI::ValidationError where a name of these verbs is none of a device, or of a file for fetch;
// settles how all of them transfer.
void CheckXdcam(Options& options);

} // namespace vxcio::tool
