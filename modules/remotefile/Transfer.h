// Transfer.h - one HTTP response (RFC 9110) after the other over connections that stay open, taken as its
// reader wants it: bytes are received when they are asked for, and go straight into the reader's memory. One
// thread at a time.
#pragma once

#include "HttpHead.h"
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

// What holds for all requests of a file.
struct TransferSettings {
    std::string certificates; // a file of certificates to trust besides the system's; may be empty
    std::string proxy;        // may be empty
};

// What is asked for.
struct HttpRequest {
    std::string address;
    std::string user; // sent where the server asks for one and hasUser
    std::string password;
    bool hasUser = false;
    uint64 from = 0;
    std::optional<uint64> last; // the last byte; none: to the end of the file
};

class Transfer {
public:
    // Null where memory lacks.
    static std::unique_ptr<Transfer> Make(const TransferSettings& settings);
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
    // Empty where nothing has failed since Begin.
    const std::string& Reason() const { return m_reason; }
    // It has failed, and another try will not change that: a certificate, an address, a redirect; the time.
    bool IsHopeless() const { return m_isHopeless; }
    bool IsTimedOut() const { return m_isTimedOut; }

    // Ends the response. Where its body was not taken to the end the connection goes with it.
    void End();

private:
    struct Handles;

    Transfer() = default;
    static std::size_t OnHeader(char* line, std::size_t size, std::size_t count, void* self) noexcept;
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* self) noexcept;
    bool TakeBody(const uint8* data, std::size_t bytes);
    bool ConfigureAll(const TransferSettings& settings);
    bool Configure(const HttpRequest& request, WaitLimit limit);
    // Lets bytes come until something is there to do. False when nothing more will come.
    bool Step(WaitLimit limit);
    void NoteHead();
    void Fail(int code);
    void Remove();
    std::size_t Kept() const { return m_kept.size() - m_keptTaken; }
    std::size_t TakeKept(uint8* buffer, std::size_t bytes);

    std::unique_ptr<Handles> m_handles;
    bool m_isAdded = false;
    bool m_isPaused = false;
    bool m_hasHead = false; // the final header is complete
    HttpHead m_head;
    HttpHead m_building; // of the response that is being received
    std::size_t m_headerBytes = 0;
    uint8* m_to = nullptr;     // null: what comes is dropped
    std::size_t m_room = 0;    // for so many bytes
    std::vector<uint8> m_kept; // bytes that came and nobody had room for
    std::size_t m_keptTaken = 0;
    uint64 m_received = 0; // bytes of any kind, to see that something moves
    HttpClock::time_point m_lastMove;
    bool m_isHopeless = false;
    bool m_isTimedOut = false;
    bool m_hasNoMemory = false;
    std::string m_reason;
    char m_detail[256] = {};
};

} // namespace vxcio
