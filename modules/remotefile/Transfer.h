// Transfer.h - one HTTP response (RFC 9110) after the other over connections that stay open, taken as its
// reader wants it: bytes are received when they are asked for, and go straight into the reader's memory. One
// thread at a time.
#pragma once

#include "frame/Types.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vxcio {

using HttpClock = std::chrono::steady_clock;

// How long a reader waits: until the end, and so long for the next byte.
struct WaitLimit {
    HttpClock::time_point end;
    std::chrono::milliseconds silence;
};

// What is asked for.
struct HttpRequest {
    std::string address;
    std::string user; // with password, where hasUser
    std::string password;
    bool hasUser = false;
    bool usesDigest = false; // the way in which they are given
    uint64 from = 0;
    std::optional<uint64> last; // the last byte; none: to the end of the file
    std::string certificates;   // a file of certificates to trust besides the system's; may be empty
    std::string proxy;          // may be empty
};

// How a response begins.
struct HttpHead {
    int status = 0;
    std::optional<uint64> length; // of the body
    bool hasRange = false;        // a Content-Range that says so:
    uint64 rangeFirst = 0;
    uint64 rangeLast = 0;
    std::optional<uint64> total; // of the file
    std::string tag;             // ETag
    std::string date;            // Last-Modified
    std::string address;         // where redirects have led
    bool wantsDigest = false;    // of the user's name and password
    bool isRedirected = false;
};

// Takes "bytes first-last/total" or "bytes */total" in; false for anything else.
bool ParseContentRange(std::string_view text, HttpHead& head);

class Transfer {
public:
    // Null where memory lacks.
    static std::unique_ptr<Transfer> Make();
    ~Transfer();
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    // Ends what runs, asks, and waits for the header of the answer. False on a failure, which Reason tells.
    bool Begin(const HttpRequest& request, WaitLimit limit);
    const HttpHead& Head() const { return m_head; }

    // Up to so many bytes of the body; fewer only at its end or at a failure. Skip takes them and keeps none.
    std::size_t Take(uint8* buffer, std::size_t bytes, WaitLimit limit);
    uint64 Skip(uint64 bytes, WaitLimit limit);

    // Whether there is a response of which bytes may come yet, or have come and were not taken.
    bool IsRunning() const { return m_isAdded || Kept() != 0; }
    bool HasFailed() const { return !m_reason.empty(); }
    // The same for what another try will not change: a certificate, an address, a redirect.
    bool IsHopeless() const { return m_isHopeless; }
    const std::string& Reason() const { return m_reason; }

    // Notices the end of a response whose body was taken, without waiting for it.
    void TakeEnd();
    // Ends the response. Where its body was not taken to the end the connection goes with it.
    void End();

private:
    struct Handles;

    Transfer() = default;
    static std::size_t OnHeader(char* line, std::size_t size, std::size_t count, void* self) noexcept;
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* self) noexcept;
    void TakeHeader(std::string_view line);
    bool TakeBody(const uint8* data, std::size_t bytes);
    bool Configure(const HttpRequest& request, WaitLimit limit);
    // Lets bytes come until something is there to do. False when nothing more will come.
    bool Step(WaitLimit limit);
    void Finish(int result);
    std::size_t Kept() const { return m_kept.size() - m_keptTaken; }
    std::size_t TakeKept(uint8* buffer, std::size_t bytes);

    std::unique_ptr<Handles> m_handles;
    bool m_isAdded = false;
    bool m_isPaused = false;
    bool m_hasHead = false; // the final header is complete
    HttpHead m_head;
    HttpHead m_building; // of the response that is being received
    uint8* m_to = nullptr;
    std::size_t m_room = 0;
    std::vector<uint8> m_kept; // bytes that came and nobody had room for
    std::size_t m_keptTaken = 0;
    uint64 m_received = 0; // bytes of any kind, to see that something moves
    HttpClock::time_point m_lastMove;
    bool m_isHopeless = false;
    bool m_hasNoMemory = false;
    std::string m_reason;
    char m_detail[256] = {};
};

} // namespace vxcio
