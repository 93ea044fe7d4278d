#include "HttpUrl.h"

#include "text/Utf8.h"

#include <curl/curl.h>

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

// Where the host ends and the path begins.
std::size_t PathStart(std::string_view address) noexcept {
    const std::size_t scheme = address.find("://");
    const std::size_t host = scheme == std::string_view::npos ? 0 : scheme + 3;
    return std::min(address.find_first_of("/?#", host), address.size());
}

bool MustBeEncoded(unsigned char c) noexcept {
    return c <= 0x20 || c >= 0x7F ||
           std::string_view("\"<>\\^`{|}").find(static_cast<char>(c)) != std::string_view::npos;
}

std::string Encoded(std::string_view address) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    const std::size_t path = PathStart(address);
    std::string out(address.substr(0, path));
    for (const char c : address.substr(path, address.find('#', path) - path)) {
        const auto byte = static_cast<unsigned char>(c);
        if (MustBeEncoded(byte)) {
            out += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        } else {
            out += c;
        }
    }
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
    const std::size_t scheme = address.find("://");
    const std::size_t host = scheme == std::string_view::npos ? 0 : scheme + 3;
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

} // namespace vxcio
