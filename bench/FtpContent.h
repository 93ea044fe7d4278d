// FtpContent.h - what the files of the FTP benchmarks hold: each 8 bytes tell their own position, so that who
// reads can check cheaply where it is.
#pragma once

#include "frame/Types.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

namespace bench {

inline constexpr std::size_t kContentPiece = std::size_t{1} << 20;

// Writes a new file of whole pieces. False where it cannot be written.
inline bool MakeContent(const char* name, uint64 bytes) {
    std::vector<uint64> piece(kContentPiece / sizeof(uint64));
    const int file = open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    bool good = file >= 0;
    for (uint64 at = 0; good && at < bytes; at += kContentPiece) {
        for (std::size_t i = 0; i < piece.size(); ++i) {
            piece[i] = at + i * sizeof(uint64);
        }
        good = write(file, piece.data(), kContentPiece) == static_cast<ssize_t>(kContentPiece);
    }
    return file >= 0 && close(file) == 0 && good;
}

// Whether these are the bytes of this position, a multiple of 8, as far as the first and the last 8 of them
// tell.
inline bool IsContent(const uint8* data, std::size_t bytes, uint64 position) {
    uint64 first = position;
    uint64 last = position;
    if (bytes >= sizeof(uint64)) {
        const std::size_t end = bytes / sizeof(uint64) * sizeof(uint64) - sizeof(uint64);
        std::memcpy(&first, data, sizeof first);
        std::memcpy(&last, data + end, sizeof last);
        last -= end;
    }
    return first == position && last == position;
}

} // namespace bench
