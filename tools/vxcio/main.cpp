// vxcio without its verbs: what must be settled before the library is loaded.
#include "Console.h"
#include "ExitCodes.h"
#include "FtpName.h"
#include "Options.h"
#include "RunSettings.h"
#include "Start.h"
#include "Terminal.h"
#include "Text.h"

#include "sysu/HostControl.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

namespace {

using namespace vxcio::tool;

void UseNamedSettings(const Options& options) {
    if (options.settingsFile && vxcio::UseSettingsFile(Widen(*options.settingsFile).c_str()) == 0) {
        throw std::bad_alloc();
    }
}

constexpr const char* kPasswordVariable = "VXCIO_FTP_PASSWORD";

bool HasServers(Verb verb) {
    switch (verb) {
    case Verb::Info:
    case Verb::Cat:
    case Verb::Md5:
    case Verb::Copy:
    case Verb::List:
    case Verb::Exists:
    case Verb::Remove:
    case Verb::Move:
    case Verb::MakeFolder:
    case Verb::RemoveFolder:
    case Verb::Get:
    case Verb::Put:
        return true;
    default:
        return false;
    }
}

// Without any limit a copy that hangs would let no reading of two copies come to its end.
constexpr uint32 kOrdinaryTimeOut = 10000; // milliseconds

// The list of processes shows the command line to everybody.
void WipePasswords(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        WipePassword(argv[i]);
    }
}

// Processes that are started from here on have no use for it.
void TakePassword(Options& options) {
    char* const password = std::getenv(kPasswordVariable);
    if (password != nullptr) {
        options.ftpPassword = password;
        std::memset(password, '*', std::strlen(password));
        ForgetVariable(kPasswordVariable);
    }
}

int Run(int argc, char** argv) {
    Options options;
    const std::optional<int> code = ParseOptions(argc, argv, options);
    WipePasswords(argc, argv);
    if (code) {
        return *code;
    }
    TakePassword(options);
    UseNamedSettings(options);
    if (!options.timeOut && !IsTimeOutSet()) {
        options.timeOut = kOrdinaryTimeOut;
    }
    std::string reason;
    const std::string settings =
        options.timeOut ? SettingsWithTimeOut(*options.timeOut, options.ftpTimeOut) : std::string();
    // Sources of FTP names and URLs ask for their time-out whenever they open a file.
    const bool keep = options.ftpTimeOut && HasServers(options.verb);
    const RunVerb run = LoadVerbs(settings, keep, reason);
    if (run == nullptr) {
        Complain(reason);
        return kExitFailed;
    }
    if (!keep) {
        UseNamedSettings(options); // loading may have used others
    }
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
