// HttpWords.h - what readings of URLs share: passwords stay out of sight, waits have limits, and failures are
// told in the words of the companion module.
#pragma once

#include "HttpName.h"
#include "LogView.h"
#include "Options.h"

#include <chrono>
#include <memory>
#include <string>

namespace vxcio::tool {

// Keeps the password out of all lines, as it was written and as it goes to the server: the library's own
// lines hold the whole name.
void HidePassword(const HttpName& name, LogView& log);

// How long a server may be silent in this run.
std::chrono::milliseconds HttpSilence(const Options& options);
// How long a call may take that moves so many bytes.
std::chrono::milliseconds HttpLimit(std::chrono::milliseconds silence, uint64 bytes);

// What the module has said last, without this name in front of it; all of it where it tells of another name.
std::string ModuleWords(const HttpName& name, const LogView& log);
// Whether it tells of this name.
bool IsAbout(const HttpName& name, const LogView& log);
// Why an open failed.
std::string OpenWords(const HttpName& name, const LogView& log, uint32 status);
// Why there is no module.
std::string NoModuleWords(const LogView& log);

// What was left behind is not torn down by whoever leaves: that would wait for the network.
void KeepForGood(std::shared_ptr<void> left);

} // namespace vxcio::tool
