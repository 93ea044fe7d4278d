// cold_read FILE BLOCK RING [md5]    reads the file unbuffered through a source with read-ahead of RING MiB,
//                                    BLOCK bytes at a time, and digests each byte where md5 is asked for
// cold_read - BYTES - md5            digests so many bytes of memory, no file
//
// One process for one way of reading, so that bench/cold_read.py can measure it beside others. Prints how
// many bytes went by and the digest.
#include "BenchFile.h"
#include "frame/MD5.h"
#include "module/VXCSoftCodecIO.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr std::size_t kLargestRead = std::size_t{4} << 20;
constexpr std::size_t kMemory = std::size_t{64} << 20; // more than the processor's cache

int Usage() {
    std::fputs("usage: cold_read FILE BLOCK RING [md5]\n       cold_read - BYTES - md5\n", stderr);
    return 2;
}

int Report(uint64 bytes, MD5_CTX& md5, bool isDigested) {
    std::printf("%llu bytes", static_cast<unsigned long long>(bytes));
    if (isDigested) {
        uint8 digest[16];
        md5.Final(digest);
        std::putchar(' ');
        for (const uint8 byte : digest) {
            std::printf("%02x", byte);
        }
    }
    std::putchar('\n');
    return 0;
}

int DigestMemory(uint64 bytes) {
    uint8* const memory = bench::Buffer<kMemory>();
    std::memset(memory, 1, kMemory);
    MD5_CTX md5;
    for (uint64 done = 0; done < bytes;) {
        const std::size_t at = done % kMemory;
        md5.Update(memory + at, static_cast<unsigned int>(kLargestRead));
        done += kLargestRead;
    }
    return Report(bytes, md5, true);
}

int ReadFile(const std::string& name, uint32 block, int ring, bool isDigested) {
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    const std::wstring wide(name.begin(), name.end());
    if (source->OpenFile(wide.c_str(), VXC_FILE_FLAG_NO_BUFFERING, nullptr, 0) != 0) {
        std::fprintf(stderr, "cold_read: %s cannot be opened\n", name.c_str());
        return 1;
    }
    source->EnablePreRead(ring * (1 << 20), static_cast<int>(block));
    if (source->IsPreReadMode() == 0) {
        std::fputs("cold_read: no read-ahead\n", stderr);
        return 1;
    }
    uint64 bytes = 0;
    MD5_CTX md5;
    uint8* const buffer = bench::Buffer<kLargestRead>();
    while (const int got = source->Read(buffer, block)) {
        bytes += static_cast<uint64>(got);
        if (isDigested) {
            md5.Update(buffer, static_cast<unsigned int>(got));
        }
    }
    source->CloseFile();
    return Report(bytes, md5, isDigested);
}

} // namespace

int main(int count, char** arguments) {
    const bool isDigested = count == 5 && std::strcmp(arguments[4], "md5") == 0;
    if (count < 4 || count > 5 || (count == 5 && !isDigested)) {
        return Usage();
    }
    const uint64 number = std::strtoull(arguments[2], nullptr, 10);
    if (std::strcmp(arguments[1], "-") == 0) {
        return isDigested ? DigestMemory(number) : Usage();
    }
    const int ring = std::atoi(arguments[3]);
    if (number == 0 || number > kLargestRead || ring < 1 || ring > 1024) {
        return Usage();
    }
    return ReadFile(arguments[1], static_cast<uint32>(number), ring, isDigested);
}
