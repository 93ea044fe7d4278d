// FileOptions.h - the part of the command line that tells of servers, and of files that are not transferred.
#pragma once

#include "Options.h"

namespace CLI {
class App;
}

namespace vxcio::tool {

// What every verb takes that knows FTP names.
void AddFtpOptions(CLI::App& app, Options& options);

// Adds ls, exists, rm, mv, mkdir and rmdir. Each gets `footer`.
void AddFileVerbs(CLI::App& app, Options& options, const char* footer);

// Throws CLI::ValidationError where a name is an FTP name that makes no sense, or one where none can stand.
void CheckFtpNames(const Options& options);
// The same of a URL.
void CheckHttpNames(const Options& options);

} // namespace vxcio::tool
