#include "Console.h"
#include "ExitCodes.h"
#include "LogView.h"
#include "Options.h"
#include "Terminal.h"
#include "Text.h"
#include "Verbs.h"

#include "sysu/HostControl.h"

#include <exception>
#include <new>

namespace {

using namespace vxcio::tool;

int Run(int argc, char** argv) {
    Options options;
    if (const std::optional<int> code = ParseOptions(argc, argv, options)) {
        return *code;
    }
    if (options.settingsFile && vxcio::UseSettingsFile(Widen(*options.settingsFile).c_str()) == 0) {
        throw std::bad_alloc();
    }
    LogView log(options.verbose, options.logFile, options.logLevel);
    switch (options.verb) {
    case Verb::Info:
        return RunInfo(options, log);
    case Verb::Cat:
        return RunCat(options, log);
    case Verb::Md5:
        return RunMd5(options, log);
    default:
        return RunSettings(options);
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        PrepareSignals();
        return Run(argc, argv);
    } catch (const OutputLost& lost) {
        return lost.exitCode;
    } catch (const std::exception& error) {
        Complain(error.what());
        return kExitFailed;
    }
}
