// HttpFile.h - a file on an HTTP server (RFC 9110), read by ranges over a connection that stays open. One
// thread at a time drives it. Failures are told in the log; nothing throws.
//
//   what is read          where it comes from
//   beginning of file     bytes that came with the open
//   next, or soon after   the response that runs, read on
//   anything else         a new request: small behind a jump, growing while reading goes on,
//                         at last for the whole rest
#pragma once

#include "HttpUrl.h"
#include "RangePlan.h"
#include "Transfer.h"
#include "sources/RemoteFile.h"

namespace vxcio {

// Null where memory lacks.
CQLRHttpFile* MakeHttpFile() noexcept;

class HttpFile final : public CQLRHttpFile {
public:
    HttpFile() = default;
    HttpFile(const HttpFile&) = delete;
    HttpFile& operator=(const HttpFile&) = delete;
    ~HttpFile() override;

    int Open(const wchar_t* name) override;
    uint64 GetSize() override { return m_size; }
    int64 Seek(uint64 position) override;
    int Read(uint8* buffer, uint32 bytes, uint32* got) override;
    void Close() override;

private:
    enum class Outcome { Done, TryAgain, Hopeless };

    // These may throw std::bad_alloc.
    bool OpenUrl(const std::wstring& name);
    bool TakeFirstAnswer(WaitLimit limit);
    uint32 ReadBytes(uint8* buffer, uint32 bytes);
    uint32 TakeBeginning(uint8* buffer, uint32 bytes);
    Outcome ReadSome(uint8* buffer, uint32 bytes, WaitLimit& limit, uint32& got);
    // Both may make the limit later, by the time of what must be read before.
    Outcome GoTo(uint64 position, uint32 wanted, WaitLimit& limit);
    Outcome SkipTo(uint64 position, WaitLimit& limit);
    Outcome Ask(uint64 position, uint32 wanted, WaitLimit& limit);
    Outcome CheckAnswer(uint64 position, WaitLimit& limit);
    Outcome RefuseStatus(int status);
    Outcome EndBroken();
    Outcome Give(Outcome outcome, std::string reason);
    void LeaveResponse();
    void DropResponse();
    bool GivesUser() const;
    HttpRequest RequestFor(uint64 from, std::optional<uint64> last) const;
    uint64 LeftInResponse() const { return m_responseEnd - m_streamPos; }
    bool TellFailure(const std::string& reason) const;
    void TellTrace(const std::string& text) const;
    WaitLimit LimitFor(uint64 bytes) const;

    HttpUrl m_url;
    std::string m_shown; // the address without its password
    std::chrono::milliseconds m_timeOut{};

    std::unique_ptr<Transfer> m_transfer; // null: nothing is open
    std::string m_address;                // where ranges are asked for: behind redirects
    HttpHead m_first;                     // what the file was like at the open
    bool m_hasRanges = true;
    bool m_isChanged = false; // another file stands there now: there is nothing more to read
    std::string m_reason;     // of what failed last
    RangePlan m_plan;
    uint64 m_size = 0;
    uint64 m_position = 0;          // of the next read
    std::vector<uint8> m_beginning; // of the file
    uint64 m_streamPos = 0;         // of the next byte of the response
    uint64 m_responseEnd = 0;       // behind its last byte
};

} // namespace vxcio
