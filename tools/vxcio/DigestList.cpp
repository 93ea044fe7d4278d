#include "DigestList.h"

#include "Text.h"

#include <streambuf>

namespace vxcio::tool {

namespace {

constexpr std::size_t kDigits = 32;
constexpr std::size_t kLongestLine = 1u << 20;

std::optional<std::string> Digest(std::string_view text) {
    if (text.size() != kDigits) {
        return std::nullopt;
    }
    std::string out(text);
    for (char& c : out) {
        if (c >= 'A' && c <= 'F') {
            c = static_cast<char>(c - 'A' + 'a');
        }
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) {
            return std::nullopt;
        }
    }
    return out;
}

std::optional<DigestLine> Make(std::string_view digits, std::string_view name, bool escaped) {
    const std::optional<std::string> digest = Digest(digits);
    if (!digest || name.empty()) {
        return std::nullopt;
    }
    if (!escaped) {
        return DigestLine{*digest, std::string(name), std::string(name)};
    }
    std::optional<std::string> plain = UnescapeName(name);
    if (!plain) {
        return std::nullopt;
    }
    // What else is escaped does not tear a line of messages.
    const bool tears = plain->find('\n') != std::string::npos;
    std::string printed(tears ? 1 : 0, '\\');
    printed.append(tears ? name : std::string_view(*plain));
    return DigestLine{*digest, *plain, printed};
}

} // namespace

std::optional<DigestLine> ParseDigestLine(std::string_view line) {
    static constexpr std::string_view kTagStart = "MD5 (";
    static constexpr std::string_view kTagEnd = ") = ";
    if (line.ends_with('\r')) {
        line.remove_suffix(1); // a carriage return of the name itself would be escaped
    }
    while (line.starts_with(' ') || line.starts_with('\t')) {
        line.remove_prefix(1);
    }
    const bool escaped = line.starts_with('\\');
    if (escaped) {
        line.remove_prefix(1);
    }
    if (line.starts_with(kTagStart)) {
        const std::size_t end = line.rfind(kTagEnd);
        if (end == std::string_view::npos || end < kTagStart.size()) {
            return std::nullopt;
        }
        return Make(line.substr(end + kTagEnd.size()), line.substr(kTagStart.size(), end - kTagStart.size()),
                    escaped);
    }
    if (line.size() < kDigits + 3 || line[kDigits] != ' ' ||
        (line[kDigits + 1] != ' ' && line[kDigits + 1] != '*')) {
        return std::nullopt;
    }
    return Make(line.substr(0, kDigits), line.substr(kDigits + 2), escaped);
}

std::string FormatDigestLine(const std::string& digest, const std::string& name) {
    bool escaped = false;
    const std::string written = EscapeName(name, escaped);
    return (escaped ? "\\" : "") + digest + "  " + written;
}

bool NextLine(std::istream& in, std::string& line) {
    line.clear();
    std::streambuf* const buffer = in.rdbuf();
    bool any = false;
    for (;;) {
        const int c = buffer->sbumpc();
        if (c == std::char_traits<char>::eof()) {
            return any;
        }
        any = true;
        if (c == '\n') {
            return true;
        }
        if (line.size() < kLongestLine) {
            line += static_cast<char>(c);
        }
    }
}

} // namespace vxcio::tool
