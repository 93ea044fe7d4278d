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
constexpr std::string_view kOfShares[] = {"path", "available", "-valid"};
constexpr std::size_t kLongestInherited = 4096; // as long as a path may be

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

// Without the quotation marks at its ends, of which a value may have any number.
std::string_view Unquoted(std::string_view value) noexcept {
    value.remove_prefix(std::min(value.find_first_not_of('"'), value.size()));
    return value.substr(0, value.find_last_not_of('"') + 1);
}

bool IsBlank(char c) noexcept {
    return kBlanks.find(c) != std::string_view::npos;
}

// Names of parameters are the same with blanks and without.
std::string ParameterName(std::string_view text) {
    std::string name;
    for (const char c : text) {
        if (!IsBlank(c)) {
            name += Lower(c);
        }
    }
    return name;
}

// Case does not count in names of sections.
std::wstring Folded(std::string_view name) {
    return UpperCase(FromUtf8(name));
}

// Takes the next line, with those that it goes on in. Of blanks behind each other only the first stays.
std::string TakeLine(std::string_view& text) {
    std::string line;
    for (bool isFirst = true;; isFirst = false) {
        const std::size_t end = text.find('\n');
        const bool isLast = end == std::string_view::npos;
        std::string_view part = text.substr(0, end);
        text.remove_prefix(isLast ? text.size() : end + 1);
        part = part.substr(0, part.find_last_not_of(kBlanks) + 1);
        const bool isComment = isFirst && Trimmed(part).find_first_of("#;") == 0;
        const bool goesOn = !isLast && !isComment && part.ends_with('\\');
        line.append(part.substr(0, part.size() - (goesOn ? 1 : 0)));
        if (!goesOn) {
            break;
        }
    }
    const auto isFurtherBlank = [](char before, char c) { return IsBlank(before) && IsBlank(c); };
    line.erase(std::unique(line.begin(), line.end(), isFurtherBlank), line.end());
    return line;
}

// The sections as they come together from a file and those it includes.
class Sections {
public:
    using Values = std::map<std::string, std::string, std::less<>>;
    struct Section {
        std::string name;
        Values values;
        Values inherited; // of the global section, or of one that it is a copy of
    };

    explicit Sections(const ReadIncluded& read) : m_read(read) {
        Select({}); // what belongs nowhere
        Select(kGlobal[0]);
    }
    const Section& Global() const { return m_sections[kGlobalPlace]; }

    void Parse(std::string_view text, bool mayInclude) {
        while (!text.empty()) {
            const std::string line = TakeLine(text);
            ParseLine(Trimmed(line), mayInclude);
        }
    }
    // Empty where it is not set.
    static std::string ValueOf(const Section& section, std::string_view name) {
        for (const Values* values : {&section.values, &section.inherited}) {
            const auto found = values->find(name);
            if (found != values->end()) {
                return std::string(Unquoted(found->second));
            }
        }
        return {};
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
            Leave();
            Select(isWhole ? line.substr(1, end - 1) : std::string_view());
            return;
        }
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            ++m_skippedLines;
            return;
        }
        std::string name = ParameterName(line.substr(0, equals));
        const std::string value(Trimmed(line.substr(equals + 1)));
        if (name == "copy") {
            const auto found = m_places.find(Folded(value));
            if (found != m_places.end() && std::min(found->second, m_current) > kGlobalPlace) {
                Inherit(found->second);
            }
            return;
        }
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

    // A share that had no path when its section ended is not available, also when it is given one later.
    void Leave() {
        Section& section = m_sections[m_current];
        if (m_current != kGlobalPlace && ValueOf(section, "path").empty()) {
            section.values["available"] = kNo[0];
        }
    }

    // A section that comes again goes on. A new one begins with what the global section says of all by then.
    void Select(std::string_view name) {
        const bool isGlobal = IsOneOf(kGlobal, ParameterName(name));
        std::wstring key = Folded(isGlobal ? kGlobal[0] : name);
        const auto found = m_places.find(key);
        if (found != m_places.end()) {
            m_current = found->second;
        } else if (m_sections.size() < kMostSections) {
            m_current = m_sections.size();
            m_places.emplace(std::move(key), m_current);
            m_sections.push_back({std::string(name), {}, {}});
            Inherit(kGlobalPlace);
        } else {
            m_current = 0;
        }
    }

    // Where it says nothing itself, the section says what another one says by now.
    void Inherit(std::size_t place) {
        if (place >= m_sections.size()) {
            return; // nothing yet
        }
        for (const std::string_view name : kOfShares) {
            std::string value = ValueOf(m_sections[place], name);
            // Many sections may inherit one value.
            m_sections[m_current].inherited[std::string(name)] =
                value.size() <= kLongestInherited ? std::move(value) : std::string();
        }
    }

    static constexpr std::size_t kGlobalPlace = 1;

    const ReadIncluded& m_read;
    std::vector<Section> m_sections;
    std::map<std::wstring, std::size_t> m_places; // of sections, by their folded name
    std::size_t m_current = 0;
    std::size_t m_skippedLines = 0;
    int m_includes = 0;
};

bool IsShareName(std::string_view name) {
    return !Trimmed(name).empty() && !IsOneOf(kNoShares, Lowered(Trimmed(name)));
}

bool IsAvailable(const Sections::Section& section) {
    return !IsOneOf(kNo, Lowered(Sections::ValueOf(section, "available"))) &&
           !IsOneOf(kNo, Lowered(Sections::ValueOf(section, "-valid")));
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
    const Sections::Section& global = sections.Global();
    configuration.netbiosName = Sections::ValueOf(global, "netbiosname");
    configuration.workgroup = Sections::ValueOf(global, "workgroup");
    configuration.usershareFolder = Sections::ValueOf(global, "usersharepath");
    for (const Sections::Section& section : sections.All()) {
        std::string path = Sections::ValueOf(section, "path");
        if (IsShareName(section.name) && IsAvailable(section) && IsFolder(path)) {
            configuration.shares.push_back({section.name, std::move(path)});
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
    std::set<std::wstring> names;
    for (const SambaShare& share : configuration.shares) {
        names.insert(Folded(share.name));
    }
    for (SambaShare& share : shares) {
        if (names.insert(Folded(share.name)).second) {
            configuration.shares.push_back(std::move(share));
        }
    }
}

} // namespace vxcio
