#include "Names.h"

#include "Console.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

namespace vxcio::tool {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kMostList = 64u << 20; // bytes; beyond that it is some other file

// Puts each doubled star of `text` from `from` on back to one; gives the place of the first single one.
std::size_t NextStar(const std::string& text, std::size_t from, std::string& name) {
    for (std::size_t i = from; i < text.size(); ++i) {
        if (text[i] == '*' && i + 1 < text.size() && text[i + 1] == '*') {
            ++i;
        } else if (text[i] == '*' && i > 0) {
            return i;
        }
        name += text[i];
    }
    return std::string::npos;
}

std::string InFolderOf(const std::string& list, const std::string& name) {
    // What begins with a drive letter or a share is whole as well.
    const bool isWhole = name.starts_with('/') || name.starts_with('\\') ||
                         (name.size() > 1 && name[1] == ':') || IsFtpName(name) || IsHttpName(name);
    return isWhole ? name : (std::filesystem::path(list).parent_path() / name).string();
}

bool LoadList(const std::string& list, std::string& text, std::string& reason) {
    std::error_code ignored;
    if (std::filesystem::is_directory(list, ignored)) {
        reason = "it is a folder";
        return false;
    }
    errno = 0;
    std::ifstream file(list, std::ios::binary);
    if (!file) {
        reason = std::strerror(errno);
        return false;
    }
    text.resize(kMostList + 1);
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (file.bad()) {
        reason = std::strerror(errno);
        return false;
    }
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (text.size() > kMostList) {
        reason = "it is too large for a list of names";
        return false;
    }
    return true;
}

bool TakeFtpName(const std::string& text, Entry& entry, std::string& reason) {
    std::optional<FtpName> name = ParseFtpName(text, reason);
    if (!name) {
        entry.first = WithoutPasswords(text);
        entry.written = entry.first;
        reason = InQuotes(entry.first) + ": " + reason;
        return false;
    }
    entry.first = name->Shown();
    entry.written = entry.first;
    entry.ftp = std::make_shared<const FtpName>(std::move(*name));
    return true;
}

bool TakeUrl(const std::string& text, Entry& entry, std::string& reason) {
    std::optional<HttpName> name = ParseHttpName(text, reason);
    if (!name) {
        entry.first = WithoutPasswords(text);
        entry.written = entry.first;
        reason = InQuotes(entry.first) + ": " + reason;
        return false;
    }
    entry.first = name->shown;
    entry.written = entry.first;
    entry.url = std::make_shared<const HttpName>(std::move(*name));
    return true;
}

std::string_view Trimmed(std::string_view line) {
    static constexpr std::string_view kBlanks = " \t\r";
    const std::size_t first = line.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return line.substr(first, line.find_last_not_of(kBlanks) - first + 1);
}

} // namespace

std::size_t CountUrls(const Input& input) {
    return static_cast<std::size_t>(std::count_if(input.entries.begin(), input.entries.end(),
                                                  [](const Entry& entry) { return entry.url != nullptr; }));
}

std::optional<Entry> ParseEntry(const std::string& text, std::string& reason) {
    Entry entry;
    if (IsFtpName(text)) {
        return TakeFtpName(text, entry, reason) ? std::optional<Entry>(entry) : std::nullopt;
    }
    if (IsHttpName(text)) {
        return TakeUrl(text, entry, reason) ? std::optional<Entry>(entry) : std::nullopt;
    }
    entry.written = WithoutPasswords(text);
    const std::size_t star = NextStar(text, 0, entry.first);
    if (star == std::string::npos) {
        return entry;
    }
    // Only the first star parts, so that the rest is a name whatever it holds.
    std::size_t from = star + 1;
    for (std::size_t next = NextStar(text, from, entry.second); next != std::string::npos;
         next = NextStar(text, from, entry.second)) {
        entry.second += '*';
        from = next + 1;
    }
    if (entry.second.empty()) {
        reason = InQuotes(text) + " names no second copy behind its '*'; a star of the name is written '**'";
        return std::nullopt;
    }
    if (IsFtpName(entry.second) || IsHttpName(entry.second)) {
        reason = InQuotes(entry.written) + ": only files have a second copy, and it is one, too";
        return std::nullopt;
    }
    return entry;
}

std::optional<std::vector<Entry>> ReadNameList(const std::string& list, std::string& reason) {
    std::string text;
    if (!LoadList(list, text, reason)) {
        reason = "cannot read the list " + InQuotes(list) + ": " + reason;
        return std::nullopt;
    }
    std::vector<Entry> entries;
    std::size_t from = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    for (std::size_t number = 1; from < text.size(); ++number) {
        const std::size_t end = std::min(text.find('\n', from), text.size());
        const std::string_view line = Trimmed(std::string_view(text).substr(from, end - from));
        from = end + 1;
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        const std::string place = "list " + InQuotes(list) + ", line " + std::to_string(number) + ": ";
        if (line.find('\0') != std::string_view::npos) {
            reason = place + "a zero byte is part of no name";
            return std::nullopt;
        }
        std::optional<Entry> entry = ParseEntry(std::string(line), reason);
        if (!entry) {
            reason = place + reason;
            return std::nullopt;
        }
        entry->first = InFolderOf(list, entry->first);
        if (!entry->second.empty()) {
            entry->second = InFolderOf(list, entry->second);
        }
        entries.push_back(std::move(*entry));
    }
    if (entries.empty()) {
        reason = "the list " + InQuotes(list) + " names no file";
        return std::nullopt;
    }
    return entries;
}

std::optional<std::vector<Input>> ReadNames(const std::vector<std::string>& names, bool join,
                                            std::string& reason) {
    std::vector<Input> inputs;
    for (const std::string& name : names) {
        Input input;
        input.written = WithoutPasswords(name);
        if (name.starts_with('@')) {
            std::optional<std::vector<Entry>> entries = ReadNameList(name.substr(1), reason);
            if (!entries) {
                return std::nullopt;
            }
            input.entries = std::move(*entries);
            input.joined = true;
        } else {
            std::optional<Entry> entry = ParseEntry(name, reason);
            if (!entry) {
                return std::nullopt;
            }
            if (entry->ftp || entry->url) {
                input.written = entry->written;
            }
            input.entries.push_back(std::move(*entry));
        }
        if (join && !inputs.empty()) {
            Input& all = inputs.front();
            all.entries.insert(all.entries.end(), input.entries.begin(), input.entries.end());
            all.written += " + " + input.written;
        } else {
            inputs.push_back(std::move(input));
        }
        inputs.front().joined = inputs.front().joined || join;
    }
    return inputs;
}

Input PlainInput(const std::string& name) {
    Entry entry{name, {}, name, nullptr, {}};
    if (IsFtpName(name)) {
        TakeFtpName(name, entry, entry.wrong);
    } else if (IsHttpName(name)) {
        TakeUrl(name, entry, entry.wrong);
    }
    return Input{{entry}, false, entry.written};
}

} // namespace vxcio::tool
