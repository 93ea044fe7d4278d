#include "CopyPlan.h"

#include "Console.h"
#include "ExitCodes.h"
#include "Guarded.h"
#include "TargetFile.h"
#include "Text.h"

#include "sysu/HostControl.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <set>
#include <utility>

namespace vxcio::tool {

namespace {

constexpr uint32 kNoLimit = 0xFFFFFFFF;
constexpr std::chrono::milliseconds kUsualLimit{10000};
constexpr std::chrono::milliseconds kForEver = std::chrono::hours(24 * 365);
constexpr std::chrono::milliseconds kSourceLimit{2000}; // of two copies one may be on a dead disk

constexpr const wchar_t* kDriveMap = L"Software\\Norvex\\DriveMap";

bool IsDrive(const std::string& name) {
    return name.size() > 2 && std::isalpha(static_cast<unsigned char>(name[0])) != 0 && name[1] == ':' &&
           name[2] == '\\';
}

bool IsShare(const std::string& name) {
    return name.starts_with("\\\\");
}

NameFacts Ask(const std::string& name, std::chrono::milliseconds limit) {
    const std::optional<NameFacts> facts = Within<NameFacts>(limit, [name] { return LookAt(name); });
    if (facts) {
        return *facts;
    }
    NameFacts unknown;
    unknown.reason = "the disk does not answer within " + std::to_string(limit.count()) + " ms";
    return unknown;
}

// The last part of a name.
std::string OwnName(const std::string& name) {
    const std::string ends = IsDrive(name) || IsShare(name) ? "/\\" : "/";
    const std::size_t last = name.find_last_of(ends);
    return last == std::string::npos ? name : name.substr(last + 1);
}

class Planner {
public:
    Planner(const Options& options, LogView& log) : m_Limit(TargetLimit(options)), m_Log(log) {}

    CopyPlan Make(const Options& options) {
        const std::vector<std::string> from(options.names.begin(), options.names.end() - 1);
        const std::optional<std::vector<Input>> inputs = ReadNames(from, options.join, m_Plan.reason);
        if (!inputs) {
            m_Plan.exitCode = kExitFailed;
        } else if (IsFtpName(options.names.back())) {
            PlanFtpTargets(*inputs, options, m_Log, m_Plan);
        } else if (FindTargets(*inputs, options.names.back())) {
            CheckTargets();
        }
        return std::move(m_Plan);
    }

private:
    bool Refuse(int exitCode, const std::string& reason) {
        m_Plan.exitCode = exitCode;
        m_Plan.reason = reason;
        return false;
    }
    bool RefuseTarget(const std::string& target, const std::string& reason) {
        return Refuse(kExitTarget, "cannot write " + InQuotes(target) + ": " + reason);
    }

    bool FindTargets(const std::vector<Input>& inputs, const std::string& to) {
        std::string place;
        std::string reason;
        if (!ToPlace(to, place, reason)) {
            return RefuseTarget(to, reason);
        }
        const NameFacts facts = Ask(place, m_Limit);
        const bool isFolder = facts.kind == NameKind::Folder;
        if (facts.kind == NameKind::Unknown) {
            return RefuseTarget(to, facts.reason);
        }
        if (!isFolder && (inputs.size() > 1 || to.ends_with('/'))) {
            return RefuseTarget(to, inputs.size() > 1 ? "it is no folder, and several files are copied"
                                                      : "there is no such folder");
        }
        std::set<std::string> names;
        for (const Input& input : inputs) {
            CopyJob job{input, to, place, false};
            if (isFolder) {
                const std::string own = OwnNameOf(input);
                if (input.joined) {
                    return RefuseTarget(to, "it is a folder, and " + InQuotes(input.written) +
                                                " has no name of its own: give that of a file");
                }
                if (own.empty() || own == "." || own == "..") {
                    return Refuse(kExitFailed, InQuotes(input.written) + " names no file");
                }
                if (!names.insert(own).second) {
                    return RefuseTarget(to, "two of the files are named " + InQuotes(own));
                }
                job.target += (job.target.ends_with('/') ? "" : IsDrive(to) ? "\\" : "/") + own;
                job.place += (job.place.ends_with('/') ? "" : "/") + own;
            }
            m_Plan.jobs.push_back(std::move(job));
        }
        return true;
    }

    bool CheckTargets() {
        std::vector<std::pair<NameFacts, std::string>> made;
        for (CopyJob& job : m_Plan.jobs) {
            NameFacts facts = Ask(job.place, m_Limit);
            const char* wrong = facts.kind == NameKind::Folder    ? "it is a folder"
                                : facts.kind == NameKind::Other   ? "it is no ordinary file"
                                : facts.leadsNowhere              ? "it is a link to a file that is not there"
                                : facts.kind == NameKind::Unknown ? facts.reason.c_str()
                                                                  : nullptr;
            if (wrong != nullptr) {
                return RefuseTarget(job.target, wrong);
            }
            job.exists = facts.kind == NameKind::File;
            if (job.exists) {
                job.place = facts.place;
                made.emplace_back(std::move(facts), job.target);
            }
        }
        return made.empty() || CheckSources(made);
    }

    // What is read must not be overwritten, whatever it is called.
    bool CheckSources(const std::vector<std::pair<NameFacts, std::string>>& made) {
        for (const CopyJob& job : m_Plan.jobs) {
            for (const Entry& entry : job.input.entries) {
                for (const std::string* const name : {&entry.first, &entry.second}) {
                    std::string place;
                    std::string ignored;
                    if (name->empty() || entry.ftp || entry.url || !ToPlace(*name, place, ignored)) {
                        continue;
                    }
                    const NameFacts facts = Ask(place, kSourceLimit);
                    const auto same = std::find_if(
                        made.begin(), made.end(), [&](const auto& one) { return AreSame(one.first, facts); });
                    if (same != made.end()) {
                        return RefuseTarget(same->second, "it is the same file as " + InQuotes(*name));
                    }
                }
            }
        }
        return true;
    }

    const std::chrono::milliseconds m_Limit;
    LogView& m_Log;
    CopyPlan m_Plan;
};

} // namespace

std::chrono::milliseconds TargetLimit(const Options& options) {
    if (!options.timeOut) {
        return kUsualLimit;
    }
    return *options.timeOut == kNoLimit ? kForEver : std::chrono::milliseconds(*options.timeOut);
}

CopyPlan MakeCopyPlan(const Options& options, LogView& log) {
    return Planner(options, log).Make(options);
}

std::string OwnNameOf(const Input& input) {
    const Entry& first = input.entries.front();
    return first.ftp ? first.ftp->OwnName() : first.url ? first.url->ownName : OwnName(first.first);
}

bool ToPlace(const std::string& target, std::string& place, std::string& reason) {
    if (target.empty()) {
        reason = "the name is empty";
        return false;
    }
    if (IsShare(target)) {
        reason = "a target on a share is named by the folder where that is mounted";
        return false;
    }
    if (!IsDrive(target)) {
        // With a folder in front nothing takes it for anything but a file.
        place = target.find('/') == std::string::npos ? "./" + target : target;
        return true;
    }
    std::array<wchar_t, 4096> folder{};
    const std::wstring letter = Widen(target.substr(0, 1));
    if (ReadSettingText(kDriveMap, letter.c_str(), folder.data(), static_cast<int>(folder.size()), nullptr) <=
        0) {
        reason = "the drive map has no folder for that letter";
        return false;
    }
    std::string rest = target.substr(2);
    std::replace(rest.begin(), rest.end(), '\\', '/');
    // What goes up stays on the drive.
    place = Narrow(folder.data()) + std::filesystem::path(rest).lexically_normal().string();
    return true;
}

} // namespace vxcio::tool
