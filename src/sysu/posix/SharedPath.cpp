#include "sysu/posix/SharedPath.h"

#include "frame/Types.h"
#include "text/Utf8.h"

#include <string_view>
#include <unistd.h>

namespace vxcio::sysu {

namespace {

// An encoded name longer than this keeps its beginning, and a digest of the whole stands for the rest: file
// names end at 255 bytes.
constexpr std::size_t kLongestName = 180;
constexpr std::size_t kKeptBeginning = 140;

bool IsPlain(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-' || c == '.';
}

uint64 Fnv1a(std::string_view bytes) noexcept {
    uint64 hash = 0xCBF29CE484222325u;
    for (const char c : bytes) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
    }
    return hash;
}

void AppendHex(std::string& text, uint64 value, int digits) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    for (int i = digits - 1; i >= 0; --i) {
        text += kDigits[static_cast<std::size_t>((value >> (4 * i)) & 15)];
    }
}

// Two names have two encodings, also where they hold what is no character.
std::string Encoded(const wchar_t* name) {
    std::string encoded;
    for (const wchar_t* at = name == nullptr ? L"" : name; *at != 0; ++at) {
        const auto value = static_cast<uint32>(*at);
        if (value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
            encoded += "%u";
            AppendHex(encoded, value, 8);
            continue;
        }
        for (const char c : ToUtf8(std::wstring_view(at, 1))) {
            if (IsPlain(c)) {
                encoded += c;
            } else {
                encoded += '%';
                AppendHex(encoded, static_cast<unsigned char>(c), 2);
            }
        }
    }
    if (encoded.size() > kLongestName) {
        // The plus, which no encoding has, tells it from a short name. Two names with one digest would still
        // have to have one length and one beginning.
        std::string cut = encoded.substr(0, kKeptBeginning) + "+";
        AppendHex(cut, Fnv1a(encoded), 16);
        return cut + "+" + std::to_string(encoded.size());
    }
    return encoded;
}

} // namespace

std::string SharedPrefix() {
    return "vxc." + std::to_string(geteuid()) + ".";
}

std::string SharedPath(const wchar_t* name, SharedKind kind) {
    return std::string(kSharedFolder) + "/" + SharedPrefix() + Encoded(name) + "." + static_cast<char>(kind);
}

} // namespace vxcio::sysu
