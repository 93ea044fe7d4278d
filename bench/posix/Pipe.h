// Pipe.h - the system's own byte ring.
#pragma once

#include "frame/Types.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace bench {

// One thread puts and one takes; each sleeps until all of its piece has passed. Where there is no pipe of the
// size to be had the program ends with a message.
class Pipe {
public:
    // In bytes; 0 is the system's size.
    explicit Pipe(int size) {
        if (pipe2(m_ends, O_CLOEXEC) != 0 || (size != 0 && fcntl(m_ends[1], F_SETPIPE_SZ, size) < size)) {
            std::perror("pipe");
            std::exit(1);
        }
    }
    ~Pipe() {
        close(m_ends[0]);
        close(m_ends[1]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    bool Put(const uint8* data, std::size_t bytes) {
        while (bytes > 0) {
            const ssize_t done = write(m_ends[1], data, bytes);
            if (done <= 0) {
                return false;
            }
            data += done;
            bytes -= static_cast<std::size_t>(done);
        }
        return true;
    }

    bool Take(uint8* target, std::size_t bytes) {
        while (bytes > 0) {
            const ssize_t done = read(m_ends[0], target, bytes);
            if (done <= 0) {
                return false;
            }
            target += done;
            bytes -= static_cast<std::size_t>(done);
        }
        return true;
    }

private:
    int m_ends[2]{-1, -1};
};

} // namespace bench
