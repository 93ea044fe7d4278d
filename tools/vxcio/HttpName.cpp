#include "HttpName.h"

#include "AddressText.h"

#include <algorithm>

namespace vxcio::tool {

namespace {

constexpr std::uint16_t kHttpPort = 80;
constexpr std::uint16_t kHttpsPort = 443;
constexpr std::string_view kHttp = "http://";
constexpr std::string_view kHttps = "https://";
constexpr std::string_view kServerEnds = "/?#";

// A '%' without two digits stays as it is.
std::string Decoded(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? DigitOf(text[i + 1]) : -1;
        const int low = high >= 0 ? DigitOf(text[i + 2]) : -1;
        if (low < 0) {
            out += text[i];
            continue;
        }
        out += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return out;
}

bool IsNumber(std::string_view text) {
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

// The colon in front of a port; those of an address in brackets are none.
std::size_t PortColon(std::string_view server) {
    const std::size_t bracket = server.starts_with('[') ? server.find(']') : 0;
    return bracket == std::string_view::npos ? bracket : server.find(':', bracket);
}

bool ParseServer(std::string_view server, HttpName& name, std::string& reason) {
    const std::size_t colon = PortColon(server);
    std::string_view host = server.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    }
    if (host.empty()) {
        reason = "it names no host";
        return false;
    }
    if (std::any_of(host.begin(), host.end(),
                    [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == '[' || c == ']'; })) {
        reason = "its host holds what is part of no host's name";
        return false;
    }
    name.host = host;
    return TakePort(colon == std::string_view::npos ? "" : server.substr(colon + 1), name.port, reason);
}

// Of what may be a file's name here.
std::string OwnNameIn(std::string_view path) {
    path = path.substr(0, path.find_first_of("?#"));
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) {
        return {};
    }
    const std::string_view last = path.substr(slash + 1);
    const std::string name = Decoded(last);
    return name.find_first_of(std::string_view("/\0", 2)) == std::string::npos ? name : std::string(last);
}

} // namespace

bool IsHttpName(std::string_view text) {
    return StartsWith(text, kHttp) || StartsWith(text, kHttps);
}

bool IsTakenForUrl(std::string_view text) {
    return StartsWith(text, "http");
}

std::string NoUrlWords(std::string_view text) {
    return "names that begin with 'http' are read as URLs, and this one is no http:// or https:// name; "
           "a file of that name is written ./" +
           std::string(text);
}

std::optional<HttpName> ParseHttpName(std::string_view text, std::string& reason) {
    HttpName name;
    if (!IsHttpName(text)) {
        reason = "it is no http:// or https:// name";
        return std::nullopt;
    }
    if (text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos) {
        reason = "a line end or a zero byte is part of no URL";
        return std::nullopt;
    }
    const bool isSecure = StartsWith(text, kHttps);
    name.port = isSecure ? kHttpsPort : kHttpPort;
    const std::size_t start = isSecure ? kHttps.size() : kHttp.size();
    const std::size_t end = std::min(text.find_first_of(kServerEnds, start), text.size());
    const std::size_t at = text.substr(0, end).rfind('@');
    const bool hasUser = at != std::string_view::npos && at >= start;
    const std::size_t server = hasUser ? at + 1 : start;
    if (!ParseServer(text.substr(server, end - server), name, reason)) {
        return std::nullopt;
    }
    const HiddenRange hidden = HttpPasswordIn(text, 0);
    name.url = text;
    name.place = text.substr(server);
    name.shown = name.url;
    if (hasUser && hidden.end > hidden.from) {
        name.password = text.substr(hidden.from, hidden.end - hidden.from);
        name.decoded = Decoded(name.password);
        name.shown.erase(hidden.from - 1, hidden.end - hidden.from + 1);
    }
    name.ownName = OwnNameIn(text.substr(end));
    return name;
}

HiddenRange HttpPasswordIn(std::string_view text, std::size_t start) {
    std::size_t slashes = text.find(kSlashes, start);
    for (; slashes != std::string_view::npos; slashes = text.find(kSlashes, slashes + 1)) {
        const std::size_t from = slashes >= 5 ? slashes - 5 : 0;
        std::string head;
        for (const char c : text.substr(from, slashes - from)) {
            head += Lower(c);
        }
        if (head.ends_with("http") || head.ends_with("https")) {
            break;
        }
    }
    if (slashes == std::string_view::npos) {
        return {};
    }
    const std::size_t server = slashes + kSlashes.size();
    // Blanks and quotes end a name within a message.
    const std::size_t end = std::min(text.find_first_of("/?#' ", server), text.size());
    const std::size_t at = text.substr(0, end).rfind('@');
    if (at != std::string_view::npos && at >= server) {
        const std::size_t colon = text.substr(0, at).find(':', server);
        return colon == std::string_view::npos ? HiddenRange{at, at} : HiddenRange{colon + 1, at};
    }
    const std::size_t colon = PortColon(text.substr(server, end - server));
    if (colon == std::string_view::npos ||
        IsNumber(text.substr(server + colon + 1, end - server - colon - 1))) {
        return {end, end};
    }
    // No port: a password with a slash in it, or one without its '@'.
    const std::size_t last = text.rfind('@');
    return {server + colon + 1, last == std::string_view::npos || last < end ? end : last};
}

} // namespace vxcio::tool
