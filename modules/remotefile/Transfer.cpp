#include "Transfer.h"

#include "HttpReasons.h"

#include <curl/curl.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <new>

namespace vxcio {

namespace {

constexpr long kBufferBytes = 256 * 1024;            // received at a time
constexpr std::size_t kMostKept = 1 << 20;           // bytes
constexpr std::size_t kMostHeaderBytes = 256 * 1024; // of all answers to one request
constexpr long kMostRedirects = 10;
constexpr const char* kAgent = "QLRRemoteFileU";

// Once for the process; never undone, as a thread may be in a transfer when the process ends.
bool IsLibraryReady() {
    static const bool isReady = ::curl_global_init(CURL_GLOBAL_ALL) == CURLE_OK;
    return isReady;
}

// Sets options until one of them fails.
class Options {
public:
    explicit Options(CURL* easy) : m_easy(easy) {}

    template <class Value>
    void Set(CURLoption option, Value value) {
        if (m_code == CURLE_OK) {
            m_code = ::curl_easy_setopt(m_easy, option, value);
        }
    }
    CURLcode Code() const { return m_code; }

private:
    CURL* m_easy;
    CURLcode m_code = CURLE_OK;
};

} // namespace

struct Transfer::Handles {
    CURLM* multi = nullptr;
    CURL* easy = nullptr;
    curl_slist* headers = nullptr;

    ~Handles() {
        if (easy != nullptr) {
            ::curl_easy_cleanup(easy);
        }
        if (multi != nullptr) {
            ::curl_multi_cleanup(multi);
        }
        ::curl_slist_free_all(headers);
    }
};

std::unique_ptr<Transfer> Transfer::Make(const TransferSettings& settings) {
    std::unique_ptr<Transfer> transfer(new (std::nothrow) Transfer);
    if (!transfer || !IsLibraryReady()) {
        return nullptr;
    }
    transfer->m_handles.reset(new (std::nothrow) Handles);
    if (!transfer->m_handles) {
        return nullptr;
    }
    Handles& handles = *transfer->m_handles;
    handles.multi = ::curl_multi_init();
    handles.easy = ::curl_easy_init();
    handles.headers = ::curl_slist_append(nullptr, "Accept-Encoding: identity"); // bytes as the file has them
    const bool isWhole = handles.multi != nullptr && handles.easy != nullptr && handles.headers != nullptr;
    return isWhole && transfer->ConfigureAll(settings) ? std::move(transfer) : nullptr;
}

Transfer::~Transfer() {
    End();
}

void Transfer::Remove() {
    if (m_isAdded) {
        ::curl_multi_remove_handle(m_handles->multi, m_handles->easy);
        m_isAdded = false;
    }
}

void Transfer::End() {
    Remove();
    m_kept.clear();
    m_keptTaken = 0;
}

// What stays for all requests, so that the way in which a server wants the password is asked for once.
bool Transfer::ConfigureAll(const TransferSettings& settings) {
    Options options(m_handles->easy);
    options.Set(CURLOPT_PROTOCOLS_STR, "http,https");
    options.Set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    options.Set(CURLOPT_FOLLOWLOCATION, 1L);
    options.Set(CURLOPT_MAXREDIRS, kMostRedirects);
    // One response at a time is all there is.
    options.Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    options.Set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC | CURLAUTH_DIGEST));
    options.Set(CURLOPT_HTTPHEADER, m_handles->headers);
    options.Set(CURLOPT_USERAGENT, kAgent);
    options.Set(CURLOPT_BUFFERSIZE, kBufferBytes);
    options.Set(CURLOPT_NOSIGNAL, 1L);
    // A name server that does not answer holds up nobody beyond the time that is set.
    options.Set(CURLOPT_QUICK_EXIT, 1L);
    options.Set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    // Empty ones: none, whatever the environment says.
    options.Set(CURLOPT_PROXY, settings.proxy.c_str());
    options.Set(CURLOPT_NOPROXY, "");
    options.Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (!settings.certificates.empty()) {
        options.Set(CURLOPT_CAINFO, settings.certificates.c_str());
        // The system's are there once more, as a folder.
        const curl_version_info_data* const info = ::curl_version_info(CURLVERSION_NOW);
        if (info->capath != nullptr) {
            options.Set(CURLOPT_CAPATH, info->capath);
        }
    }
    options.Set(CURLOPT_ERRORBUFFER, static_cast<char*>(m_detail));
    options.Set(CURLOPT_HEADERFUNCTION, &Transfer::OnHeader);
    options.Set(CURLOPT_HEADERDATA, this);
    options.Set(CURLOPT_WRITEFUNCTION, &Transfer::OnBody);
    options.Set(CURLOPT_WRITEDATA, this);
    return options.Code() == CURLE_OK;
}

bool Transfer::Configure(const HttpRequest& request, WaitLimit limit) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit.end - HttpClock::now());
    const auto connect = std::clamp<std::int64_t>(std::min(left, limit.silence).count(), 1, LONG_MAX);
    std::string range = std::to_string(request.from) + "-";
    if (request.last) {
        range += std::to_string(*request.last);
    }
    Options options(m_handles->easy);
    options.Set(CURLOPT_URL, request.address.c_str());
    options.Set(CURLOPT_RANGE, range.c_str());
    options.Set(CURLOPT_USERNAME, request.hasUser ? request.user.c_str() : nullptr);
    options.Set(CURLOPT_PASSWORD, request.hasUser ? request.password.c_str() : nullptr);
    options.Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(connect));
    if (options.Code() != CURLE_OK) {
        Fail(options.Code());
        return false;
    }
    if (::curl_multi_add_handle(m_handles->multi, m_handles->easy) != CURLM_OK) {
        Fail(CURLE_OUT_OF_MEMORY);
        return false;
    }
    m_isAdded = true;
    return true;
}

bool Transfer::Begin(const HttpRequest& request, WaitLimit limit) {
    End();
    m_isPaused = m_hasHead = m_isHopeless = m_isTimedOut = m_hasNoMemory = false;
    m_head = m_building = {};
    m_headerBytes = 0;
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
    const std::size_t bytes = size * count;
    transfer.m_received += bytes;
    transfer.m_headerBytes += bytes;
    if (transfer.m_headerBytes > kMostHeaderBytes) {
        return 0;
    }
    try {
        TakeHeaderLine({line, bytes}, transfer.m_building);
    } catch (...) {
        transfer.m_hasNoMemory = true;
        return 0;
    }
    return bytes;
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
        return bytes == 0 ? 1 : 0; // another number than that of the bytes ends the transfer
    }
}

// False where there is no room; then nothing was taken.
bool Transfer::TakeBody(const uint8* data, std::size_t bytes) {
    const std::size_t now = Kept() == 0 ? std::min(bytes, m_room) : 0;
    if (Kept() + bytes - now > kMostKept) {
        return false;
    }
    if (!m_hasHead) {
        NoteHead();
    }
    if (now < bytes) {
        if (Kept() == 0) {
            m_kept.clear();
            m_keptTaken = 0;
        }
        m_kept.insert(m_kept.end(), data + now, data + bytes);
    }
    if (m_to != nullptr && now > 0) {
        std::memcpy(m_to, data, now);
        m_to += now;
    }
    m_room -= now;
    m_received += bytes;
    return true;
}

// The header of the last response is whole: with the first byte of its body, or with the end of the transfer.
void Transfer::NoteHead() {
    CURL* const easy = m_handles->easy;
    long status = 0;
    curl_off_t length = -1;
    const char* address = nullptr;
    ::curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    ::curl_easy_getinfo(easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    ::curl_easy_getinfo(easy, CURLINFO_EFFECTIVE_URL, &address);
    m_head = m_building;
    m_head.status = static_cast<int>(status);
    m_head.address = address == nullptr ? "" : address;
    if (length >= 0) {
        m_head.length = static_cast<uint64>(length);
    }
    m_hasHead = true;
}

void Transfer::Fail(int code) {
    if (m_hasNoMemory) {
        code = CURLE_OUT_OF_MEMORY;
    }
    m_isTimedOut = code == CURLE_OPERATION_TIMEDOUT;
    m_isHopeless = IsHopelessCode(code);
    if (!m_hasNoMemory && m_headerBytes > kMostHeaderBytes) {
        m_isHopeless = true;
        m_reason = "the header of the answer has no end";
        return;
    }
    m_reason = ReasonOfCode(code, m_building.leadsElsewhere, m_hasNoMemory || m_hasHead);
    if (m_detail[0] != 0) {
        m_reason.append(" (").append(m_detail).append(")");
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
        const int code = state != CURLM_OK ? CURLE_OUT_OF_MEMORY : message->data.result;
        if (!m_hasHead && (code == CURLE_OK || code == CURLE_PARTIAL_FILE)) {
            NoteHead();
        }
        if (code != CURLE_OK) {
            Fail(code);
        }
        Remove();
        return m_received != before;
    }
    const auto now = HttpClock::now();
    if (m_received != before) {
        m_lastMove = now;
    }
    const auto end = std::min(limit.end, m_lastMove + limit.silence);
    if (now >= end) { // also where bytes come, but too few
        Fail(CURLE_OPERATION_TIMEDOUT);
        Remove();
        return false;
    }
    if (m_received != before) {
        return true;
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
    m_to = buffer == nullptr ? nullptr : buffer + first;
    m_room = bytes - first;
    m_lastMove = HttpClock::now(); // the reader's own pauses are not the server's
    while (m_room > 0 && Step(limit)) {
    }
    const std::size_t got = bytes - m_room;
    m_to = nullptr;
    m_room = 0;
    return got;
}

uint64 Transfer::Skip(uint64 bytes, WaitLimit limit) {
    uint64 done = 0;
    while (done < bytes) {
        const auto piece = static_cast<std::size_t>(std::min<uint64>(bytes - done, SIZE_MAX / 2));
        const std::size_t got = Take(nullptr, piece, limit);
        done += got;
        if (got < piece) {
            break;
        }
    }
    return done;
}

} // namespace vxcio
