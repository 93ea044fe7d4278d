#include "FtpName.h"

#include "AddressText.h"
#include "HttpName.h"

#include <algorithm>
#include <cstring>

namespace vxcio::tool {

namespace {

constexpr std::uint16_t kUsualPort = 21;
constexpr std::string_view kScheme = "ftp://";
constexpr std::string_view kOtherSchemes[] = {"ftps://", "ftpes://", "sftp://"};

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

bool Decode(std::string_view text, std::string& out, std::string& reason) {
    out.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '%') {
            const int high = i + 2 < text.size() ? DigitOf(text[i + 1]) : -1;
            const int low = i + 2 < text.size() ? DigitOf(text[i + 2]) : -1;
            if (high < 0 || low < 0) {
                reason = "a '%' is followed by two hexadecimal digits; one of the name itself is written %25";
                return false;
            }
            c = static_cast<char>(high * 16 + low);
            i += 2;
        }
        // They would end the command in which the name goes to the server, and begin another.
        if (c == '\r' || c == '\n' || c == '\0') {
            reason = "a line end or a zero byte is part of no name";
            return false;
        }
        out += c;
    }
    return true;
}

std::string Encode(std::string_view text, std::string_view besides) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : text) {
        if (IsControl(c) || c == ' ' || c == '%' || besides.find(c) != std::string_view::npos) {
            const auto byte = static_cast<unsigned char>(c);
            out += '%';
            out += kDigits[byte >> 4];
            out += kDigits[byte & 15];
        } else {
            out += c;
        }
    }
    return out;
}

// "host", "host:", "host:2121".
bool ParseHost(std::string_view text, FtpName& name, std::string& reason) {
    if (text.starts_with('[')) {
        reason = "addresses are those of IPv4";
        return false;
    }
    const std::size_t colon = text.find(':');
    const std::string_view host = text.substr(0, colon);
    if (host.empty()) {
        reason = "it names no host";
        return false;
    }
    if (std::any_of(host.begin(), host.end(), [](char c) { return IsControl(c) || c == ' ' || c == '%'; })) {
        reason = "its host holds what is part of no host's name";
        return false;
    }
    name.host = host;
    return TakePort(colon == std::string_view::npos ? "" : text.substr(colon + 1), name.port, reason);
}

bool ParseUser(std::string_view text, FtpName& name, std::string& reason) {
    const std::size_t colon = text.find(':');
    std::string part;
    if (!Decode(text.substr(0, colon), part, reason)) {
        return false;
    }
    if (part.empty()) {
        reason = "it names no user before the '@'";
        return false;
    }
    name.user = part;
    if (colon != std::string_view::npos) {
        if (!Decode(text.substr(colon + 1), part, reason)) {
            return false;
        }
        name.password = part;
    }
    return true;
}

// Takes off ";type=i".
bool ParseType(std::string_view& path, std::string& reason) {
    static constexpr std::string_view kType = ";type=";
    if (path.size() <= kType.size() || !StartsWith(path.substr(path.size() - kType.size() - 1), kType)) {
        return true;
    }
    if (Lower(path.back()) != 'i') {
        reason = "all transfers are those of images, ';type=i'; a ';' of the name itself is written %3B";
        return false;
    }
    path.remove_suffix(kType.size() + 1);
    return true;
}

bool ParseParts(std::string_view rest, FtpName& name, std::string& reason) {
    const std::size_t slash = std::min(rest.find('/'), rest.size());
    const std::string_view server = rest.substr(0, slash);
    std::string_view path = rest.substr(std::min(slash + 1, rest.size()));
    const std::size_t at = server.rfind('@');
    if (at != std::string_view::npos && !ParseUser(server.substr(0, at), name, reason)) {
        return false;
    }
    return ParseHost(at == std::string_view::npos ? server : server.substr(at + 1), name, reason) &&
           ParseType(path, reason) && Decode(path, name.path, reason);
}

// Where the password stands in a text, if there is an FTP name in it at all. Of a name that makes no sense,
// all that could be one.
struct Range {
    std::size_t from = std::string_view::npos;
    std::size_t end = 0;
};

Range FtpPasswordIn(std::string_view text, std::size_t start) {
    std::size_t slashes = text.find(kSlashes, start);
    for (; slashes != std::string_view::npos; slashes = text.find(kSlashes, slashes + 1)) {
        const std::size_t from = slashes >= 5 ? slashes - 5 : 0;
        std::string head;
        for (const char c : text.substr(from, slashes - from)) {
            head += Lower(c);
        }
        if (head.ends_with("ftp") || head.ends_with("ftps") || head.ends_with("ftpes")) {
            break;
        }
    }
    if (slashes == std::string_view::npos) {
        return {};
    }
    const std::size_t server = slashes + kSlashes.size();
    const std::size_t slash = std::min(text.find('/', server), text.size());
    std::size_t at = text.substr(0, slash).rfind('@');
    if (at == std::string_view::npos || at < server) {
        at = text.rfind('@'); // a slash within the password
    }
    const std::size_t colon = text.find(':', server);
    if (at == std::string_view::npos || at < server) {
        // Without an '@' what stands behind the colon should be a port.
        const std::size_t end = std::min(text.find_first_of("/' ", server), text.size());
        const bool isPort =
            colon >= end ||
            text.substr(colon + 1, end - colon - 1).find_first_not_of("0123456789") == std::string_view::npos;
        return isPort ? Range{end, end} : Range{colon + 1, end};
    }
    return colon < at ? Range{colon + 1, at} : Range{at, at};
}

// The first of either kind.
Range PasswordIn(std::string_view text, std::size_t start) {
    const Range ftp = FtpPasswordIn(text, start);
    const HiddenRange http = HttpPasswordIn(text, start);
    return http.from < ftp.from ? Range{http.from, http.end} : ftp;
}

} // namespace

std::string FtpName::Shown() const {
    std::string text(kScheme);
    if (user) {
        text += Encode(*user, "/:@") + '@';
    }
    text += host;
    if (port != kUsualPort) {
        text += ':' + std::to_string(port);
    }
    text += '/';
    const bool isAbsolute = path.starts_with('/');
    return text + (isAbsolute ? "%2F" : "") + Encode(path.substr(isAbsolute ? 1 : 0), ";");
}

std::string FtpName::OwnName() const {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string FtpName::FolderPath() const {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : slash == 0 ? "/" : path.substr(0, slash);
}

FtpName FtpName::At(std::string otherPath) const {
    FtpName other = *this;
    other.path = std::move(otherPath);
    return other;
}

FtpName FtpName::Inside(const std::string& entry) const {
    return At(path.empty() || path.ends_with('/') ? path + entry : path + '/' + entry);
}

bool FtpName::IsSameServer(const FtpName& other) const {
    return port == other.port && user == other.user && password == other.password &&
           std::equal(host.begin(), host.end(), other.host.begin(), other.host.end(),
                      [](char a, char b) { return Lower(a) == Lower(b); });
}

bool IsFtpName(std::string_view text) {
    return StartsWith(text, kScheme) ||
           std::any_of(std::begin(kOtherSchemes), std::end(kOtherSchemes),
                       [text](std::string_view scheme) { return StartsWith(text, scheme); });
}

std::optional<FtpName> ParseFtpName(std::string_view text, std::string& reason) {
    FtpName name;
    if (!StartsWith(text, kScheme)) {
        reason = "of the names with a protocol only those with ftp:// are understood";
    } else if (ParseParts(text.substr(kScheme.size()), name, reason)) {
        return name;
    }
    return std::nullopt;
}

std::string WithoutPasswords(std::string_view text) {
    std::string out;
    std::size_t from = 0;
    for (Range range = PasswordIn(text, 0); range.from != std::string_view::npos;
         range = PasswordIn(text, from)) {
        out += text.substr(from, range.from - from);
        if (range.end > range.from) {
            out += "...";
        }
        from = range.end;
    }
    return out += text.substr(from);
}

void WipePassword(char* text) {
    const std::string_view whole(text);
    for (Range range = PasswordIn(whole, 0); range.from != std::string_view::npos;
         range = PasswordIn(whole, range.end)) {
        std::memset(text + range.from, '*', range.end - range.from);
    }
}

} // namespace vxcio::tool
