#include "PlugHost.h"

#include "Console.h"
#include "ExitCodes.h"
#include "Terminal.h"
#include "Text.h"

#include "../../examples/frame_stats/PlugError.h"

#include <filesystem>
#include <memory>

using frame_stats::PlugError;
using frame_stats::PlugServer;
using frame_stats::ServerFacts;

namespace vxcio::tool {

namespace {

std::unique_ptr<PlugServer> Start(LogView& log) {
    log.Clear();
    try {
        return std::make_unique<PlugServer>();
    } catch (const PlugError& error) {
        const std::string reason = log.LastFailure();
        throw PlugError(error.what() + (reason.empty() ? "" : ": " + reason));
    }
}

} // namespace

std::string PlugPath(const Options& options) {
    // A bare name would be looked for in the folders of the system's libraries.
    return options.plug ? std::filesystem::absolute(*options.plug).string()
                        : Narrow(frame_stats::InstalledPlug());
}

int WithServer(const char* verb, LogView& log, const std::function<int(PlugServer& server)>& work) {
    try {
        const std::unique_ptr<PlugServer> server = Start(log);
        try {
            const int code = work(*server);
            if (!InterruptWanted()) {
                return code;
            }
        } catch (const PlugError&) {
            if (!InterruptWanted()) {
                throw;
            }
        }
        // A Ctrl-C at a terminal goes to the server as well: it may be gone by now.
        server->GiveUp();
        return kExitInterrupted;
    } catch (const PlugError& error) {
        Complain(std::string(verb) + ": " + error.what());
        return kExitFailed;
    }
}

void CheckPlug(const std::string& path, const PlugServer& server) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        throw PlugError("there is no file " + InQuotes(path));
    }
    const int bits = frame_stats::BitsOf(path);
    if (bits == 0) {
        throw PlugError(InQuotes(path) + " is no module");
    }
    if (const std::optional<ServerFacts>& facts = server.Facts();
        facts && facts->bits != 0 && facts->bits != bits) {
        throw PlugError(InQuotes(path) + " has " + std::to_string(bits) +
                        " bits, and the plug-in server has " + std::to_string(facts->bits));
    }
}

Json ServerJson(const PlugServer& server) {
    Json out = {{"process", nullptr}, {"bits", nullptr}, {"program", nullptr}};
    if (const std::optional<ServerFacts>& facts = server.Facts()) {
        out["process"] = facts->process;
        out["bits"] = facts->bits;
        out["program"] = facts->program;
    }
    return out;
}

std::string ServerWords(const PlugServer& server) {
    const std::optional<ServerFacts>& facts = server.Facts();
    return facts ? std::to_string(facts->bits) + " bits, process " + std::to_string(facts->process)
                 : std::string("not to be seen");
}

} // namespace vxcio::tool
