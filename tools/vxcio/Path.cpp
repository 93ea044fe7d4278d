// vxcio path: what the rules for names, the table of shares and the system layer make of a name.
#include "Console.h"
#include "ExitCodes.h"
#include "FtpName.h"
#include "HttpName.h"
#include "Json.h"
#include "Stream.h"
#include "Terminal.h"
#include "Text.h"
#include "TimedThread.h"
#include "Verbs.h"

#include "frame/SystemLayer.h"
#include "paths/MediumPathRules.h"
#include "paths/NetPaths.h"
#include "sysu/SystemName.h"

#include <algorithm>
#include <cwchar>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vxcio::tool {

namespace {

constexpr const wchar_t* kMedia[] = {L"DVD*", L"P2CLIPINFO*", L"P2*", L"XDCAM*"};
constexpr const wchar_t* kLocal = L"LOCAL\\";
constexpr int kFileCharacters = 8192;

struct Fate {
    const char* rule = "";
    std::string words; // what the rule is, for people
    std::string opened;
    std::string localFile;  // of a share's name; empty where it is none, or unknown
    std::string shareName;  // of a local file; empty where there is none
    std::string systemFile; // empty where there is none, and
    uint32 error = 0;       // then the reason, if it is not 0
};

bool Begins(const std::wstring& name, const wchar_t* start) {
    return CVXCString(name.c_str()).Left(static_cast<int>(std::wcslen(start))).Compare(start) == 0;
}

std::string ToNarrow(const CVXCString& text) {
    return Narrow(text.c_str());
}

// 1 where it is not set, as the library has it.
int32 NotCallSetting() {
    uint32 value = 1;
    if (VXC_GetGlobalIntW(L"Software\\Norvex", L"SoftCodec", L"NotCall_UNC2LOCAL", &value, 1) == 0) {
        value = 1;
    }
    return static_cast<int32>(value);
}

// The name as the table of shares has it; nothing where a backslash is a part of it.
std::optional<std::wstring> InTable(std::wstring name) {
    if (name.starts_with(L'/') && name.find(L'\\') != std::wstring::npos) {
        return std::nullopt;
    }
    std::replace(name.begin(), name.end(), L'/', L'\\');
    return name;
}

void DecideRule(const std::wstring& name, bool isShare, Fate& fate) {
    const auto* const medium = std::find_if(std::begin(kMedia), std::end(kMedia),
                                            [&](const wchar_t* start) { return Begins(name, start); });
    if (medium != std::end(kMedia)) {
        fate.rule = "medium";
        fate.words = "a name of a medium, " + Narrow(*medium) + ": it stays";
    } else if (Begins(name, kLocal)) {
        fate.rule = "local";
        fate.words = "LOCAL\\ in front is taken off, and the rest stays";
    } else if (!isShare) {
        fate.rule = "plain";
        fate.words = "no name of a share: it stays";
    } else if (const int32 setting = NotCallSetting(); setting > 0) {
        fate.rule = "off";
        fate.words = "NotCall_UNC2LOCAL is " + std::to_string(setting) + ": names of shares stay";
    } else if (fate.opened != Narrow(name)) {
        fate.rule = "share";
        fate.words = "NotCall_UNC2LOCAL is " + std::to_string(setting) +
                     ", and the share is known here: its folder is opened instead";
    } else {
        fate.rule = "unknown";
        fate.words = "NotCall_UNC2LOCAL is " + std::to_string(setting) + ", but no such share is known here";
    }
}

Fate FateOf(const std::string& text) {
    const std::wstring name = Widen(text);
    const bool isShare = name.find(L"\\\\") != std::wstring::npos;
    Fate fate;
    fate.opened = ToNarrow(ApplyMediumPathRules(name.c_str()));
    DecideRule(name, isShare, fate);
    if (std::string_view(fate.rule) != "medium") {
        std::wstring local = name;
        if (isShare || Begins(name, kLocal)) {
            local = UNC2Local(name.c_str()).c_str();
            fate.localFile = local == name ? std::string() : Narrow(local);
        }
        const bool isKnown = !isShare || local != name;
        if (const auto asked = isKnown ? InTable(local) : std::nullopt) {
            const CVXCString share = Local2UNC(asked->c_str());
            fate.shareName = ToNarrow(share);
        }
    }
    std::vector<wchar_t> file(kFileCharacters);
    if (SystemFileName(Widen(fate.opened).c_str(), file.data(), kFileCharacters, &fate.error) > 0) {
        fate.systemFile = Narrow(file.data());
    }
    return fate;
}

std::string NoFileWords(uint32 error) {
    switch (error) {
    case 3: // of a drive; an empty name was refused before
        return "none: the drive is mapped nowhere";
    case 53:
        return "none: the share is mapped and mounted nowhere";
    default:
        return "none (error " + std::to_string(error) + ")";
    }
}

std::string TextOf(const std::string& name, const Fate& fate) {
    return Shown(name) + "\n  opened as    " + Shown(fate.opened) + "\n  rule         " + Shown(fate.words) +
           "\n" + (fate.localFile.empty() ? "" : "  local file   " + Shown(fate.localFile) + "\n") +
           (fate.shareName.empty() ? "" : "  share name   " + Shown(fate.shareName) + "\n") +
           "  system file  " + (fate.systemFile.empty() ? NoFileWords(fate.error) : Shown(fate.systemFile)) +
           "\n";
}

Json JsonOf(const std::string& name, const Fate& fate) {
    const auto orNull = [](const std::string& text) { return text.empty() ? Json() : Json(text); };
    Json out = {{"name", name},
                {"openedAs", fate.opened},
                {"rule", fate.rule},
                {"ruleText", fate.words},
                {"localFile", orNull(fate.localFile)},
                {"shareName", orNull(fate.shareName)},
                {"systemFile", orNull(fate.systemFile)}};
    if (fate.systemFile.empty()) {
        out["error"] = fate.error;
    }
    return out;
}

// Names that no rule looks at, and no file of this system is behind.
std::optional<Fate> FateOfServerName(const std::string& text) {
    Fate fate;
    fate.opened = WithoutPasswords(text);
    if (IsFtpName(text)) {
        fate.rule = "ftp";
        fate.words = "a name on an FTP server: it is left alone";
        return fate;
    }
    if (IsTakenForUrl(text)) {
        fate.rule = "url";
        fate.words = IsHttpName(text) ? "a URL: it is left alone"
                                      : "it is taken for a URL and left alone, as all names that begin with "
                                        "'http'; a file of that name is written ./" +
                                            fate.opened;
        return fate;
    }
    return std::nullopt;
}

} // namespace

int RunPath(const Options& options, LogView&) {
    int code = kExitOk;
    Json all = Json::array();
    TimedThread thread;
    const std::chrono::milliseconds limit = AskLimit(options);
    for (const std::string& text : options.names) {
        if (InterruptWanted()) {
            return kExitInterrupted;
        }
        const std::string name = WithoutPasswords(text);
        std::string reason = text.empty() ? "the name is empty" : "";
        std::optional<Fate> fate = FateOfServerName(text);
        const bool isServer = fate.has_value();
        if (reason.empty() && !fate) {
            const auto found = std::make_shared<Fate>();
            if (thread.Do(limit, [text, found] { *found = FateOf(text); })) {
                fate = *found;
            } else {
                reason =
                    "a disk or the network does not answer within " + std::to_string(limit.count()) + " ms";
            }
        }
        if (!reason.empty()) {
            if (InterruptWanted()) {
                return kExitInterrupted;
            }
            Complain("path: " + InQuotes(name) + ": " + reason);
            all.push_back({{"name", name}, {"error", reason}});
            code = kExitFailed;
        } else if (options.json) {
            all.push_back(JsonOf(name, *fate));
            if (isServer) {
                all.back().erase("error");
            }
        } else if (isServer) {
            Print(Shown(name) + "\n  rule         " + Shown(fate->words) + "\n");
        } else {
            Print(TextOf(name, *fate));
        }
    }
    if (options.json) {
        PrintJson(all);
    }
    return code;
}

} // namespace vxcio::tool
