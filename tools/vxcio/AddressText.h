// AddressText.h - what names of servers are made of (RFC 3986). No case but that of A to Z.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

namespace vxcio::tool {

inline constexpr std::string_view kSlashes = "://";

constexpr char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

// `start` is in lower case, `text` in any.
inline bool StartsWith(std::string_view text, std::string_view start) {
    return text.size() >= start.size() &&
           std::equal(start.begin(), start.end(), text.begin(), [](char a, char b) { return a == Lower(b); });
}

// The value of a hexadecimal digit; -1 for what is none.
constexpr int DigitOf(char c) {
    const char lower = Lower(c);
    return c >= '0' && c <= '9' ? c - '0' : lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// The port in this text, which stays where the text is empty. False with a reason where it is none.
inline bool TakePort(std::string_view text, std::uint16_t& port, std::string& reason) {
    if (text.empty()) {
        return true;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port == 0) {
        reason = "its port is no number from 1 to 65535";
        return false;
    }
    return true;
}

} // namespace vxcio::tool
