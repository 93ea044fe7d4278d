#include "Sizes.h"

#include <array>
#include <charconv>
#include <cstdio>

namespace vxcio::tool {

std::optional<std::uint64_t> ParseSize(std::string_view text) {
    unsigned shift = 0;
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
        base = 16;
    }
    if (!text.empty()) {
        switch (text.back()) {
        case 'k':
        case 'K':
            shift = 10;
            break;
        case 'm':
        case 'M':
            shift = 20;
            break;
        case 'g':
        case 'G':
            shift = 30;
            break;
        default:
            break;
        }
        if (shift != 0) {
            text.remove_suffix(1);
        }
    }
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    if (text.empty() || error != std::errc{} || stop != end || value > (UINT64_MAX >> shift)) {
        return std::nullopt;
    }
    return value << shift;
}

std::string WithCommas(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t place = text.size(); place > 3;) {
        place -= 3;
        text.insert(place, 1, ',');
    }
    return text;
}

std::string ReadableSize(double bytes) {
    static constexpr std::array<const char*, 5> kUnits = {"bytes", "KiB", "MiB", "GiB", "TiB"};
    std::size_t unit = 0;
    while (bytes >= 1024.0 && unit + 1 < kUnits.size()) {
        bytes /= 1024.0;
        ++unit;
    }
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", bytes, kUnits[unit]);
    return text.data();
}

} // namespace vxcio::tool
