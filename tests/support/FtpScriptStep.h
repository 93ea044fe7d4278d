// FtpScriptStep.h - the steps of a scripted server. Inner header of FtpScript, but for the types that it
// hands out.
#pragma once

#include "frame/Types.h"
#include "platform/Sockets.h"

#include <string>
#include <string_view>

namespace vxcio::test::script {

// Where a step stands in the test.
struct Place {
    const char* file;
    int line;

    static constexpr Place Here(const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
        return {file, line};
    }
};

enum class StepKind {
    AcceptControl,
    Expect, // text
    ExpectAny,
    ExpectPort,
    ExpectClosed,
    Say, // text
    SayPort,
    After, // number: milliseconds
    Quiet, // number: milliseconds
    UntilTold,
    Fin,
    Rst,
    Listen,
    RefuseData,
    AcceptData, // number: which port, or kLatest
    DataIsThere,
    NoDataYet,
    Dial,
    DSend,        // text
    DSendPattern, // number: bytes, seed, from
    DReceive,     // number: bytes, or kAll
    DFin,
    DRst,
    DHold,
    DExpectNothing,
    DExpectClosed,
};

inline constexpr uint64 kLatest = ~uint64{0};
inline constexpr uint64 kAll = ~uint64{0};
inline constexpr uint64 kForEver = ~uint64{0};

struct Step {
    StepKind kind;
    Place place;
    std::string text;
    uint64 number = 0;
    uint32 seed = 0;
    uint64 from = 0;
};

// "Expect \"USER u\\r\\n\""
std::string Describe(const Step& step);
// In quotes, what is no printable character escaped, the end of a long text left out.
std::string Quote(std::string_view bytes);

// Not the same a power of two further on, so that a block in the wrong place shows.
constexpr uint8 PatternByte(uint64 position, uint32 seed) {
    return static_cast<uint8>(position + (position >> 8) * 7 + (position >> 16) * 13 + (position >> 24) * 29 +
                              seed);
}
std::string Pattern(uint64 bytes, uint32 seed, uint64 from);

// What a client does with a socket.
enum class Verb { Open, Connect, Bind, Listen, Accept, Send, Shutdown, Close };
// The calls of the table that can be made to fail.
enum class SocketCall {
    Startup,
    Open,
    Connect,
    Bind,
    Listen,
    Accept,
    Send,
    Receive,
    ReceiveNow,
    WaitReadable,
    Readable,
    Name,
};

struct Event {
    Verb verb;
    SocketToken token; // for Accept the new one
    std::string text;  // of Send on a control connection, without CR LF at its end; data are not recorded
    bool worked;
};

struct DataConnection {
    bool dialled;
    uint64 sent;
    uint64 received;
};

} // namespace vxcio::test::script
