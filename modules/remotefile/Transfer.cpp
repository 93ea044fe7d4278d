#include "Transfer.h"

#include <curl/curl.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <mutex>
#include <new>

namespace vxcio {

namespace {

constexpr long kBufferBytes = 512 * 1024;  // received at a time
constexpr std::size_t kMostKept = 4 << 20; // bytes
constexpr long kMostRedirects = 10;

char Lower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool StartsWithName(std::string_view line, std::string_view name) noexcept {
    return line.size() > name.size() && line[name.size()] == ':' &&
           std::equal(name.begin(), name.end(), line.begin(),
                      [](char a, char b) { return Lower(a) == Lower(b); });
}

std::string_view Trimmed(std::string_view text) noexcept {
    constexpr std::string_view kBlanks = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// Takes a number off the text.
std::optional<uint64> TakeNumber(std::string_view& text) noexcept {
    uint64 number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{}) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool TakeCharacter(std::string_view& text, char c) noexcept {
    if (text.empty() || text[0] != c) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

bool IsHopelessCode(CURLcode code) noexcept {
    switch (code) {
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
    case CURLE_TOO_MANY_REDIRECTS:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return true;
    default:
        return false;
    }
}

const char* KindOf(CURLcode code) noexcept {
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return "the host is not known";
    case CURLE_COULDNT_CONNECT:
        return "no connection to the host";
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
        return "the certificate does not fit or is not trusted";
    case CURLE_TOO_MANY_REDIRECTS:
        return "the server redirects in a circle, or too often";
    case CURLE_UNSUPPORTED_PROTOCOL:
        return "the address, or a redirect, is of another kind than http and https";
    case CURLE_OPERATION_TIMEDOUT:
        return "the server does not answer in time";
    case CURLE_PARTIAL_FILE:
        return "the server closed before everything that it had said had come";
    case CURLE_GOT_NOTHING:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
        return "the connection broke";
    case CURLE_OUT_OF_MEMORY:
        return "not enough memory";
    default:
        return "the transfer failed";
    }
}

// Once for the process; never undone, as a thread may be in a transfer when the process ends.
bool IsLibraryReady() {
    static const bool isReady = ::curl_global_init(CURL_GLOBAL_ALL) == CURLE_OK;
    return isReady;
}

} // namespace

bool ParseContentRange(std::string_view text, HttpHead& head) {
    text = Trimmed(text);
    constexpr std::string_view kUnit = "bytes";
    if (text.size() <= kUnit.size() ||
        !std::equal(kUnit.begin(), kUnit.end(), text.begin(), [](char a, char b) { return a == Lower(b); })) {
        return false;
    }
    text.remove_prefix(kUnit.size());
    text = Trimmed(text);
    HttpHead found;
    if (!TakeCharacter(text, '*')) {
        const auto first = TakeNumber(text);
        const bool hasDash = TakeCharacter(text, '-');
        const auto last = TakeNumber(text);
        if (!first || !hasDash || !last || *last < *first) {
            return false;
        }
        found.hasRange = true;
        found.rangeFirst = *first;
        found.rangeLast = *last;
    }
    if (!TakeCharacter(text, '/')) {
        return false;
    }
    if (!TakeCharacter(text, '*')) {
        found.total = TakeNumber(text);
        if (!found.total || (found.hasRange && found.rangeLast >= *found.total)) {
            return false;
        }
    }
    if (!text.empty()) {
        return false;
    }
    head.hasRange = found.hasRange;
    head.rangeFirst = found.rangeFirst;
    head.rangeLast = found.rangeLast;
    head.total = found.total;
    return true;
}

struct Transfer::Handles {
    CURLM* multi = nullptr;
    CURL* easy = nullptr;

    ~Handles() {
        if (easy != nullptr) {
            ::curl_easy_cleanup(easy);
        }
        if (multi != nullptr) {
            ::curl_multi_cleanup(multi);
        }
    }
};

std::unique_ptr<Transfer> Transfer::Make() {
    std::unique_ptr<Transfer> transfer(new (std::nothrow) Transfer);
    if (!transfer || !IsLibraryReady()) {
        return nullptr;
    }
    transfer->m_handles.reset(new (std::nothrow) Handles);
    if (!transfer->m_handles) {
        return nullptr;
    }
    transfer->m_handles->multi = ::curl_multi_init();
    transfer->m_handles->easy = ::curl_easy_init();
    const bool isWhole = transfer->m_handles->multi != nullptr && transfer->m_handles->easy != nullptr;
    return isWhole ? std::move(transfer) : nullptr;
}

Transfer::~Transfer() {
    End();
}

void Transfer::End() {
    if (m_isAdded) {
        ::curl_multi_remove_handle(m_handles->multi, m_handles->easy);
        m_isAdded = false;
    }
    m_kept.clear();
    m_keptTaken = 0;
}

bool Transfer::Configure(const HttpRequest& request, WaitLimit limit) {
    CURL* const easy = m_handles->easy;
    ::curl_easy_reset(easy); // connections stay: they belong to the other handle
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit.end - HttpClock::now());
    const long connect =
        static_cast<long>(std::clamp<std::int64_t>(std::min(left, limit.silence).count(), 1, LONG_MAX));
    std::string range = std::to_string(request.from) + "-";
    if (request.last) {
        range += std::to_string(*request.last);
    }
    CURLcode code = CURLE_OK;
    const auto set = [&](CURLoption option, auto value) {
        if (code == CURLE_OK) {
            code = ::curl_easy_setopt(easy, option, value);
        }
    };
    set(CURLOPT_URL, request.address.c_str());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, kMostRedirects);
    set(CURLOPT_HTTP_VERSION,
        static_cast<long>(CURL_HTTP_VERSION_1_1)); // one response at a time is all there is
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_BUFFERSIZE, kBufferBytes);
    set(CURLOPT_CONNECTTIMEOUT_MS, connect);
    set(CURLOPT_RANGE, range.c_str());
    set(CURLOPT_ACCEPT_ENCODING, static_cast<const char*>(nullptr)); // bytes as they lie in the file
    set(CURLOPT_USERAGENT, "QLRRemoteFileU");
    set(CURLOPT_PROXY, request.proxy.c_str()); // an empty one: none, whatever the environment says
    set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    if (!request.certificates.empty()) {
        set(CURLOPT_CAINFO, request.certificates.c_str()); // the folder of the system's counts all the same
    }
    if (request.hasUser) {
        set(CURLOPT_USERNAME, request.user.c_str());
        set(CURLOPT_PASSWORD, request.password.c_str());
        set(CURLOPT_HTTPAUTH, static_cast<long>(request.usesDigest ? CURLAUTH_DIGEST : CURLAUTH_BASIC));
    }
    set(CURLOPT_ERRORBUFFER, static_cast<char*>(m_detail));
    set(CURLOPT_HEADERFUNCTION, &Transfer::OnHeader);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_WRITEFUNCTION, &Transfer::OnBody);
    set(CURLOPT_WRITEDATA, this);
    if (code != CURLE_OK || ::curl_multi_add_handle(m_handles->multi, easy) != CURLM_OK) {
        m_reason = KindOf(code);
        return false;
    }
    m_isAdded = true;
    return true;
}

bool Transfer::Begin(const HttpRequest& request, WaitLimit limit) {
    End();
    m_isPaused = m_hasHead = m_isHopeless = m_hasNoMemory = false;
    m_head = m_building = {};
    m_reason.clear();
    m_detail[0] = 0;
    m_to = nullptr;
    m_room = 0;
    m_lastMove = HttpClock::now();
    if (!Configure(request, limit)) {
        return false;
    }
    // The header is whole when the first byte of the body comes, or the response ends.
    while (!m_hasHead && Step(limit)) {
    }
    return m_hasHead;
}

// ---- what the server sends ----------------------------------------------------------------------------

std::size_t Transfer::OnHeader(char* line, std::size_t size, std::size_t count, void* self) noexcept {
    auto& transfer = *static_cast<Transfer*>(self);
    try {
        transfer.TakeHeader({line, size * count});
    } catch (...) {
        transfer.m_hasNoMemory = true;
        return 0;
    }
    return size * count;
}

void Transfer::TakeHeader(std::string_view line) {
    m_received += line.size();
    if (line.starts_with("HTTP/")) {
        m_building = {}; // of the one before, which was not the last
        return;
    }
    const std::string_view value = Trimmed(line.substr(std::min(line.find(':'), line.size() - 1) + 1));
    if (StartsWithName(line, "Content-Range")) {
        ParseContentRange(value, m_building);
    } else if (StartsWithName(line, "ETag")) {
        m_building.tag = value;
    } else if (StartsWithName(line, "Last-Modified")) {
        m_building.date = value;
    }
}

std::size_t Transfer::OnBody(char* data, std::size_t size, std::size_t count, void* self) noexcept {
    auto& transfer = *static_cast<Transfer*>(self);
    const std::size_t bytes = size * count;
    try {
        if (transfer.TakeBody(reinterpret_cast<const uint8*>(data), bytes)) {
            return bytes;
        }
        transfer.m_isPaused = true;
        return CURL_WRITEFUNC_PAUSE;
    } catch (...) {
        transfer.m_hasNoMemory = true;
        return 0;
    }
}

// False where there is no room; then nothing was taken.
bool Transfer::TakeBody(const uint8* data, std::size_t bytes) {
    const std::size_t now = Kept() == 0 ? std::min(bytes, m_room) : 0;
    if (Kept() + bytes - now > kMostKept) {
        return false;
    }
    if (now < bytes) {
        if (Kept() == 0) {
            m_kept.clear();
            m_keptTaken = 0;
        }
        m_kept.insert(m_kept.end(), data + now, data + bytes);
    }
    if (now > 0) {
        std::memcpy(m_to, data, now);
        m_to += now;
        m_room -= now;
    }
    m_received += bytes;
    if (!m_hasHead) {
        Finish(-1);
    }
    return true;
}

// The header of the last response is whole: with the first byte of its body (-1) or with the end of the
// transfer.
void Transfer::Finish(int result) {
    CURL* const easy = m_handles->easy;
    long status = 0;
    long redirects = 0;
    long ways = 0;
    curl_off_t length = -1;
    const char* address = nullptr;
    ::curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    ::curl_easy_getinfo(easy, CURLINFO_REDIRECT_COUNT, &redirects);
    ::curl_easy_getinfo(easy, CURLINFO_HTTPAUTH_AVAIL, &ways);
    ::curl_easy_getinfo(easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    ::curl_easy_getinfo(easy, CURLINFO_EFFECTIVE_URL, &address);
    if (!m_hasHead && (result == -1 || result == CURLE_OK)) {
        m_head = m_building;
        m_head.status = static_cast<int>(status);
        m_head.isRedirected = redirects > 0;
        m_head.wantsDigest = (ways & static_cast<long>(CURLAUTH_DIGEST)) != 0;
        m_head.address = address == nullptr ? "" : address;
        if (length >= 0) {
            m_head.length = static_cast<uint64>(length);
        }
        m_hasHead = true;
    }
    if (result > CURLE_OK) {
        const auto code = m_hasNoMemory ? CURLE_OUT_OF_MEMORY : static_cast<CURLcode>(result);
        m_isHopeless = IsHopelessCode(code);
        m_reason = KindOf(code);
        if (m_detail[0] != 0) {
            m_reason += std::string(" (") + m_detail + ")";
        }
    }
}

// ---- what the reader wants ----------------------------------------------------------------------------

bool Transfer::Step(WaitLimit limit) {
    if (!m_isAdded) {
        return false;
    }
    const uint64 before = m_received;
    if (m_isPaused) {
        m_isPaused = false;
        ::curl_easy_pause(m_handles->easy, CURLPAUSE_CONT);
    }
    int running = 0;
    const CURLMcode state = ::curl_multi_perform(m_handles->multi, &running);
    int left = 0;
    const CURLMsg* const message = ::curl_multi_info_read(m_handles->multi, &left);
    if (state != CURLM_OK || (message != nullptr && message->msg == CURLMSG_DONE)) {
        Finish(state != CURLM_OK ? CURLE_OUT_OF_MEMORY : message->data.result);
        ::curl_multi_remove_handle(m_handles->multi, m_handles->easy);
        m_isAdded = false;
        return m_received != before;
    }
    const auto now = HttpClock::now();
    if (m_received != before) {
        m_lastMove = now;
        return true;
    }
    const auto end = std::min(limit.end, m_lastMove + limit.silence);
    if (now >= end) {
        Finish(CURLE_OPERATION_TIMEDOUT);
        ::curl_multi_remove_handle(m_handles->multi, m_handles->easy);
        m_isAdded = false;
        return false;
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(end - now).count();
    ::curl_multi_poll(m_handles->multi, nullptr, 0, static_cast<int>(std::min<std::int64_t>(wait, INT_MAX)),
                      nullptr);
    return true;
}

std::size_t Transfer::TakeKept(uint8* buffer, std::size_t bytes) {
    const std::size_t count = std::min(bytes, Kept());
    if (buffer != nullptr && count > 0) {
        std::memcpy(buffer, m_kept.data() + m_keptTaken, count);
    }
    m_keptTaken += count;
    return count;
}

std::size_t Transfer::Take(uint8* buffer, std::size_t bytes, WaitLimit limit) {
    const std::size_t first = TakeKept(buffer, bytes);
    m_to = buffer + first;
    m_room = bytes - first;
    m_lastMove = HttpClock::now(); // the reader's own pauses are not the server's
    while (m_room > 0 && Step(limit)) {
    }
    const std::size_t got = bytes - m_room;
    m_to = nullptr;
    m_room = 0;
    return got;
}

void Transfer::TakeEnd() {
    const WaitLimit now = {HttpClock::now(), std::chrono::milliseconds(0)};
    while (m_isAdded && Step(now)) {
    }
}

uint64 Transfer::Skip(uint64 bytes, WaitLimit limit) {
    std::vector<uint8> scratch(static_cast<std::size_t>(std::min<uint64>(bytes, kBufferBytes)));
    uint64 done = 0;
    while (done < bytes) {
        const std::size_t piece = static_cast<std::size_t>(std::min<uint64>(bytes - done, scratch.size()));
        const std::size_t got = Take(scratch.data(), piece, limit);
        done += got;
        if (got < piece) {
            break;
        }
    }
    return done;
}

} // namespace vxcio
