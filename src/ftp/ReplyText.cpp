#include "ftp/ReplyText.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace vxcio {

namespace {

constexpr std::size_t kSizeMost = 30; // characters of a size in brackets that are looked at
constexpr std::size_t kNone = std::wstring_view::npos;

std::wstring_view View(const wchar_t* text) noexcept {
    return text == nullptr ? std::wstring_view() : std::wstring_view(text);
}

// Not the runtime library's functions: what these do with a number that is too long differs among systems,
// and what is a blank depends on the locale.
template <class Character>
int64 NumberIn(std::basic_string_view<Character> text) noexcept {
    std::size_t at = 0;
    while (at < text.size() && (text[at] == ' ' || (text[at] >= 9 && text[at] <= 13))) {
        ++at;
    }
    bool negative = false;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
        negative = text[at] == '-';
        ++at;
    }
    const uint64 most = uint64{std::numeric_limits<int64>::max()} + (negative ? 1 : 0);
    uint64 number = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        const auto digit = static_cast<uint64>(text[at] - '0');
        if (number > (most - digit) / 10) {
            number = most;
            break;
        }
        number = number * 10 + digit;
    }
    return static_cast<int64>(negative ? 0 - number : number);
}

int32 Clamped(int64 number) noexcept {
    constexpr int64 kLeast = std::numeric_limits<int32>::min();
    constexpr int64 kMost = std::numeric_limits<int32>::max();
    return static_cast<int32>(std::clamp(number, kLeast, kMost));
}

} // namespace

int32 NumberAt(const wchar_t* text) noexcept {
    return Clamped(LongNumberAt(text));
}

int64 LongNumberAt(const wchar_t* text) noexcept {
    return NumberIn(View(text));
}

int64 LongNumberIn(std::string_view bytes) noexcept {
    return NumberIn(bytes);
}

void ParsePassiveReply(const wchar_t* reply, CVXCString& host, int& port) noexcept {
    const std::wstring_view text = View(reply);
    const std::size_t open = text.find(L'(');
    const std::size_t close = text.find(L')');
    if (open == kNone || close == kNone || close < open) {
        return;
    }
    const std::wstring_view address = text.substr(open + 1, close - open - 1);
    const std::size_t last = address.rfind(L',');
    if (last == kNone || last == 0) {
        return;
    }
    const std::size_t before = address.rfind(L',', last - 1);
    if (before == kNone) {
        return;
    }
    // Copied in one go: a long line of commas would take for ever piece by piece.
    const std::unique_ptr<wchar_t[]> dotted(new (std::nothrow) wchar_t[before + 1]);
    if (dotted == nullptr) {
        return;
    }
    std::ranges::replace_copy(address.substr(0, before), dotted.get(), L',', L'.');
    dotted[before] = L'\0';
    CVXCString newHost(dotted.get());
    if (newHost.IsEmpty() && before != 0) {
        return; // it had no memory
    }
    host = std::move(newHost);
    // A server may say any numbers here; without a sign they just wrap.
    const auto high = static_cast<uint32>(Clamped(NumberIn(address.substr(before + 1, last - before - 1))));
    const auto low = static_cast<uint32>(Clamped(NumberIn(address.substr(last + 1))));
    port = static_cast<int>((high << 8) + low);
}

uint64 SizeBehindBracket(const wchar_t* reply, int bracket) noexcept {
    const std::wstring_view text = View(reply);
    const auto at = static_cast<std::size_t>(bracket); // one below 0 is beyond every text
    if (at >= text.size()) {
        return 0;
    }
    const std::wstring_view behind = text.substr(at + 1, kSizeMost);
    return static_cast<uint64>(NumberIn(behind.substr(0, behind.find(L' '))));
}

uint64 SizeInReply(const wchar_t* reply) noexcept {
    const std::wstring_view text = View(reply);
    const std::size_t bracket = text.rfind(L'(');
    if (bracket == kNone || bracket == 0 || text.starts_with(L"bytes")) {
        return 0;
    }
    return SizeBehindBracket(reply, static_cast<int>(bracket));
}

int FindCharacter(const wchar_t* text, wchar_t character) noexcept {
    const std::size_t at = View(text).find(character);
    return at == kNone ? -1 : static_cast<int>(at);
}

bool BeginsWith(const wchar_t* text, const wchar_t* head) noexcept {
    return View(text).starts_with(View(head));
}

} // namespace vxcio
