// HttpUrl.h - the address of a file as a caller writes it, and as it goes to the server. What gives a value
// may throw std::bad_alloc.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vxcio {

struct HttpUrl {
    std::string address; // "http://host:8080/path?query", with everything percent-encoded that must be
    std::string origin;  // "http://host:8080"; the same for all files of a server
    std::string user;    // decoded; both empty where the address names none
    std::string password;
    bool hasUser = false;
};

// Blanks, controls and characters beyond ASCII are encoded everywhere but in the host, and so is a "%" that
// begins no escape; what is encoded stays. A fragment goes. Nothing for what is no address of http or https.
std::optional<HttpUrl> ParseHttpUrl(std::wstring_view name);

// Scheme, host and port of an address, the port also where it is the usual one; empty for what is none.
std::string OriginOf(const std::string& address);

// The address as it may be shown: no password.
std::string ShownAddress(std::string_view address);
// The same for what is no address: whatever in it may be a user and a password goes.
std::string ShownText(std::string_view text);

} // namespace vxcio
