#include "FtpLogin.h"

#include "Console.h"
#include "Netrc.h"

#include <cstdlib>

namespace vxcio::tool {

namespace {

constexpr const char* kAnonymous = "anonymous";
constexpr const char* kAnonymousPassword = "vxcio@"; // servers ask for something like an address
constexpr uint32 kUsualLimit = 60000;                // milliseconds, as the library waits for data
constexpr uint32 kNoLimit = 0xFFFFFFFF;
constexpr FTPMODE kActive = static_cast<FTPMODE>(3); // a number without a meaning: active, without delay

struct Netrc {
    std::vector<NetrcEntry> entries;
    std::string reason; // not empty: nothing can be had
};

Netrc ReadNetrc(const std::optional<std::string>& named) {
    Netrc netrc;
    std::string file = named.value_or("");
    if (!named) {
        const char* const home = std::getenv("HOME");
        if (home == nullptr || *home == '\0') {
            return netrc;
        }
        file = std::string(home) + "/.netrc";
    }
    std::string text;
    std::string reason;
    switch (ReadPrivateFile(file, text, reason)) {
    case PrivateRead::Missing:
        if (named) {
            netrc.reason = "cannot read " + InQuotes(file) + ": " + reason;
        }
        return netrc;
    case PrivateRead::Refused:
        Complain("warning: " + InQuotes(file) + " is left alone: " + reason);
        return netrc;
    case PrivateRead::Good:
        break;
    }
    std::optional<std::vector<NetrcEntry>> entries = ParseNetrc(text, reason);
    if (!entries) {
        Complain("warning: " + InQuotes(file) + " is left alone: " + reason);
        return netrc;
    }
    netrc.entries = std::move(*entries);
    return netrc;
}

// Read once in a run, when a name first needs it.
const Netrc& TheNetrc(const Options& options) {
    static const Netrc netrc = ReadNetrc(options.netrcFile);
    return netrc;
}

} // namespace

std::optional<FtpLogin> LoginFor(const FtpName& name, const Options& options, std::string& reason) {
    if (name.user && name.password) {
        return FtpLogin{*name.user, *name.password};
    }
    if (name.user && options.ftpPassword) {
        if (options.ftpPassword->find_first_of("\r\n") != std::string::npos) {
            reason = "what VXCIO_FTP_PASSWORD holds is no password: there is a line end in it";
            return std::nullopt;
        }
        return FtpLogin{*name.user, *options.ftpPassword};
    }
    const Netrc& netrc = TheNetrc(options);
    if (!netrc.reason.empty()) {
        reason = netrc.reason;
        return std::nullopt;
    }
    if (const NetrcEntry* const entry = FindNetrc(netrc.entries, name.host, name.user)) {
        const std::optional<std::string> user = name.user ? name.user : entry->login;
        if (user) {
            return FtpLogin{*user, entry->password.value_or("")};
        }
    }
    if (name.user && *name.user != kAnonymous) {
        return FtpLogin{*name.user, ""};
    }
    return FtpLogin{kAnonymous, kAnonymousPassword};
}

FtpWay WayOf(const Options& options) {
    if (options.ftpMode && *options.ftpMode != FTPMODE_NORMAL) {
        return {static_cast<FTPMODE>(*options.ftpMode), false};
    }
    return options.active ? FtpWay{kActive, false} : FtpWay{FTPMODE_NORMAL, true};
}

std::chrono::milliseconds FtpLimit(const Options& options) {
    const uint32 limit = options.ftpTimeOut.value_or(kUsualLimit);
    return limit == kNoLimit ? std::chrono::hours(24 * 365) : std::chrono::milliseconds(limit);
}

} // namespace vxcio::tool
