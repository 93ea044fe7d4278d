#include "paths/PathParts.h"

#include "text/FoldCase.h"

#include <algorithm>

namespace vxcio {

namespace {

constexpr std::size_t kShortestAddress = 7;
constexpr int kLargestGroup = 255;
constexpr int kBeyondGroup = 256; // as far as a group counts
constexpr int kBeyondWeight = 1000;
constexpr int kDots = 3;
constexpr std::size_t kHostStart = 2;

// Takes the next part off the path; empty where there is none.
std::wstring_view TakePart(std::wstring_view& path) noexcept {
    path.remove_prefix(std::min(path.find_first_not_of(L'\\'), path.size()));
    const std::wstring_view part = path.substr(0, path.find(L'\\'));
    path.remove_prefix(part.size());
    return part;
}

constexpr bool IsDigit(wchar_t c) noexcept {
    return c >= L'0' && c <= L'9';
}

} // namespace

std::wstring_view HostEnd(std::wstring_view name) noexcept {
    return name.substr(0, name.find(L'\\', kHostStart));
}

std::optional<std::wstring> SuffixBelow(std::wstring_view path, std::wstring_view root) {
    for (;;) {
        const std::wstring_view wanted = TakePart(root);
        if (wanted.empty()) {
            break;
        }
        if (!EqualsFolded(TakePart(path), wanted)) {
            return std::nullopt;
        }
    }
    std::wstring suffix;
    for (std::wstring_view part = TakePart(path); !part.empty(); part = TakePart(path)) {
        suffix += L'\\';
        suffix += part;
    }
    return suffix;
}

bool IsAddress(std::wstring_view text) noexcept {
    if (text.size() < kShortestAddress || !IsDigit(text.back())) {
        return false;
    }
    int dots = 0;
    int value = 0;
    int weight = 1;
    for (auto at = text.rbegin(); at != text.rend(); ++at) {
        if (IsDigit(*at)) {
            // Any number of digits fits; beyond what a group may be it only counts as too much.
            value = std::min(value + (*at - L'0') * weight, kBeyondGroup);
            weight = std::min(weight * 10, kBeyondWeight);
        } else if (*at == L'.' && value <= kLargestGroup) {
            ++dots;
            value = 0;
            weight = 1;
        } else {
            return false;
        }
    }
    return dots == kDots && value <= kLargestGroup;
}

} // namespace vxcio
