#include "HttpFile.h"

#include "HttpLog.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <thread>
#include <utility>

namespace vxcio {

namespace {

constexpr uint64 kLeastRange = 64 * 1024; // a request for less costs as much
constexpr uint64 kOpenRange = 64 * 1024;
constexpr uint64 kLargestRange = 1 << 20;
constexpr uint64 kSteady = 1 << 20; // who has read so much in a row wants the rest
// What is as fast to read as a new request is to make; beyond that a new connection is the better way.
constexpr uint64 kSkip = 256 * 1024;
constexpr uint64 kSlowestRate = 10; // bytes in a millisecond
constexpr int kTries = 3;           // without a byte of progress
constexpr std::chrono::milliseconds kPauses[] = {std::chrono::milliseconds(100),
                                                 std::chrono::milliseconds(400)};

constexpr int kOk = 200;
constexpr int kPartial = 206;
constexpr int kUnauthorized = 401;
constexpr int kForbidden = 403;
constexpr int kNotFound = 404;
constexpr int kGone = 410;
constexpr int kNotSatisfiable = 416;
constexpr int kServerErrors = 500;

std::string WordsFor(int status, bool hasUser) {
    switch (status) {
    case kUnauthorized:
        return hasUser ? "the server refuses this name and password (401)"
                       : "the server asks for a name and password (401)";
    case kForbidden:
        return "the server forbids it (403)";
    case kNotFound:
        return "there is no such file (404)";
    case kGone:
        return "the file is no longer there (410)";
    default:
        return "the server answers " + std::to_string(status);
    }
}

} // namespace

CQLRHttpFile* MakeHttpFile() noexcept {
    return new (std::nothrow) HttpFile;
}

HttpFile::~HttpFile() {
    HttpFile::Close();
}

void HttpFile::Close() {
    m_transfer.reset();
    m_beginning = {};
    m_size = m_position = m_streamPos = m_responseEnd = 0;
}

void HttpFile::TellFailure(const std::string& reason) {
    LogHttpError(m_shown + ": " + reason);
}

// What takes so many bytes may last as long as the server may be silent, and longer by the time of a very
// slow line: a server that sends a byte now and then does not hold up its reader for ever.
WaitLimit HttpFile::LimitFor(uint64 bytes) const {
    return {HttpClock::now() + m_timeOut + std::chrono::milliseconds(bytes / kSlowestRate), m_timeOut};
}

HttpRequest HttpFile::RequestFor(uint64 from, std::optional<uint64> last) const {
    HttpRequest request;
    request.address = m_address;
    // Another server is none of those who know the password.
    request.hasUser = m_url.hasUser && OriginOf(m_address) == m_url.origin;
    if (request.hasUser) {
        request.user = m_url.user;
        request.password = m_url.password;
    }
    request.usesDigest = m_usesDigest;
    request.from = from;
    request.last = last;
    request.certificates = m_certificates;
    request.proxy = m_proxy;
    return request;
}

// ---- opening ------------------------------------------------------------------------------------------

int HttpFile::Open(const wchar_t* name) {
    try {
        Close();
        return OpenUrl(name == nullptr ? L"" : name) ? 1 : 0;
    } catch (const std::bad_alloc&) {
        Close();
        LogHttpError("not enough memory");
        return 0;
    }
}

bool HttpFile::OpenUrl(const std::wstring& name) {
    m_shown = ShownAddress(ToUtf8(name));
    std::optional<HttpUrl> url = ParseHttpUrl(name);
    if (!url) {
        TellFailure("this is no address of http or https");
        return false;
    }
    m_url = std::move(*url);
    m_address = m_url.address;
    m_timeOut = HttpTimeOut();
    m_certificates = HttpTextSetting(L"HttpCertificates");
    m_proxy = HttpTextSetting(L"HttpProxy");
    m_usesDigest = m_isChanged = false;
    m_hasRanges = true;
    m_inARow = 0;
    m_lastRange = kOpenRange;
    m_transfer = Transfer::Make();
    if (!m_transfer) {
        TellFailure("not enough memory");
        return false;
    }
    if (!OpenFirst(LimitFor(kOpenRange))) {
        Close();
        return false;
    }
    return true;
}

// Asks for the beginning of the file; its answer tells everything that has to be known.
bool HttpFile::OpenFirst(WaitLimit limit) {
    for (int round = 0; round < 2; ++round) {
        if (!m_transfer->Begin(RequestFor(0, kOpenRange - 1), limit)) {
            TellFailure(m_transfer->Reason());
            return false;
        }
        const HttpHead& head = m_transfer->Head();
        if (head.status != kUnauthorized || !m_url.hasUser || !head.wantsDigest || m_usesDigest) {
            break;
        }
        m_usesDigest = true;
    }
    return TakeSize(limit);
}

bool HttpFile::TakeSize(WaitLimit limit) {
    const HttpHead& head = m_transfer->Head();
    m_address = head.address;
    m_tag = head.tag;
    m_date = head.date;
    m_streamPos = 0;
    if (head.status == kNotSatisfiable && head.total == 0u) {
        m_transfer->End();
        m_size = m_responseEnd = 0;
        return true;
    }
    if (head.status != kPartial && head.status != kOk) {
        TellFailure(WordsFor(head.status, m_url.hasUser));
        return false;
    }
    const auto size = head.status == kPartial ? head.total : head.length;
    if (!size) {
        TellFailure("the server does not tell the size of the file");
        return false;
    }
    if (head.status == kPartial && (!head.hasRange || head.rangeFirst != 0)) {
        TellFailure("the server sends another range than it was asked for");
        return false;
    }
    m_size = *size;
    m_responseEnd = head.status == kPartial ? head.rangeLast + 1 : m_size;
    if (head.status == kOk) {
        m_hasRanges = false;
        LogHttpTrace(m_shown + ": the server gives no ranges; going back means to read from the start");
    }
    m_beginning.resize(static_cast<std::size_t>(std::min({m_responseEnd, m_size, kOpenRange})));
    m_beginning.resize(m_transfer->Take(m_beginning.data(), m_beginning.size(), limit));
    m_streamPos = m_beginning.size();
    return true; // what has not come the reads ask for again
}

// ---- reading ------------------------------------------------------------------------------------------

int64 HttpFile::Seek(uint64 position) {
    constexpr uint64 kLargest = 0x7FFFFFFFFFFFFFFF;
    if (!m_transfer || position > kLargest) {
        return -1;
    }
    if (position != m_position) {
        m_inARow = 0;
        m_lastRange = 0;
    }
    m_position = position;
    return static_cast<int64>(position);
}

int HttpFile::Read(uint8* buffer, uint32 bytes, uint32* got) {
    uint32 count = 0;
    uint32 wanted = 0;
    if (m_transfer && buffer != nullptr && m_position < m_size) {
        wanted = static_cast<uint32>(std::min<uint64>(bytes, m_size - m_position));
        try {
            count = ReadBytes(buffer, wanted);
        } catch (const std::bad_alloc&) {
            LogHttpError("not enough memory");
            m_transfer->End();
            m_responseEnd = m_streamPos;
            count = 0;
        }
    }
    if (got != nullptr) {
        *got = count;
    }
    return count == wanted && m_transfer ? 1 : 0;
}

uint32 HttpFile::TakeBeginning(uint8* buffer, uint32 bytes) {
    if (m_position >= m_beginning.size()) {
        return 0;
    }
    const auto count = static_cast<uint32>(std::min<uint64>(bytes, m_beginning.size() - m_position));
    std::memcpy(buffer, m_beginning.data() + m_position, count);
    return count;
}

uint32 HttpFile::ReadBytes(uint8* buffer, uint32 bytes) {
    const WaitLimit limit = LimitFor(bytes);
    uint32 done = TakeBeginning(buffer, bytes);
    m_position += done;
    int tries = 0;
    while (done < bytes && !m_isChanged) {
        uint32 got = 0;
        const Outcome outcome = ReadSome(buffer + done, bytes - done, limit, got);
        done += got;
        m_position += got;
        if (outcome == Outcome::Done) {
            continue;
        }
        tries = got > 0 ? 1 : tries + 1;
        if (outcome == Outcome::Hopeless || tries == kTries || HttpClock::now() >= limit.end) {
            break;
        }
        std::this_thread::sleep_for(kPauses[tries - 1]);
    }
    m_inARow += done;
    return done;
}

HttpFile::Outcome HttpFile::ReadSome(uint8* buffer, uint32 bytes, WaitLimit limit, uint32& got) {
    const Outcome there = GoTo(m_position, bytes, limit);
    if (there != Outcome::Done) {
        return there;
    }
    const auto wanted = static_cast<std::size_t>(std::min<uint64>(bytes, LeftInResponse()));
    got = static_cast<uint32>(m_transfer->Take(buffer, wanted, limit));
    m_streamPos += got;
    if (got == wanted) {
        return Outcome::Done;
    }
    const std::string reason =
        m_transfer->HasFailed() ? m_transfer->Reason() : "the server sent less than it had said";
    const bool isHopeless = m_transfer->IsHopeless();
    m_transfer->End();
    m_responseEnd = m_streamPos;
    TellFailure(reason);
    return isHopeless ? Outcome::Hopeless : Outcome::TryAgain;
}

// Brings the response to this position, by the cheapest way.
HttpFile::Outcome HttpFile::GoTo(uint64 position, uint32 wanted, WaitLimit limit) {
    const bool isAhead = position >= m_streamPos && position < m_responseEnd && m_transfer->IsRunning();
    if (isAhead && (position - m_streamPos <= kSkip || !m_hasRanges)) {
        const uint64 distance = position - m_streamPos;
        m_streamPos += m_transfer->Skip(distance, LimitFor(distance));
        if (m_streamPos == position) {
            return Outcome::Done;
        }
    }
    EndResponse(limit);
    return Ask(position, wanted, limit);
}

// A short rest is read, so that the connection stays.
void HttpFile::EndResponse(WaitLimit limit) {
    if (m_transfer->IsRunning() && LeftInResponse() <= kSkip) {
        m_transfer->Skip(LeftInResponse(), limit);
        m_transfer->TakeEnd();
    }
    m_transfer->End();
    m_responseEnd = m_streamPos;
}

// How much to ask for: 0 for all that is left.
uint64 HttpFile::RangeLength(uint32 wanted) const {
    if (m_inARow >= kSteady) {
        return 0;
    }
    return std::max({uint64{wanted}, kLeastRange, std::min(2 * m_lastRange, kLargestRange)});
}

HttpFile::Outcome HttpFile::Ask(uint64 position, uint32 wanted, WaitLimit limit) {
    const uint64 length = RangeLength(wanted);
    std::optional<uint64> last;
    if (length != 0) {
        last = std::min(position + length, m_size) - 1;
        m_lastRange = length;
    }
    if (!m_transfer->Begin(RequestFor(m_hasRanges ? position : 0, m_hasRanges ? last : std::nullopt),
                           limit)) {
        TellFailure(m_transfer->Reason());
        return m_transfer->IsHopeless() ? Outcome::Hopeless : Outcome::TryAgain;
    }
    const Outcome outcome = CheckAnswer(position);
    if (outcome != Outcome::Done) {
        m_transfer->End();
        m_responseEnd = m_streamPos;
    }
    return outcome;
}

HttpFile::Outcome HttpFile::CheckAnswer(uint64 position) {
    const HttpHead& head = m_transfer->Head();
    if (head.status != kPartial && head.status != kOk) {
        // Addresses behind redirects are often good for a while only.
        const bool mayBeOld = head.status == kUnauthorized || head.status == kForbidden ||
                              head.status == kNotFound || head.status == kGone;
        TellFailure(head.status == kNotSatisfiable ? "the file has become smaller"
                                                   : WordsFor(head.status, m_url.hasUser));
        if (mayBeOld && m_address != m_url.address) {
            m_address = m_url.address;
            return Outcome::TryAgain;
        }
        return head.status >= kServerErrors ? Outcome::TryAgain : Outcome::Hopeless;
    }
    const auto size = head.status == kPartial ? head.total : head.length;
    const bool hasOtherTag = !m_tag.empty() && !head.tag.empty() && m_tag != head.tag;
    if (hasOtherTag || m_date != head.date || (size && *size != m_size)) {
        TellFailure("the file has changed since it was opened");
        m_isChanged = true;
        return Outcome::Hopeless;
    }
    if (head.status == kPartial) {
        if (!head.hasRange || head.rangeFirst != position || head.rangeLast >= m_size) {
            TellFailure("the server sends another range than it was asked for");
            return Outcome::Hopeless;
        }
        m_streamPos = position;
        m_responseEnd = head.rangeLast + 1;
        m_address = head.address;
        return Outcome::Done;
    }
    if (m_hasRanges && position != 0) {
        LogHttpTrace(m_shown + ": the server gives no ranges any more");
    }
    m_hasRanges = false;
    m_streamPos = 0;
    m_responseEnd = m_size;
    m_address = head.address;
    m_streamPos += m_transfer->Skip(position, LimitFor(position));
    if (m_streamPos != position) {
        TellFailure(m_transfer->HasFailed() ? m_transfer->Reason() : "the server sent less than it had said");
        return Outcome::TryAgain;
    }
    return Outcome::Done;
}

} // namespace vxcio
