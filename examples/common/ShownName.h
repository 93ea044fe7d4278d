// ShownName.h - the name of a file or a URL as messages show it: without the password of a URL.
#pragma once

#include <algorithm>
#include <string>

inline std::string ShownName(const std::string& name) {
    const std::size_t scheme = name.find("://");
    if (scheme == std::string::npos) {
        return name;
    }
    const std::size_t host = scheme + 3;
    const std::size_t end = std::min(name.find_first_of("/?#", host), name.size());
    const std::size_t at = name.substr(0, end).rfind('@');
    const std::size_t colon = name.find(':', host);
    const bool hasPassword = at != std::string::npos && at >= host && colon < at;
    return hasPassword ? name.substr(0, colon) + name.substr(at) : name;
}
