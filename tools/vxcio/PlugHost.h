// PlugHost.h - what the verbs of `plug` share: the server, and the plug-in that is meant.
#pragma once

#include "Json.h"
#include "LogView.h"
#include "Options.h"

#include "../../examples/frame_stats/PlugServer.h"

#include <functional>
#include <string>

namespace vxcio::tool {

// Whole path of the plug-in that the command line names, or of the one that is installed.
std::string PlugPath(const Options& options);

// Starts the server and has `work` done with it, which throws frame_stats::PlugError for what failed; `verb`
// stands in front of that in the complaint. The exit code: that of `work`, or of the failure, or of the wish
// to stop, which `work` need only look at between two calls.
int WithServer(const char* verb, LogView& log,
               const std::function<int(frame_stats::PlugServer& server)>& work);

// Throws a PlugError where it can be seen that the server will not load the plug-in.
void CheckPlug(const std::string& path, const frame_stats::PlugServer& server);

// Process, width and program of the server; nulls where the system does not show them.
Json ServerJson(const frame_stats::PlugServer& server);
// "32 bits, process 1234".
std::string ServerWords(const frame_stats::PlugServer& server);

} // namespace vxcio::tool
