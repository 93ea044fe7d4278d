#include "HttpFile.h"

#include "HttpLog.h"
#include "HttpReasons.h"
#include "QuietPipe.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <thread>
#include <utility>

namespace vxcio {

namespace {

constexpr uint64 kLargestPosition = 0x7FFFFFFFFFFFFFFF;
constexpr uint64 kSlowestRate = 10; // bytes in a millisecond
constexpr int kTries = 3;           // without a byte of progress
constexpr std::chrono::milliseconds kPauses[] = {std::chrono::milliseconds(100),
                                                 std::chrono::milliseconds(400)};
// A connection is not worth a longer wait for the rest of its response.
constexpr std::chrono::milliseconds kLongestLeave(1000);

constexpr int kOk = 200;
constexpr int kPartial = 206;
constexpr int kUnauthorized = 401;
constexpr int kForbidden = 403;
constexpr int kNotFound = 404;
constexpr int kGone = 410;
constexpr int kNotSatisfiable = 416;
constexpr int kServerErrors = 500;

constexpr const char* kSentLess = "the server sent less than it had said";
constexpr const char* kEncoded = "the server sends something made of the file and not its bytes";
constexpr const char* kOtherRange = "the server sends another range than it was asked for";

// Addresses behind redirects are often good for a while only.
bool MayBeOldAddress(int status) noexcept {
    return status == kUnauthorized || status == kForbidden || status == kNotFound || status == kGone;
}

} // namespace

CQLRHttpFile* MakeHttpFile() noexcept {
    return new (std::nothrow) HttpFile;
}

HttpFile::~HttpFile() {
    HttpFile::Close();
}

void HttpFile::Close() {
    const QuietPipe quiet;
    m_transfer.reset();
    m_beginning = {};
    m_size = m_position = m_streamPos = m_responseEnd = 0;
}

bool HttpFile::TellFailure(const std::string& reason) const {
    LogHttpError((m_shown + ": " + reason).c_str());
    return false;
}

void HttpFile::TellTrace(const std::string& text) const {
    LogHttpTrace((m_shown + ": " + text).c_str());
}

// What takes so many bytes may last as long as the server may be silent, and longer by the time of a very
// slow line: a server that sends a byte now and then does not hold up its reader for ever.
WaitLimit HttpFile::LimitFor(uint64 bytes) const {
    return {HttpClock::now() + m_timeOut + std::chrono::milliseconds(bytes / kSlowestRate), m_timeOut};
}

// Another server is none of those who know the password.
bool HttpFile::GivesUser() const {
    return m_url.hasUser && OriginOf(m_address) == m_url.origin;
}

HttpRequest HttpFile::RequestFor(uint64 from, std::optional<uint64> last) const {
    HttpRequest request;
    request.address = m_address;
    request.hasUser = GivesUser();
    if (request.hasUser) {
        request.user = m_url.user;
        request.password = m_url.password;
    }
    request.from = from;
    request.last = last;
    return request;
}

// ---- opening ------------------------------------------------------------------------------------------

int HttpFile::Open(const wchar_t* name) {
    const QuietPipe quiet;
    Close();
    bool isOpen = false;
    try {
        isOpen = OpenUrl(name == nullptr ? L"" : name);
    } catch (...) {
        LogHttpError("not enough memory");
    }
    if (!isOpen) {
        Close();
    }
    return isOpen ? 1 : 0;
}

bool HttpFile::OpenUrl(const std::wstring& name) {
    const std::string text = ToUtf8(name);
    std::optional<HttpUrl> url = ParseHttpUrl(name);
    m_shown = url ? ShownAddress(text) : ShownText(text);
    if (!url) {
        return TellFailure("this is no address of http or https");
    }
    m_url = std::move(*url);
    m_address = m_url.address;
    m_timeOut = HttpTimeOut();
    m_isChanged = false;
    m_hasRanges = true;
    m_plan = {};
    m_transfer = Transfer::Make({HttpTextSetting(L"HttpCertificates"), HttpTextSetting(L"HttpProxy")});
    if (!m_transfer) {
        return TellFailure("not enough memory");
    }
    const WaitLimit limit = LimitFor(RangePlan::kFirst);
    // Its answer tells everything that has to be known.
    if (!m_transfer->Begin(RequestFor(0, RangePlan::kFirst - 1), limit)) {
        return TellFailure(m_transfer->Reason());
    }
    return TakeFirstAnswer(limit);
}

bool HttpFile::TakeFirstAnswer(WaitLimit limit) {
    m_first = m_transfer->Head();
    m_address = m_first.address;
    if (m_first.status == kNotSatisfiable && m_first.total == 0u) {
        m_transfer->End();
        return true;
    }
    if (m_first.status != kPartial && m_first.status != kOk) {
        return TellFailure(ReasonOfStatus(m_first.status, GivesUser()));
    }
    if (m_first.isEncoded) {
        return TellFailure(kEncoded);
    }
    const bool isPartial = m_first.status == kPartial;
    const auto size = isPartial ? m_first.total : m_first.length;
    if (!size || *size > kLargestPosition) {
        return TellFailure("the server does not tell the size of the file");
    }
    if (isPartial && (!m_first.hasRange || m_first.rangeFirst != 0)) {
        return TellFailure(kOtherRange);
    }
    m_size = *size;
    m_responseEnd = isPartial ? m_first.rangeLast + 1 : m_size;
    m_hasRanges = isPartial;
    if (!isPartial) {
        TellTrace("the server gives no ranges; going back means to read from the start");
    }
    m_beginning.resize(static_cast<std::size_t>(std::min(m_responseEnd, RangePlan::kFirst)));
    m_beginning.resize(m_transfer->Take(m_beginning.data(), m_beginning.size(), limit));
    m_streamPos = m_beginning.size();
    // What else has kept bytes back the reads find out, or mend.
    return !m_transfer->IsTimedOut() || TellFailure(m_transfer->Reason());
}

// ---- reading ------------------------------------------------------------------------------------------

int64 HttpFile::Seek(uint64 position) {
    if (!m_transfer || position > kLargestPosition) {
        return -1;
    }
    m_position = position;
    return static_cast<int64>(position);
}

int HttpFile::Read(uint8* buffer, uint32 bytes, uint32* got) {
    const QuietPipe quiet;
    uint32 count = 0;
    uint32 wanted = bytes;
    if (m_transfer && buffer != nullptr) {
        wanted = static_cast<uint32>(std::min<uint64>(bytes, m_size - std::min(m_position, m_size)));
        const uint64 before = m_position;
        try {
            count = ReadBytes(buffer, wanted);
        } catch (...) {
            LogHttpError("not enough memory");
            DropResponse();
            // Those are in the caller's memory, and right.
            count = static_cast<uint32>(m_position - before);
        }
    }
    if (got != nullptr) {
        *got = count;
    }
    return m_transfer && count == wanted ? 1 : 0;
}

uint32 HttpFile::TakeBeginning(uint8* buffer, uint32 bytes) {
    if (m_position >= m_beginning.size()) {
        return 0;
    }
    const auto count = static_cast<uint32>(std::min<uint64>(bytes, m_beginning.size() - m_position));
    std::memcpy(buffer, m_beginning.data() + m_position, count);
    m_position += count;
    return count;
}

uint32 HttpFile::ReadBytes(uint8* buffer, uint32 bytes) {
    WaitLimit limit = LimitFor(bytes);
    uint32 done = TakeBeginning(buffer, bytes);
    m_plan.Took(done);
    int tries = 0;
    while (done < bytes && !m_isChanged) {
        uint32 got = 0;
        const Outcome outcome = ReadSome(buffer + done, bytes - done, limit, got);
        done += got;
        m_position += got;
        m_plan.Took(got);
        if (outcome == Outcome::Done) {
            tries = 0;
            continue;
        }
        tries = got > 0 ? 0 : tries + 1;
        if (outcome == Outcome::Hopeless || tries == kTries || HttpClock::now() >= limit.end) {
            TellFailure(m_reason);
            break;
        }
        TellTrace(m_reason + "; once more from there");
        if (tries > 0) {
            std::this_thread::sleep_for(kPauses[tries - 1]);
        }
    }
    return done;
}

HttpFile::Outcome HttpFile::Give(Outcome outcome, std::string reason) {
    m_reason = std::move(reason);
    return outcome;
}

// The response has brought less than it should have.
HttpFile::Outcome HttpFile::EndBroken() {
    const bool isHopeless = m_transfer->IsHopeless();
    std::string reason = m_transfer->Reason().empty() ? kSentLess : m_transfer->Reason();
    DropResponse();
    return Give(isHopeless ? Outcome::Hopeless : Outcome::TryAgain, std::move(reason));
}

HttpFile::Outcome HttpFile::ReadSome(uint8* buffer, uint32 bytes, WaitLimit& limit, uint32& got) {
    const Outcome there = GoTo(m_position, bytes, limit);
    if (there != Outcome::Done) {
        return there;
    }
    const auto wanted = static_cast<std::size_t>(std::min<uint64>(bytes, LeftInResponse()));
    got = static_cast<uint32>(m_transfer->Take(buffer, wanted, limit));
    m_streamPos += got;
    return got == wanted ? Outcome::Done : EndBroken();
}

// Brings the response to this position, by the cheapest way.
HttpFile::Outcome HttpFile::GoTo(uint64 position, uint32 wanted, WaitLimit& limit) {
    const bool isAhead = position >= m_streamPos && position < m_responseEnd && m_transfer->IsRunning();
    if (isAhead && (position - m_streamPos <= RangePlan::kGap || !m_hasRanges)) {
        return SkipTo(position, limit);
    }
    LeaveResponse();
    return Ask(position, wanted, limit);
}

HttpFile::Outcome HttpFile::SkipTo(uint64 position, WaitLimit& limit) {
    const uint64 distance = position - m_streamPos;
    limit.end += std::chrono::milliseconds(distance / kSlowestRate);
    m_streamPos += m_transfer->Skip(distance, limit);
    return m_streamPos == position ? Outcome::Done : EndBroken();
}

void HttpFile::DropResponse() {
    m_transfer->End();
    m_responseEnd = m_streamPos;
}

// A short rest is read, so that the connection stays.
void HttpFile::LeaveResponse() {
    if (m_transfer->IsRunning() && LeftInResponse() > 0 && LeftInResponse() <= RangePlan::kGap) {
        const auto silence = std::min(m_timeOut / 4, kLongestLeave);
        m_transfer->Skip(LeftInResponse(), {HttpClock::now() + silence, silence});
    }
    DropResponse();
}

HttpFile::Outcome HttpFile::Ask(uint64 position, uint32 wanted, WaitLimit& limit) {
    const auto last = m_plan.LastByte(m_streamPos, position, wanted, m_size);
    // Who gives no ranges may begin to; then all of the rest is wanted.
    if (!m_transfer->Begin(RequestFor(position, m_hasRanges ? last : std::nullopt), limit)) {
        return EndBroken();
    }
    const Outcome outcome = CheckAnswer(position, limit);
    if (outcome != Outcome::Done) {
        DropResponse();
    }
    return outcome;
}

HttpFile::Outcome HttpFile::RefuseStatus(int status) {
    if (status == kNotSatisfiable) {
        m_isChanged = true;
        return Give(Outcome::Hopeless, "the file has become smaller since it was opened");
    }
    m_reason = ReasonOfStatus(status, GivesUser());
    if (MayBeOldAddress(status) && m_address != m_url.address) {
        m_address = m_url.address;
        return Outcome::TryAgain;
    }
    return status >= kServerErrors ? Outcome::TryAgain : Outcome::Hopeless;
}

HttpFile::Outcome HttpFile::CheckAnswer(uint64 position, WaitLimit& limit) {
    const HttpHead& head = m_transfer->Head();
    const bool isPartial = head.status == kPartial;
    if (!isPartial && head.status != kOk) {
        return RefuseStatus(head.status);
    }
    if (head.isEncoded) {
        return Give(Outcome::Hopeless, kEncoded);
    }
    const auto size = isPartial ? head.total : head.length;
    if (!IsSameFile(m_first, head) || (size && *size != m_size)) {
        m_isChanged = true;
        return Give(Outcome::Hopeless, "the file has changed since it was opened");
    }
    if (isPartial) {
        if (!head.hasRange || head.rangeFirst != position || head.rangeLast >= m_size) {
            return Give(Outcome::TryAgain, kOtherRange);
        }
        m_address = head.address;
        m_hasRanges = true;
        m_streamPos = position;
        m_responseEnd = head.rangeLast + 1;
        return Outcome::Done;
    }
    if (m_hasRanges) {
        TellTrace("the server gives no ranges any more; it sends the file from its start");
    }
    m_hasRanges = false;
    m_address = head.address;
    m_streamPos = 0;
    m_responseEnd = m_size;
    return SkipTo(position, limit);
}

} // namespace vxcio
