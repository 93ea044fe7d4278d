// SocketErrors.h - the system's errors as those of Windows sockets.
#pragma once

#include "platform/Sockets.h"

#include <cerrno>

namespace vxcio {

// 10000 and the system's number for an error that has no number of its own.
inline int NumberOfError(int error) noexcept {
    switch (error) {
    case EINTR:
        return 10004;
    case EBADF:
    case ENOTSOCK:
        return kSocketNotASocket;
    case EACCES:
    case EPERM:
        return 10013;
    case EFAULT:
        return 10014;
    case EINVAL:
        return 10022;
    case EMFILE:
    case ENFILE:
        return 10024;
    case EAGAIN:
        return kSocketWouldBlock;
    case EADDRINUSE:
        return 10048;
    case EADDRNOTAVAIL:
        return 10049;
    case ENETUNREACH:
        return 10051;
    case ECONNABORTED:
        return 10053;
    case ECONNRESET:
    case EPIPE:
        return kSocketReset;
    case ENOBUFS:
    case ENOMEM:
        return 10055;
    case EISCONN:
        return 10056;
    case ENOTCONN:
        return 10057;
    case ETIMEDOUT:
        return 10060;
    case ECONNREFUSED:
        return 10061;
    case EHOSTUNREACH:
        return 10065;
    default:
        return 10000 + error;
    }
}

} // namespace vxcio
