// BrokenListener.h - a session whose listening socket goes at the moment when a command goes out.
#pragma once

#include "frame/InnerSoftDataIO.h"
#include "ftp/FtpSocket.h"
#include "platform/Sockets.h"

#include <string_view>
#include <utility>

namespace vxcio::test {

// While the table of sockets is a test's own: from now on the listening socket of `session` is closed, and
// the session knows none any more, when a command goes out that begins with `command`. One at a time.
inline void BreakListenerAt(const char* command, CInnerSoftDataIO& session) {
    // A hook has no captures.
    static std::string_view start;
    static CInnerSoftDataIO* listens = nullptr;
    static int (*sendAsEver)(SocketToken, const void*, uint32) = nullptr;
    start = command;
    listens = &session;
    sendAsEver = std::exchange(Sockets().send, [](SocketToken socket, const void* data, uint32 bytes) {
        if (std::string_view(static_cast<const char*>(data), bytes).starts_with(start)) {
            Sockets().close(std::exchange(listens->m_SockSvr->m_hSocket, kNoSocket));
        }
        return sendAsEver(socket, data, bytes);
    });
}

} // namespace vxcio::test
