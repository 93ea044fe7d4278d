// vxcio exists, rm, mv, mkdir and rmdir: what needs no transfer.
//
// Local files are removed and folders made by the library, as those of servers are. A local RenameFile of the
// library has no result and removes a target before it looks at the source, and a local DeleteFolder makes a
// folder: there the system itself is asked.
#include "Console.h"
#include "ExitCodes.h"
#include "FtpCommands.h"
#include "FtpListing.h"
#include "FtpName.h"
#include "Guarded.h"
#include "Json.h"
#include "LocalFiles.h"
#include "Reading.h"
#include "Stream.h"
#include "TargetFile.h"
#include "Terminal.h"
#include "Text.h"
#include "Verbs.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace vxcio::tool {

namespace {

std::string NoAnswer(std::chrono::milliseconds limit) {
    return "the disk does not answer within " + std::to_string(limit.count()) + " ms";
}

std::string AskDisk(const Options& options, std::function<std::string()> question) {
    const std::chrono::milliseconds limit = AskLimit(options);
    const std::optional<std::string> answer = Within<std::string>(limit, std::move(question));
    return answer ? *answer : NoAnswer(limit);
}

// An operation of the library on a local name; its reason stands in the log alone.
std::string AskLibrary(const Options& options, LogView& log, const std::string& name,
                       int (CSoftDataIO::*operation)(const wchar_t*)) {
    // What the system says is logged as a line of the trace.
    const auto said = std::make_shared<std::string>();
    const auto lock = std::make_shared<std::mutex>();
    log.Listen([said, lock](INFOTYPE, std::string_view text) {
        const std::lock_guard guard(*lock);
        *said = text;
    });
    const std::string reason = AskDisk(options, [name, operation] {
        const SourcePointer source(CSoftDataSource::Construct(IOWORKMODE_FILE));
        const bool done = source && ((*source).*operation)(Widen(name).c_str()) != 0;
        return std::string(done ? "" : "?");
    });
    log.Listen(nullptr);
    const std::lock_guard guard(*lock);
    const std::size_t last = said->find_last_not_of(" \r\n.");
    return reason != "?"               ? reason
           : last == std::string::npos ? "the library could not do it"
                                       : Shown(said->substr(0, last + 1));
}

// Does the same to each name. `here` and `there` give an empty text, or why it failed.
int ForEach(const Options& options, const char* verb,
            const std::function<std::string(const std::string&)>& here,
            const std::function<std::string(const FtpName&)>& there) {
    int code = kExitOk;
    for (const std::string& text : options.names) {
        if (InterruptWanted()) {
            return kExitInterrupted;
        }
        std::string reason;
        const std::optional<FtpName> name = IsFtpName(text) ? ParseFtpName(text, reason) : std::nullopt;
        reason = name ? there(*name) : text.empty() ? "the name is empty" : here(text);
        if (!reason.empty()) {
            Complain(std::string(verb) + ": " + InQuotes(name ? name->Shown() : text) + ": " + reason);
            code = kExitFailed;
        }
    }
    return code;
}

struct Answer {
    std::optional<bool> isThere; // nothing: it cannot be told, and
    std::string reason;          // that is why
    bool isFolder = false;
};

Answer AskServer(const FtpName& name, const Options& options, LogView& log) {
    const FtpFacts facts = LookAtFtp(name, options, log);
    Answer answer;
    answer.isFolder = facts.kind == FtpKind::Folder;
    answer.reason = facts.reason;
    if (facts.kind != FtpKind::Unknown) {
        answer.isThere = facts.kind != FtpKind::Missing;
    }
    return answer;
}

Answer AskHere(const std::string& name, const Options& options) {
    const std::chrono::milliseconds limit = AskLimit(options);
    const std::optional<NameFacts> facts = Within<NameFacts>(limit, [name] { return LookAt(name); });
    Answer answer;
    answer.reason = facts ? facts->reason : NoAnswer(limit);
    if (facts && facts->kind != NameKind::Unknown) {
        answer.isThere = facts->kind != NameKind::Missing;
        answer.isFolder = facts->kind == NameKind::Folder;
    }
    return answer;
}

} // namespace

int RunExists(const Options& options, LogView& log) {
    int code = kExitOk;
    Json all = Json::array();
    for (const std::string& text : options.names) {
        if (InterruptWanted()) {
            return kExitInterrupted;
        }
        std::string ignored;
        const std::optional<FtpName> name = IsFtpName(text) ? ParseFtpName(text, ignored) : std::nullopt;
        const Answer answer = name ? AskServer(*name, options, log) : AskHere(text, options);
        const std::string shown = name ? name->Shown() : text;
        if (!answer.isThere) {
            Complain("exists: " + InQuotes(shown) + ": " + answer.reason);
            all.push_back({{"name", shown}, {"error", answer.reason}});
            code = code == kExitOk ? kExitFailed : code;
            continue;
        }
        code = *answer.isThere ? code : kExitMismatch;
        if (options.json) {
            Json one = {{"name", shown}, {"exists", *answer.isThere}};
            if (*answer.isThere) {
                one["kind"] = answer.isFolder ? "folder" : "file";
            }
            all.push_back(std::move(one));
        } else {
            Print(Shown(shown) + (!*answer.isThere  ? ": no\n"
                                  : answer.isFolder ? ": yes, a folder\n"
                                                    : ": yes\n"));
        }
    }
    if (options.json) {
        PrintJson(all);
    }
    return code;
}

int RunRemove(const Options& options, LogView& log) {
    FtpCommands commands(options, log);
    return ForEach(
        options, "rm",
        [&](const std::string& name) { return AskLibrary(options, log, name, &CSoftDataIO::DeleteFile1); },
        [&](const FtpName& name) {
            return name.OwnName().empty() ? std::string("it names a folder") : commands.Delete(name);
        });
}

int RunMove(const Options& options, LogView& log) {
    const std::string& from = options.names.front();
    const std::string& to = options.names.back();
    std::string reason;
    const std::optional<FtpName> source = IsFtpName(from) ? ParseFtpName(from, reason) : std::nullopt;
    const std::optional<FtpName> target = IsFtpName(to) ? ParseFtpName(to, reason) : std::nullopt;
    const bool isOneServer = source && target && source->IsSameServer(*target);
    if (isOneServer) {
        reason = source->path == target->path ? "both names are the same"
                                              : FtpCommands(options, log).Rename(*source, *target);
    } else if (source || target) {
        Complain("mv: the two names lie on different servers, or one of them here: use copy and rm");
        return kExitUsage;
    } else {
        reason = AskDisk(options, [from, to] { return RenameLocal(from, to); });
    }
    if (!reason.empty()) {
        Complain("mv: " + InQuotes(source ? source->Shown() : from) + ": " + reason);
        return kExitFailed;
    }
    return kExitOk;
}

int RunMakeFolder(const Options& options, LogView& log) {
    FtpCommands commands(options, log);
    return ForEach(
        options, "mkdir",
        [&](const std::string& name) { return AskLibrary(options, log, name, &CSoftDataIO::MakeFolder); },
        [&](const FtpName& name) { return commands.MakeFolder(name); });
}

int RunRemoveFolder(const Options& options, LogView& log) {
    FtpCommands commands(options, log);
    return ForEach(
        options, "rmdir",
        [&](const std::string& name) { return AskDisk(options, [name] { return RemoveLocalFolder(name); }); },
        [&](const FtpName& name) { return commands.RemoveFolder(name); });
}

} // namespace vxcio::tool
