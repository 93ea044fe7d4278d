// BenchFile.h - the files that benchmarks read.
#pragma once

#include "frame/Types.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace bench {

// A patterned file in the folder where the program runs, whole on the disk and in the page cache; removed at
// the end. Where it cannot be written the program ends with a message.
class File {
public:
    File(std::string name, std::size_t size) : m_name(std::move(name)), m_size(size) {
        std::vector<uint8> block(kPiece);
        for (std::size_t i = 0; i < block.size(); ++i) {
            block[i] = static_cast<uint8>(i * 31 + (i >> 8));
        }
        const int file = open(m_name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        bool good = file >= 0;
        for (std::size_t at = 0; good && at < m_size; at += kPiece) {
            good = write(file, block.data(), kPiece) == static_cast<ssize_t>(kPiece);
        }
        // Nothing is written back to the disk while others are measured.
        if (!good || fsync(file) != 0 || close(file) != 0) {
            std::perror(m_name.c_str());
            std::exit(1);
        }
    }
    ~File() { std::remove(m_name.c_str()); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    const char* Name() const { return m_name.c_str(); }
    std::wstring Wide() const { return {m_name.begin(), m_name.end()}; }
    std::size_t Size() const { return m_size; }

private:
    static constexpr std::size_t kPiece = std::size_t{1} << 20;

    std::string m_name;
    std::size_t m_size;
};

// Memory that every kind of transfer takes, for the life of the program.
template <std::size_t size>
uint8* Buffer() {
    static uint8* const buffer = static_cast<uint8*>(std::aligned_alloc(4096, size));
    return buffer;
}

} // namespace bench
