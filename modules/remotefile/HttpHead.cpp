#include "HttpHead.h"

#include <algorithm>
#include <charconv>

namespace vxcio {

namespace {

char Lower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool StartsWithName(std::string_view line, std::string_view name) noexcept {
    return line.size() > name.size() && line[name.size()] == ':' &&
           std::equal(name.begin(), name.end(), line.begin(),
                      [](char a, char b) { return Lower(a) == Lower(b); });
}

std::string_view Trimmed(std::string_view text) noexcept {
    constexpr std::string_view kBlanks = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1); // behind none: nothing
}

// Takes a number off the text.
std::optional<uint64> TakeNumber(std::string_view& text) noexcept {
    uint64 number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{}) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool TakeCharacter(std::string_view& text, char c) noexcept {
    if (text.empty() || text[0] != c) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

bool EqualsName(std::string_view text, std::string_view name) noexcept {
    return text.size() == name.size() && std::equal(name.begin(), name.end(), text.begin(),
                                                    [](char a, char b) { return Lower(a) == Lower(b); });
}

bool IsStrong(std::string_view tag) noexcept {
    return !tag.empty() && tag.starts_with('"');
}

} // namespace

void TakeHeaderLine(std::string_view line, HttpHead& head) {
    if (line.starts_with("HTTP/")) {
        head = {}; // of the response before, which was not the last
        return;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    const std::string_view value = Trimmed(line.substr(colon + 1));
    if (StartsWithName(line, "Content-Range")) {
        ParseContentRange(value, head);
    } else if (StartsWithName(line, "ETag")) {
        head.tag = value;
    } else if (StartsWithName(line, "Last-Modified")) {
        head.date = value;
    } else if (StartsWithName(line, "Content-Encoding")) {
        head.isEncoded = !value.empty() && !EqualsName(value, "identity");
    } else if (StartsWithName(line, "Location")) {
        head.leadsElsewhere = true;
    }
}

bool ParseContentRange(std::string_view text, HttpHead& head) {
    text = Trimmed(text);
    constexpr std::string_view kUnit = "bytes";
    if (text.size() <= kUnit.size() ||
        !std::equal(kUnit.begin(), kUnit.end(), text.begin(), [](char a, char b) { return a == Lower(b); })) {
        return false;
    }
    text.remove_prefix(kUnit.size());
    text = Trimmed(text);
    HttpHead found;
    if (!TakeCharacter(text, '*')) {
        const auto first = TakeNumber(text);
        const bool hasDash = TakeCharacter(text, '-');
        const auto last = TakeNumber(text);
        if (!first || !hasDash || !last || *last < *first) {
            return false;
        }
        found.hasRange = true;
        found.rangeFirst = *first;
        found.rangeLast = *last;
    }
    if (!TakeCharacter(text, '/')) {
        return false;
    }
    if (!TakeCharacter(text, '*')) {
        found.total = TakeNumber(text);
        if (!found.total || (found.hasRange && found.rangeLast >= *found.total)) {
            return false;
        }
    }
    if (!text.empty()) {
        return false;
    }
    head.hasRange = found.hasRange;
    head.rangeFirst = found.rangeFirst;
    head.rangeLast = found.rangeLast;
    head.total = found.total;
    return true;
}

bool IsSameFile(const HttpHead& one, const HttpHead& other) {
    if (IsStrong(one.tag) && IsStrong(other.tag) && one.tag != other.tag) {
        return false;
    }
    return one.date.empty() || other.date.empty() || one.date == other.date;
}

} // namespace vxcio
