#include "HttpUrl.h"

#include "text/Utf8.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <new>

namespace vxcio {

namespace {

using Handle = std::unique_ptr<CURLU, void (*)(CURLU*)>;

Handle MakeHandle() {
    Handle handle(::curl_url(), ::curl_url_cleanup);
    if (!handle) {
        throw std::bad_alloc();
    }
    return handle;
}

// A part of the address; nothing where it has none.
std::optional<std::string> Part(CURLU* handle, CURLUPart part, unsigned flags) {
    char* text = nullptr;
    const CURLUcode code = ::curl_url_get(handle, part, &text, flags);
    if (code == CURLUE_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
    if (code != CURLUE_OK) {
        return std::nullopt;
    }
    const std::unique_ptr<char, void (*)(void*)> owned(text, ::curl_free);
    return std::string(text);
}

// Where the user or the host begins.
std::size_t HostStart(std::string_view address) noexcept {
    const std::size_t scheme = address.find("://");
    return scheme == std::string_view::npos ? 0 : scheme + 3;
}

// Where the host ends and the path begins.
std::size_t PathStart(std::string_view address) noexcept {
    return std::min(address.find_first_of("/?#", HostStart(address)), address.size());
}

bool IsHexDigit(char c) noexcept {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool MustBeEncoded(std::string_view text, std::size_t index) noexcept {
    const char c = text[index];
    if (c == '%') {
        return index + 2 >= text.size() || !IsHexDigit(text[index + 1]) || !IsHexDigit(text[index + 2]);
    }
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte >= 0x7F || std::string_view("\"<>\\^`{|}").find(c) != std::string_view::npos;
}

void AppendEncoded(std::string& out, std::string_view text) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (MustBeEncoded(text, i)) {
            out += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        } else {
            out += text[i];
        }
    }
}

// Without its fragment. The host stays as it is.
std::string Encoded(std::string_view address) {
    const std::size_t path = PathStart(address);
    const std::size_t at = address.substr(0, path).rfind('@');
    const std::size_t host = at == std::string_view::npos ? 0 : at;
    std::string out;
    AppendEncoded(out, address.substr(0, host));
    out += address.substr(host, path - host);
    AppendEncoded(out, address.substr(path, address.find('#', path) - path));
    return out;
}

bool SetAddress(CURLU* handle, const std::string& address) {
    const CURLUcode code = ::curl_url_set(handle, CURLUPART_URL, address.c_str(), 0);
    if (code == CURLUE_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
    return code == CURLUE_OK;
}

std::string Origin(CURLU* handle) {
    return Part(handle, CURLUPART_SCHEME, 0).value_or("") + "://" +
           Part(handle, CURLUPART_HOST, 0).value_or("") + ":" +
           Part(handle, CURLUPART_PORT, CURLU_DEFAULT_PORT).value_or("");
}

} // namespace

std::optional<HttpUrl> ParseHttpUrl(std::wstring_view name) {
    const Handle handle = MakeHandle();
    if (!SetAddress(handle.get(), Encoded(ToUtf8(name)))) {
        return std::nullopt;
    }
    const std::string scheme = Part(handle.get(), CURLUPART_SCHEME, 0).value_or("");
    if (scheme != "http" && scheme != "https") {
        return std::nullopt;
    }
    HttpUrl url;
    const auto user = Part(handle.get(), CURLUPART_USER, CURLU_URLDECODE);
    const auto password = Part(handle.get(), CURLUPART_PASSWORD, CURLU_URLDECODE);
    url.hasUser = user || password;
    url.user = user.value_or("");
    url.password = password.value_or("");
    ::curl_url_set(handle.get(), CURLUPART_USER, nullptr, 0);
    ::curl_url_set(handle.get(), CURLUPART_PASSWORD, nullptr, 0);
    auto address = Part(handle.get(), CURLUPART_URL, 0);
    if (!address) {
        return std::nullopt;
    }
    url.address = std::move(*address);
    url.origin = Origin(handle.get());
    return url;
}

std::string OriginOf(const std::string& address) {
    const Handle handle = MakeHandle();
    return SetAddress(handle.get(), address) ? Origin(handle.get()) : std::string();
}

std::string ShownAddress(std::string_view address) {
    const std::size_t host = HostStart(address);
    const std::size_t at = address.substr(0, PathStart(address)).rfind('@');
    if (at == std::string_view::npos || at < host) {
        return std::string(address);
    }
    const std::size_t colon = address.substr(0, at).find(':', host);
    if (colon == std::string_view::npos) {
        return std::string(address);
    }
    return std::string(address.substr(0, colon)).append(":***").append(address.substr(at));
}

std::string ShownText(std::string_view text) {
    const std::size_t host = HostStart(text);
    const std::size_t at = text.rfind('@');
    return at == std::string_view::npos || at < host
               ? std::string(text)
               : std::string(text.substr(0, host)).append("***").append(text.substr(at));
}

} // namespace vxcio
