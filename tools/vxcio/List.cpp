// vxcio ls: what stands in folders, of this system and of servers.
#include "Console.h"
#include "ExitCodes.h"
#include "FtpListing.h"
#include "FtpName.h"
#include "Guarded.h"
#include "Json.h"
#include "LocalFiles.h"
#include "Stream.h"
#include "Terminal.h"
#include "Verbs.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace vxcio::tool {

namespace {

constexpr uint64 kTicksOfDay = uint64{86400} * 10'000'000;
constexpr uint64 kTicksOfMinute = uint64{60} * 10'000'000;

// One line of a listing.
struct Line {
    std::string name;
    bool isFolder = false;
    uint64 size = 0;
    bool isSizeLow = false; // the low 32 bits alone
    uint64 time = 0;        // as of FtpEntry
};

struct Listing {
    bool isFolder = true;
    std::vector<Line> lines;
    uint64 strangeLines = 0;
};

Line LineOf(const FtpEntry& entry) {
    return {entry.name, entry.isFolder, entry.sizeLow, true, entry.time};
}

Line LineOf(const LocalEntry& entry) {
    return {entry.name, entry.isFolder, entry.size, false, entry.time};
}

// "2026-11-22 03:22", UTC.
std::string TimeText(uint64 time) {
    if (time == 0) {
        return "-";
    }
    using std::chrono::days;
    const std::chrono::sys_days first = std::chrono::year(1601) / 1 / 1;
    const std::chrono::year_month_day day(first + days(static_cast<int>(time / kTicksOfDay)));
    const auto minute = static_cast<unsigned>(time % kTicksOfDay / kTicksOfMinute);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02u:%02u", static_cast<int>(day.year()),
                  static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()), minute / 60,
                  minute % 60);
    return text.data();
}

std::optional<Listing> ListServer(const FtpName& name, const Options& options, LogView& log,
                                  std::string& reason) {
    Listing listing;
    if (const std::optional<FtpFolder> folder = ListFtp(name, options, log, reason)) {
        for (const FtpEntry& entry : folder->entries) {
            listing.lines.push_back(LineOf(entry));
        }
        listing.strangeLines = folder->strangeLines;
        return listing;
    }
    // It may be a file.
    std::string ignored;
    const bool canBeFile = !name.OwnName().empty();
    const std::optional<FtpEntry> entry = canBeFile ? ListedEntry(name, options, log, ignored) : std::nullopt;
    if (!entry || entry->isFolder) {
        return std::nullopt;
    }
    listing.isFolder = false;
    listing.lines.push_back(LineOf(*entry));
    return listing;
}

std::optional<Listing> ListHere(const std::string& name, const Options& options, std::string& reason) {
    const std::chrono::milliseconds limit = AskLimit(options);
    const std::optional<LocalListing> found = Within<LocalListing>(limit, [name] { return ListLocal(name); });
    if (!found || !found->reason.empty()) {
        reason = found ? found->reason
                       : "the disk does not answer within " + std::to_string(limit.count()) + " ms";
        return std::nullopt;
    }
    Listing listing;
    listing.isFolder = found->isFolder;
    for (const LocalEntry& entry : found->entries) {
        listing.lines.push_back(LineOf(entry));
    }
    return listing;
}

void PrintListing(const Listing& listing, bool isLong) {
    std::size_t width = 0;
    for (const Line& line : listing.lines) {
        width = std::max(width, std::to_string(line.size).size());
    }
    for (const Line& line : listing.lines) {
        std::string text;
        if (isLong) {
            const std::string size = line.isFolder ? "-" : std::to_string(line.size);
            text = std::string(line.isFolder ? "d " : "- ") +
                   std::string(width - std::min(width, size.size()), ' ') + size + "  " +
                   TimeText(line.time) + "  ";
            text += std::string(line.time == 0 ? 15 : 0, ' ');
        }
        Print(text + Shown(line.name) + "\n");
    }
}

Json JsonOf(const std::string& shown, const Listing& listing) {
    Json entries = Json::array();
    for (const Line& line : listing.lines) {
        Json one = {{"name", line.name}, {"kind", line.isFolder ? "folder" : "file"}};
        if (!line.isFolder) {
            one[line.isSizeLow ? "sizeLow32" : "size"] = line.size;
        }
        if (line.time != 0) {
            one["modified"] = TimeText(line.time);
        }
        entries.push_back(std::move(one));
    }
    return {{"name", shown}, {"kind", listing.isFolder ? "folder" : "file"}, {"entries", std::move(entries)}};
}

} // namespace

int RunList(const Options& options, LogView& log) {
    int code = kExitOk;
    Json all = Json::array();
    bool isFirst = true;
    for (const std::string& text : options.names) {
        if (InterruptWanted()) {
            return kExitInterrupted;
        }
        std::string reason;
        const std::optional<FtpName> name = IsFtpName(text) ? ParseFtpName(text, reason) : std::nullopt;
        const std::string shown = name ? name->Shown() : text;
        std::optional<Listing> listing =
            name ? ListServer(*name, options, log, reason) : ListHere(text, options, reason);
        if (!listing) {
            Complain("ls: " + InQuotes(shown) + ": " + reason);
            all.push_back({{"name", shown}, {"error", reason}});
            code = kExitFailed;
            continue;
        }
        if (listing->strangeLines > 0) {
            Complain("ls: warning: " + InQuotes(shown) + ": " + std::to_string(listing->strangeLines) +
                     (listing->strangeLines == 1 ? " line" : " lines") + " of the listing could not be read");
        }
        std::sort(listing->lines.begin(), listing->lines.end(),
                  [](const Line& left, const Line& right) { return left.name < right.name; });
        if (options.json) {
            all.push_back(JsonOf(shown, *listing));
            continue;
        }
        if (options.names.size() > 1) {
            Print(isFirst ? "" : "\n");
            Print(Shown(shown) + ":\n");
        }
        isFirst = false;
        PrintListing(*listing, options.isLong);
    }
    if (options.json) {
        PrintJson(all);
    }
    return code;
}

} // namespace vxcio::tool
