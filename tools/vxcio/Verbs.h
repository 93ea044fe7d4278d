// Verbs.h - what the tool does, one function a verb. Each gives the exit code; OutputLost comes through.
#pragma once

#include "LogView.h"
#include "Options.h"

namespace vxcio::tool {

int RunInfo(const Options& options, LogView& log);
int RunCat(const Options& options, LogView& log);
int RunMd5(const Options& options, LogView& log);
int RunCopy(const Options& options, LogView& log);
int RunList(const Options& options, LogView& log);
int RunExists(const Options& options, LogView& log);
int RunRemove(const Options& options, LogView& log);
int RunMove(const Options& options, LogView& log);
int RunMakeFolder(const Options& options, LogView& log);
int RunRemoveFolder(const Options& options, LogView& log);
int RunXdcamInfo(const Options& options, LogView& log);
int RunXdcamSpace(const Options& options, LogView& log);
int RunXdcamFetch(const Options& options, LogView& log);
int RunGet(const Options& options, LogView& log);
int RunPut(const Options& options, LogView& log);
int RunPath(const Options& options, LogView& log);
int RunShares(const Options& options, LogView& log);
int RunSettings(const Options& options);
int RunPlugLoad(const Options& options, LogView& log);
int RunPlugCall(const Options& options, LogView& log);
int RunPlugBench(const Options& options, LogView& log);

} // namespace vxcio::tool
