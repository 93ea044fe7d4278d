// The entry of the module that holds the verbs.
#include "Console.h"
#include "ExitCodes.h"
#include "LogView.h"
#include "Options.h"
#include "Terminal.h"
#include "TimedThread.h"
#include "Verbs.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

using namespace vxcio::tool;

int Run(const Options& options) {
    LogView log(options.verbose, options.logFile, options.logLevel);
    switch (options.verb) {
    case Verb::Info:
        return RunInfo(options, log);
    case Verb::Cat:
        return RunCat(options, log);
    case Verb::Md5:
        return RunMd5(options, log);
    case Verb::Copy:
        return RunCopy(options, log);
    case Verb::List:
        return RunList(options, log);
    case Verb::Exists:
        return RunExists(options, log);
    case Verb::Remove:
        return RunRemove(options, log);
    case Verb::Move:
        return RunMove(options, log);
    case Verb::MakeFolder:
        return RunMakeFolder(options, log);
    case Verb::RemoveFolder:
        return RunRemoveFolder(options, log);
    case Verb::Get:
        return RunGet(options, log);
    case Verb::Put:
        return RunPut(options, log);
    case Verb::Path:
        return RunPath(options, log);
    case Verb::Shares:
        return RunShares(options, log);
    case Verb::PlugLoad:
        return RunPlugLoad(options, log);
    case Verb::PlugCall:
        return RunPlugCall(options, log);
    case Verb::PlugBench:
        return RunPlugBench(options, log);
    case Verb::XdcamInfo:
        return RunXdcamInfo(options, log);
    case Verb::XdcamSpace:
        return RunXdcamSpace(options, log);
    case Verb::XdcamFetch:
        return RunXdcamFetch(options, log);
    default:
        return RunSettings(options);
    }
}

int RunCaught(const Options& options) {
    try {
        PrepareSignals();
        const int code = Run(options);
        // What was waited for when the wish to stop came counts as failed, and is not the reason.
        return code != kExitOk && InterruptWanted() ? kExitInterrupted : code;
    } catch (const OutputLost& lost) {
        return lost.exitCode;
    } catch (const std::exception& error) {
        Complain(error.what());
        return kExitFailed;
    }
}

} // namespace

extern "C" int vxcio_run_verb(const Options& options) {
    const int code = RunCaught(options);
    if (TimedThread::IsAnyLeft()) {
        // What it is at, the library and those below it, must not be torn down under it.
        std::fflush(stdout);
        std::fflush(stderr);
        std::_Exit(code);
    }
    return code;
}
