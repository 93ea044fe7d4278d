// Sockets.h - TCP sockets over IPv4, behind a table that tests replace.
//
// A socket is a token: a number that is given out once in the life of the process, never 0 and never
// kNoSocket. What was closed stays closed: a token that is used again after that is refused with 10038 and
// touches nobody else's socket. Any thread may use any token; a call in flight keeps its socket alive.
//
// Errors are the numbers of Windows sockets on every system, kept per thread for lastError: 10004
// interrupted, 10013 access, 10022 invalid, 10024 too many, 10035 would block, 10038 no socket, 10048 address
// in use, 10049 no such address, 10051 network unreachable, 10053 aborted, 10054 reset, 10055 no memory,
// 10056 connected already, 10057 not connected, 10060 timed out, 10061 refused, 10065 host unreachable; 10000
// and the system's number for others.
//
// Addresses and ports are numbers in the host's byte order: 0x7F000001 is 127.0.0.1.
#pragma once

#include "frame/Types.h"

namespace vxcio {

using SocketToken = uint64;
inline constexpr SocketToken kNoSocket = ~SocketToken{0};

inline constexpr int kSocketWouldBlock = 10035;
inline constexpr int kSocketNotASocket = 10038;
inline constexpr int kSocketReset = 10054;

// Results are 0 for success and -1 for a failure where nothing else is said. No function here waits with a
// limit; the ones that may wait for the peer are marked. None of the system's functions throws; one that a
// test puts in place may.
struct SocketTable {
    // Starts the socket interface at a version (low byte major); *version receives what it is. 0 or an error.
    int (*startup)(uint16 wanted, uint16* version);
    void (*cleanup)();

    SocketToken (*open)();                                           // kNoSocket on failure
    int (*connect)(SocketToken socket, uint32 address, uint16 port); // may wait
    int (*bind)(SocketToken socket, uint32 address, uint16 port);
    int (*listen)(SocketToken socket, int backlog);
    SocketToken (*accept)(SocketToken socket); // may wait; kNoSocket on failure

    // One transfer of at most 0x7FFFFFFF bytes. The count, which may be short; receiving 0 means that the
    // peer has finished.
    int (*send)(SocketToken socket, const void* data, uint32 bytes); // may wait
    int (*receive)(SocketToken socket, void* buffer, uint32 bytes);  // may wait
    // The same without waiting: -1 with kSocketWouldBlock where nothing is there.
    int (*receiveNow)(SocketToken socket, void* buffer, uint32 bytes);
    // Waits until there is something to receive: bytes, the peer's end or an error. 0, or -1 where the socket
    // is none. For who has just missed many bytes by receiveNow it may wait some milliseconds more until more
    // of them have come; so one thread at a time receives from a socket.
    int (*waitReadable)(SocketToken socket); // may wait
    // The same for so many milliseconds of the system's clock at most. Nonzero when there is something, or
    // the socket is none.
    int (*lookReadable)(SocketToken socket, uint32 milliseconds); // may wait
    // *bytes receives how many can be received at once; 0 after the peer's end as well.
    int (*readable)(SocketToken socket, uint32* bytes);

    // Own address and port of a socket that is bound or connected.
    int (*name)(SocketToken socket, uint32* address, uint16* port);
    // Ends both directions; who waits in the socket wakes.
    int (*shutdown)(SocketToken socket);
    int (*close)(SocketToken socket);

    // The last error of the calling thread.
    int (*lastError)();
};

SocketTable& Sockets() noexcept;

// Tokens that are open; for tests.
int OpenSocketCount() noexcept;

} // namespace vxcio
