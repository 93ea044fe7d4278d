#include "sysu/SettingsText.h"

// Debian's header holds the bodies only on request; so nothing has to be linked.
#define SI_IMPLEMENTATION
#define SI_NO_CONVERSION
#include <SimpleIni.h>

#include <algorithm>
#include <new>
#include <optional>
#include <vector>

namespace vxcio::sysu {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kLineEnds = "\r\n";

char LowerAscii(char c) noexcept {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

int CompareIgnoringCase(std::string_view left, std::string_view right) noexcept {
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        const auto a = static_cast<unsigned char>(LowerAscii(left[i]));
        const auto b = static_cast<unsigned char>(LowerAscii(right[i]));
        if (a != b) {
            return a < b ? -1 : 1;
        }
    }
    return left.size() == right.size() ? 0 : (left.size() < right.size() ? -1 : 1);
}

std::string_view Trim(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool HasOuterBlanks(std::string_view text) noexcept {
    return Trim(text).size() != text.size();
}

bool HasLineEnd(std::string_view text) noexcept {
    return text.find_first_of(kLineEnds) != std::string_view::npos;
}

enum class LineKind { Blank, Comment, Heading, BrokenHeading, Value, Other };

// One line of a text; positions are offsets in it.
struct Line {
    std::size_t begin = 0;    // first byte, behind a byte order mark
    std::size_t contents = 0; // behind the last byte before the line end
    std::size_t end = 0;      // behind the line end
    LineKind kind = LineKind::Blank;
    std::string_view name;      // of a heading or a value
    std::size_t valueBegin = 0; // first byte of the value, behind '=' and blanks
};

// Reads a line as the parser does, so that a changed line means to it what was meant here.
void Classify(std::string_view text, Line& line) {
    const std::string_view whole = text.substr(line.begin, line.contents - line.begin);
    const std::string_view trimmed = Trim(whole);
    if (trimmed.empty()) {
        line.kind = LineKind::Blank;
    } else if (trimmed[0] == ';' || trimmed[0] == '#') {
        line.kind = LineKind::Comment;
    } else if (trimmed[0] == '[') {
        const std::size_t close = trimmed.find(']');
        line.kind = close == std::string_view::npos ? LineKind::BrokenHeading : LineKind::Heading;
        line.name = close == std::string_view::npos ? std::string_view() : Trim(trimmed.substr(1, close - 1));
    } else {
        const std::size_t equals = whole.find('=');
        line.kind = LineKind::Other;
        if (equals != std::string_view::npos && trimmed[0] != '=') {
            line.kind = LineKind::Value;
            line.name = Trim(whole.substr(0, equals));
            const std::size_t value = whole.find_first_not_of(kBlanks, equals + 1);
            line.valueBegin = value == std::string_view::npos ? line.contents : line.begin + value;
        }
    }
}

std::vector<Line> SplitLines(std::string_view text) {
    std::vector<Line> lines;
    std::size_t at = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    while (at < text.size()) {
        Line line;
        line.begin = at;
        line.contents = std::min(text.find_first_of(kLineEnds, at), text.size());
        line.end = line.contents;
        if (line.end < text.size()) {
            line.end += text.substr(line.end, 2) == "\r\n" ? 2 : 1;
        }
        Classify(text, line);
        at = line.end;
        lines.push_back(line);
    }
    return lines;
}

// The line end that the file uses.
std::string LineEndOf(std::string_view text, const std::vector<Line>& lines) {
    if (!lines.empty() && lines[0].end > lines[0].contents) {
        return std::string(text.substr(lines[0].contents, lines[0].end - lines[0].contents));
    }
    return "\n";
}

// What the lines tell about one name: which of them set it, and below which one it may be added.
struct Places {
    std::vector<Line> values;
    std::optional<Line> lastOfSection;
};

Places FindPlaces(const std::vector<Line>& lines, std::string_view section, std::string_view name) {
    Places places;
    bool inside = false;
    for (const Line& line : lines) {
        if (line.kind == LineKind::Heading || line.kind == LineKind::BrokenHeading) {
            inside = line.kind == LineKind::Heading && EqualsIgnoringCase(line.name, section);
        }
        if (!inside) {
            continue;
        }
        if (line.kind != LineKind::Blank) {
            places.lastOfSection = line;
        }
        if (line.kind == LineKind::Value && EqualsIgnoringCase(line.name, name)) {
            places.values.push_back(line);
        }
    }
    return places;
}

} // namespace

bool SettingKeyLess::operator()(const Key& left, const Key& right) const noexcept {
    const int sections = CompareIgnoringCase(left.first, right.first);
    return sections != 0 ? sections < 0 : CompareIgnoringCase(left.second, right.second) < 0;
}

bool EqualsIgnoringCase(std::string_view left, std::string_view right) noexcept {
    return CompareIgnoringCase(left, right) == 0;
}

SettingsMap ParseSettings(const std::string& text) {
    // The parser reads a line more than one way when it is broken; so it only gets those that are not.
    std::string clean;
    for (const Line& line : SplitLines(text)) {
        if (line.kind == LineKind::BrokenHeading) {
            clean.append("[]\n");
        } else if (line.kind == LineKind::Heading || line.kind == LineKind::Value) {
            clean.append(text, line.begin, line.contents - line.begin).append("\n");
        }
    }
    CSimpleIniA parser(true, false, false);
    SettingsMap values;
    if (parser.LoadData(clean.data(), clean.size()) < 0) {
        throw std::bad_alloc(); // the parser fails for nothing else without a conversion
    }
    CSimpleIniA::TNamesDepend sections;
    parser.GetAllSections(sections);
    for (const CSimpleIniA::Entry& section : sections) {
        const std::string heading = section.pItem;
        const CSimpleIniA::TKeyVal* names = parser.GetSection(section.pItem);
        if (heading.empty() || names == nullptr) {
            continue;
        }
        for (const auto& [name, value] : *names) {
            values.insert_or_assign({heading, name.pItem}, value);
        }
    }
    return values;
}

std::string WithSetting(std::string_view text, std::string_view section, std::string_view name,
                        std::string_view value) {
    const std::vector<Line> lines = SplitLines(text);
    const Places places = FindPlaces(lines, section, name);
    const std::string lineEnd = LineEndOf(text, lines);
    std::string out;
    if (!places.values.empty()) {
        const Line& line = places.values.back();
        out.append(text.substr(0, line.valueBegin)).append(value).append(text.substr(line.contents));
        return out;
    }
    const std::size_t at = places.lastOfSection ? places.lastOfSection->end : text.size();
    const bool endsWithin =
        at > 0 && !lines.empty() && kLineEnds.find(text[at - 1]) == std::string_view::npos;
    out.append(text.substr(0, at)).append(endsWithin ? lineEnd : "");
    if (!places.lastOfSection) {
        out.append(lines.empty() ? "" : lineEnd).append("[").append(section).append("]").append(lineEnd);
    }
    out.append(name).append(" = ").append(value).append(lineEnd).append(text.substr(at));
    return out;
}

std::string WithoutSetting(std::string_view text, std::string_view section, std::string_view name) {
    std::string out;
    std::size_t kept = 0;
    for (const Line& line : FindPlaces(SplitLines(text), section, name).values) {
        out.append(text.substr(kept, line.begin - kept));
        kept = line.end;
    }
    return out.append(text.substr(kept));
}

bool IsSectionWritable(std::string_view section) noexcept {
    return !section.empty() && !HasOuterBlanks(section) && !HasLineEnd(section) &&
           section.find(']') == std::string_view::npos;
}

bool IsNameWritable(std::string_view name) noexcept {
    return !name.empty() && !HasOuterBlanks(name) && !HasLineEnd(name) &&
           name.find('=') == std::string_view::npos && name[0] != '[' && name[0] != ';' && name[0] != '#';
}

bool IsValueWritable(std::string_view value) noexcept {
    return !HasLineEnd(value);
}

bool ParseSettingNumber(std::string_view text, uint32& value) noexcept {
    std::string_view digits = Trim(text);
    const bool negative = digits.starts_with('-');
    digits.remove_prefix(negative ? 1 : 0);
    uint64 base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        base = 16;
        digits.remove_prefix(2);
    }
    if (digits.empty()) {
        return false;
    }
    const uint64 most = negative ? 0x80000000u : 0xFFFFFFFFu;
    uint64 number = 0;
    for (const char c : digits) {
        const char lower = LowerAscii(c);
        uint64 digit = 0;
        if (lower >= '0' && lower <= '9') {
            digit = static_cast<uint64>(lower - '0');
        } else if (base == 16 && lower >= 'a' && lower <= 'f') {
            digit = static_cast<uint64>(lower - 'a') + 10;
        } else {
            return false;
        }
        number = number * base + digit;
        if (number > most) {
            return false;
        }
    }
    value = static_cast<uint32>(negative ? 0 - number : number);
    return true;
}

} // namespace vxcio::sysu
