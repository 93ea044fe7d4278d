#include "platform/posix/SambaShares.h"

#include "text/FoldCase.h"
#include "text/Utf8.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace vxcio {

namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr std::string_view kGlobal[] = {"global", "globals"};
constexpr std::string_view kNoShares[] = {"global", "globals", "homes", "printers", "print$"};
constexpr std::string_view kNo[] = {"no", "false", "0", "off"};

char Lower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string Lowered(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), Lower);
    return lower;
}

std::string_view Trimmed(std::string_view text) noexcept {
    const std::size_t first = std::min(text.find_first_not_of(kBlanks), text.size());
    text.remove_prefix(first);
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

template <std::size_t count>
bool IsOneOf(const std::string_view (&words)[count], std::string_view word) noexcept {
    return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

// Without the quotation marks around it, where there are no others.
std::string_view Unquoted(std::string_view value) noexcept {
    const bool isQuoted = value.size() >= 2 && value.front() == '"' && value.find('"', 1) == value.size() - 1;
    return isQuoted ? value.substr(1, value.size() - 2) : value;
}

// Names of parameters are the same with blanks and without.
std::string ParameterName(std::string_view text) {
    std::string name;
    for (const char c : text) {
        if (kBlanks.find(c) == std::string_view::npos) {
            name += Lower(c);
        }
    }
    return name;
}

// Takes the next line, with those that it goes on in.
std::string TakeLine(std::string_view& text) {
    std::string line;
    for (;;) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view part = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        part = part.substr(0, part.find_last_not_of(kBlanks) + 1);
        const bool isComment = line.empty() && Trimmed(part).find_first_of("#;") == 0;
        if (part.empty() || part.back() != '\\' || isComment) {
            return line.append(part);
        }
        part.remove_suffix(1);
        line.append(part);
        if (text.empty()) {
            return line;
        }
    }
}

// The sections as they come together from a file and those it includes.
class Sections {
public:
    using Values = std::map<std::string, std::string, std::less<>>;
    struct Section {
        std::string name;
        Values values;
    };

    explicit Sections(const ReadIncluded& read) : m_read(read) { Select("global"); }

    void Parse(std::string_view text, bool mayInclude) {
        while (!text.empty()) {
            const std::string line = TakeLine(text);
            ParseLine(Trimmed(line), mayInclude);
        }
    }
    const std::vector<Section>& All() const { return m_sections; }
    std::size_t SkippedLines() const { return m_skippedLines; }

private:
    void ParseLine(std::string_view line, bool mayInclude) {
        if (line.empty() || line[0] == '#' || line[0] == ';') {
            return;
        }
        if (line[0] == '[') {
            const std::size_t end = line.find(']');
            const bool isWhole = end != std::string_view::npos;
            m_skippedLines += isWhole ? 0 : 1;
            // What stands below a broken heading must not get into the section above it.
            Select(isWhole ? Trimmed(line.substr(1, end - 1)) : std::string_view());
            return;
        }
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            ++m_skippedLines;
            return;
        }
        std::string name = ParameterName(line.substr(0, equals));
        const std::string value(Unquoted(Trimmed(line.substr(equals + 1))));
        if (name == "include") {
            if (mayInclude && m_includes < kMostIncludes) {
                ++m_includes;
                if (const std::optional<std::string> text = m_read(value)) {
                    Parse(*text, false);
                }
            }
            return;
        }
        m_sections[m_current].values[name == "directory" ? "path" : std::move(name)] = value;
    }

    // A section that comes again goes on.
    void Select(std::string_view name) {
        std::string key = Lowered(name);
        if (IsOneOf(kGlobal, key)) {
            key = kGlobal[0];
        }
        const auto [found, isNew] = m_places.try_emplace(std::move(key), m_sections.size());
        m_current = found->second;
        if (isNew) {
            m_sections.push_back({std::string(name), {}});
        }
    }

    const ReadIncluded& m_read;
    std::vector<Section> m_sections;
    std::map<std::string, std::size_t> m_places; // of sections, by their name in lower case
    std::size_t m_current = 0;
    std::size_t m_skippedLines = 0;
    int m_includes = 0;
};

std::string ValueOf(const Sections::Values& values, std::string_view name) {
    const auto found = values.find(name);
    return found == values.end() ? std::string() : found->second;
}

bool IsShareName(std::string_view name) {
    return !name.empty() && !IsOneOf(kNoShares, Lowered(name));
}

bool IsAvailable(const Sections::Values& values) {
    return !IsOneOf(kNo, Lowered(ValueOf(values, "available")));
}

// Only whole paths lead to the same folder everywhere; with "%" it depends on who asks.
bool IsFolder(std::string_view path) noexcept {
    return path.starts_with('/') && path.find('%') == std::string_view::npos;
}

} // namespace

SambaConfiguration ParseSamba(std::string_view text, const ReadIncluded& read) {
    Sections sections(read);
    sections.Parse(text, true);
    SambaConfiguration configuration;
    configuration.skippedLines = sections.SkippedLines();
    for (const Sections::Section& section : sections.All()) {
        if (IsOneOf(kGlobal, Lowered(section.name))) {
            configuration.netbiosName = ValueOf(section.values, "netbiosname");
            configuration.workgroup = ValueOf(section.values, "workgroup");
            configuration.usershareFolder = ValueOf(section.values, "usersharepath");
        } else if (IsShareName(section.name) && IsAvailable(section.values)) {
            std::string path = ValueOf(section.values, "path");
            if (IsFolder(path)) {
                configuration.shares.push_back({section.name, std::move(path)});
            }
        }
    }
    return configuration;
}

std::optional<SambaShare> ParseUserShare(const std::string& fileName, std::string_view text) {
    SambaShare share{fileName, {}};
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            continue;
        }
        const std::string name = ParameterName(line.substr(0, equals));
        const std::string_view value = Trimmed(line.substr(equals + 1));
        if (name == "path") {
            share.path = value;
        } else if (name == "sharename" && !value.empty()) {
            share.name = value;
        }
    }
    return IsShareName(share.name) && IsFolder(share.path) ? std::optional(std::move(share)) : std::nullopt;
}

void AddUserShares(SambaConfiguration& configuration, std::vector<SambaShare> shares) {
    const auto folded = [](const std::string& name) {
        std::wstring wide = FromUtf8(name);
        std::transform(wide.begin(), wide.end(), wide.begin(), FoldUpper);
        return wide;
    };
    std::set<std::wstring> names;
    for (const SambaShare& share : configuration.shares) {
        names.insert(folded(share.name));
    }
    for (SambaShare& share : shares) {
        if (names.insert(folded(share.name)).second) {
            configuration.shares.push_back(std::move(share));
        }
    }
}

} // namespace vxcio
