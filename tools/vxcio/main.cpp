// vxcio without its verbs: what must be settled before the library is loaded.
#include "Console.h"
#include "ExitCodes.h"
#include "Options.h"
#include "RunSettings.h"
#include "Start.h"
#include "Terminal.h"
#include "Text.h"

#include "sysu/HostControl.h"

#include <exception>
#include <new>

namespace {

using namespace vxcio::tool;

void UseNamedSettings(const Options& options) {
    if (options.settingsFile && vxcio::UseSettingsFile(Widen(*options.settingsFile).c_str()) == 0) {
        throw std::bad_alloc();
    }
}

// Without any limit a copy that hangs would let no reading of two copies come to its end.
constexpr uint32 kOrdinaryTimeOut = 10000; // milliseconds

int Run(int argc, char** argv) {
    Options options;
    if (const std::optional<int> code = ParseOptions(argc, argv, options)) {
        return *code;
    }
    UseNamedSettings(options);
    if (!options.timeOut && !IsTimeOutSet()) {
        options.timeOut = kOrdinaryTimeOut;
    }
    std::string reason;
    const std::string settings = options.timeOut ? SettingsWithTimeOut(*options.timeOut) : std::string();
    const RunVerb run = LoadVerbs(settings, reason);
    if (run == nullptr) {
        Complain(reason);
        return kExitFailed;
    }
    UseNamedSettings(options); // loading may have used others
    return run(options);
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
