#include "fuzz/ReplyTextInput.h"

#include "ftp/ReplyText.h"
#include "fuzz/Require.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cwchar>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace vxcio::fuzz {

namespace {

constexpr std::size_t kNone = std::wstring::npos;

int64 ModelLongNumber(const std::wstring& text) {
    return std::wcstoll(text.c_str(), nullptr, 10);
}

int32 ModelNumber(const std::wstring& text) {
    using Limits = std::numeric_limits<int32>;
    return static_cast<int32>(std::clamp<int64>(ModelLongNumber(text), Limits::min(), Limits::max()));
}

// Between the commas; one more than there are commas.
std::vector<std::wstring> Split(const std::wstring& text) {
    std::vector<std::wstring> parts(1);
    for (const wchar_t c : text) {
        if (c == L',') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

void CheckNumbers(const wchar_t* reply, const std::wstring& text) {
    Require(LongNumberAt(reply) == ModelLongNumber(text), "a long number is the standard library's");
    Require(NumberAt(reply) == ModelNumber(text), "a number is the same with fewer bits");
    const std::string bytes = ToUtf8(text);
    Require(LongNumberIn(bytes) == LongNumberAt(reply), "a number is the same in bytes");
}

void CheckAddress(const wchar_t* reply, const std::wstring& text) {
    std::wstring wantedHost = L"before";
    uint32 wantedPort = 4711;
    const std::size_t open = text.find(L'(');
    const std::size_t close = text.find(L')');
    if (open != kNone && close != kNone && open < close) {
        const std::vector<std::wstring> parts = Split(text.substr(open + 1, close - open - 1));
        if (parts.size() >= 3) {
            wantedHost = parts[0];
            for (std::size_t i = 1; i + 2 < parts.size(); ++i) {
                wantedHost += L"." + parts[i];
            }
            wantedPort = 256 * static_cast<uint32>(ModelNumber(parts[parts.size() - 2])) +
                         static_cast<uint32>(ModelNumber(parts.back()));
        }
    }
    CVXCString host = L"before";
    int port = 4711;
    ParsePassiveReply(reply, host, port);
    Require(wantedHost == host.c_str(), "the host is the dotted parts but two");
    Require(static_cast<uint32>(port) == wantedPort, "the port is the last two parts");
}

uint64 ModelSize(const std::wstring& text, std::size_t bracket) {
    std::wstring behind = text.substr(bracket + 1);
    behind.resize(std::min({behind.size(), behind.find(L' '), std::size_t{30}}));
    return static_cast<uint64>(ModelLongNumber(behind));
}

void CheckSizes(const wchar_t* reply, const std::wstring& text, int bracket) {
    const bool inside = bracket >= 0 && static_cast<std::size_t>(bracket) < text.size();
    Require(SizeBehindBracket(reply, bracket) ==
                (inside ? ModelSize(text, static_cast<std::size_t>(bracket)) : 0),
            "a size is the number behind the bracket");
    const std::size_t last = text.find_last_of(L'(');
    const bool told = last != kNone && last > 0 && text.compare(0, 5, L"bytes") != 0;
    Require(SizeInReply(reply) == (told ? ModelSize(text, last) : 0), "it stands behind the last bracket");
}

void CheckPlaces(const wchar_t* reply, const std::wstring& text) {
    for (const wchar_t character : {L'(', L')', L',', L'.', L' ', L'\0'}) {
        const std::size_t at = character == L'\0' ? kNone : text.find(character);
        Require(FindCharacter(reply, character) == (at == kNone ? -1 : static_cast<int>(at)),
                "a character is found at its first place");
    }
    for (const wchar_t* const head : {L"", L"2", L"213 ", L"421", L"bytes"}) {
        Require(BeginsWith(reply, head) == (text.compare(0, std::wcslen(head), head) == 0),
                "a text begins with its head");
    }
}

} // namespace

void FuzzFtpReply(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return;
    }
    std::wstring text = FromUtf8({reinterpret_cast<const char*>(data + 1), size - 1});
    text.resize(std::min(text.size(), text.find(L'\0')));
    // Memory of its exact size, so that a step over its end is seen.
    const std::unique_ptr<wchar_t[]> reply(new wchar_t[text.size() + 1]);
    std::copy_n(text.c_str(), text.size() + 1, reply.get());
    CheckNumbers(reply.get(), text);
    CheckAddress(reply.get(), text);
    CheckSizes(reply.get(), text, data[0] - 8);
    CheckPlaces(reply.get(), text);
}

} // namespace vxcio::fuzz
