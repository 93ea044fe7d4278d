// StreamSocket.h - the two ends of a socket between processes of one machine.
#pragma once

#include "InsistOn.h"

#include <cstddef>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

class StreamSocket {
public:
    StreamSocket() {
        InsistOn(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, m_ends) == 0, "socketpair");
    }
    ~StreamSocket() {
        close(m_ends[0]);
        close(m_ends[1]);
    }
    StreamSocket(const StreamSocket&) = delete;
    StreamSocket& operator=(const StreamSocket&) = delete;

    // `end` is 0 or 1; each process uses one of them.
    void Put(int end, const unsigned char* data, std::size_t bytes) const {
        while (bytes > 0) {
            const ssize_t done = write(m_ends[end], data, bytes);
            InsistOn(done > 0, "the socket");
            data += done;
            bytes -= static_cast<std::size_t>(done);
        }
    }
    void Take(int end, unsigned char* data, std::size_t bytes) const {
        while (bytes > 0) {
            const ssize_t done = read(m_ends[end], data, bytes);
            InsistOn(done > 0, "the socket");
            data += done;
            bytes -= static_cast<std::size_t>(done);
        }
    }

private:
    int m_ends[2]{-1, -1};
};

} // namespace bench
