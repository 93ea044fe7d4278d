// What a copy to a server makes.
#include "Console.h"
#include "CopyPlan.h"
#include "ExitCodes.h"
#include "FtpListing.h"
#include "FtpLogin.h"
#include "TargetFile.h"

#include <algorithm>
#include <set>
#include <utility>

namespace vxcio::tool {

namespace {

constexpr std::size_t kLongestName = 255;

// Where a file of this name can be written without another one coming to harm. A long name gives way to what
// stands behind it, without a character being cut in two.
std::string FreeName(const std::string& own, const std::set<std::string>& taken) {
    for (int number = 0;; ++number) {
        std::string suffix = kPartSuffix;
        if (number > 0) {
            suffix += '.';
            suffix += std::to_string(number);
        }
        std::size_t length = std::min(own.size(), kLongestName - suffix.size());
        while (length > 0 && length < own.size() &&
               (static_cast<unsigned char>(own[length]) & 0xC0u) == 0x80u) {
            --length;
        }
        std::string name = own.substr(0, length) + suffix;
        if (taken.find(name) == taken.end()) {
            return name;
        }
    }
}

bool IsDevice(const Options& options) {
    const FTPMODE mode = WayOf(options).mode;
    return mode == FTPMODE_EXPLODED || mode == FTPMODE_XDCAM;
}

class FtpPlanner {
public:
    FtpPlanner(const FtpName& to, const Options& options, LogView& log, CopyPlan& plan)
        : m_To(to), m_Options(options), m_Log(log), m_Plan(plan) {}

    bool Make(const std::vector<Input>& inputs) {
        if (!FindFolder(inputs.size())) {
            return false;
        }
        for (const FtpEntry& entry : m_Folder.entries) {
            m_Taken.insert(entry.name);
        }
        return std::all_of(inputs.begin(), inputs.end(), [this](const Input& input) { return Add(input); });
    }

private:
    bool Refuse(const std::string& reason, const std::string& target) {
        m_Plan.exitCode = kExitTarget;
        m_Plan.reason = "cannot write " + InQuotes(target) + ": " + reason;
        return false;
    }
    bool Refuse(const std::string& reason) { return Refuse(reason, m_To.Shown()); }

    // The folder that gets the files, and what stands in it.
    bool FindFolder(std::size_t files) {
        std::string reason;
        const bool isNamed = m_To.path.empty() || m_To.path.ends_with('/');
        bool isNoFolder = false;
        std::optional<FtpFolder> folder = ListFtp(m_To, m_Options, m_Log, reason, &isNoFolder);
        m_bIsFolder = folder.has_value();
        if (!m_bIsFolder) {
            if (files > 1 || isNamed) {
                return Refuse("it is no folder that can be listed: " + reason);
            }
            if (!isNoFolder) {
                return Refuse("whether it is a folder cannot be told: " + reason);
            }
            folder = ListFtp(m_To.At(m_To.FolderPath()), m_Options, m_Log, reason);
            if (!folder) {
                return Refuse("its folder cannot be listed: " + reason);
            }
        }
        m_Folder = std::move(*folder);
        return true;
    }

    bool Add(const Input& input) {
        FtpName target = m_To;
        if (m_bIsFolder) {
            const std::string own = OwnNameOf(input);
            if (input.joined) {
                return Refuse("it is a folder, and " + InQuotes(input.written) +
                              " has no name of its own: give that of a file");
            }
            if (own.empty() || own == "." || own == "..") {
                m_Plan.exitCode = kExitFailed;
                m_Plan.reason = InQuotes(input.written) + " names no file";
                return false;
            }
            target = m_To.Inside(own);
            if (!m_Targets.insert(own).second) {
                return Refuse("two of the files are named " + InQuotes(own));
            }
        }
        const FtpEntry* const there = m_Folder.Find(target.OwnName());
        if (there != nullptr && there->isFolder) {
            return Refuse("it is a folder", target.Shown());
        }
        for (const Entry& entry : input.entries) {
            if (entry.ftp && entry.ftp->IsSameServer(target) && entry.ftp->path == target.path) {
                return Refuse("it is the same file as " + InQuotes(entry.first), target.Shown());
            }
        }
        std::string part = target.path;
        if (!IsDevice(m_Options)) {
            const std::string name = FreeName(target.OwnName(), m_Taken);
            m_Taken.insert(name);
            part = part.substr(0, part.rfind('/') + 1) + name;
        }
        m_Plan.jobs.push_back({input, target.Shown(), target.path, there != nullptr,
                               std::make_shared<const FtpName>(target), part});
        return true;
    }

    const FtpName& m_To;
    const Options& m_Options;
    LogView& m_Log;
    CopyPlan& m_Plan;
    bool m_bIsFolder = false;
    FtpFolder m_Folder;
    std::set<std::string> m_Taken;
    std::set<std::string> m_Targets;
};

} // namespace

bool PlanFtpTargets(const std::vector<Input>& inputs, const Options& options, LogView& log, CopyPlan& plan) {
    std::string reason;
    const std::optional<FtpName> to = ParseFtpName(options.names.back(), reason);
    if (!to) {
        plan.exitCode = kExitUsage;
        plan.reason = InQuotes(WithoutPasswords(options.names.back())) + ": " + reason;
        return false;
    }
    return FtpPlanner(*to, options, log, plan).Make(inputs);
}

} // namespace vxcio::tool
