// avio_work get URL BLOCK       reads a remote file through libavformat, BLOCK bytes at a time
// avio_work seek URL LONGEST    small reads, with seeks forward by at most LONGEST between them
// avio_work jump URL BLOCK      reads 64 KiB at each of 1,000 places; BLOCK does not count
// avio_work stay URL BLOCK      the same with its option for connections that stay
//
// The peer of ftp_work and http_work, which see.
#include "FtpContent.h"
#include "FtpSeeks.h"
#include "HttpJumps.h"

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/dict.h>
#include <libavutil/log.h>
}

#include <chrono>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

int Usage() {
    std::fputs("usage: avio_work get|jump|stay URL BLOCK\n       avio_work seek URL LONGEST\n", stderr);
    return 2;
}

int Fail(const char* what) {
    std::fprintf(stderr, "avio_work: %s failed\n", what);
    return 1;
}

int Report(uint64 count, const char* what, Clock::time_point start) {
    const std::chrono::duration<double, std::milli> time = Clock::now() - start;
    std::printf("%llu %s %.3f ms\n", static_cast<unsigned long long>(count), what, time.count());
    return 0;
}

int Get(const char* url, int block) {
    std::vector<uint8> buffer(static_cast<std::size_t>(block));
    const auto start = Clock::now();
    AVIOContext* context = nullptr;
    if (avio_open(&context, url, AVIO_FLAG_READ) < 0) {
        return Fail("opening");
    }
    uint64 bytes = 0;
    for (int got = 0; (got = avio_read(context, buffer.data(), block)) > 0;) {
        if (!bench::IsContent(buffer.data(), static_cast<std::size_t>(got), bytes)) {
            return Fail("the content");
        }
        bytes += static_cast<uint64>(got);
    }
    avio_closep(&context);
    return Report(bytes, "bytes", start);
}

int Seek(const char* url, uint32 longest) {
    constexpr int kRead = bench::kReadBetweenSeeks;
    std::vector<uint8> buffer(kRead);
    bench::SeekDistances distances(longest);
    const auto start = Clock::now();
    AVIOContext* context = nullptr;
    if (avio_open(&context, url, AVIO_FLAG_READ) < 0) {
        return Fail("opening");
    }
    int64 position = 0;
    for (int i = 0; i <= bench::kSeeks; ++i) {
        if (avio_read(context, buffer.data(), kRead) != kRead ||
            !bench::IsContent(buffer.data(), kRead, static_cast<uint64>(position))) {
            return Fail("reading");
        }
        position += kRead;
        if (i < bench::kSeeks) {
            position += distances.Next();
            if (avio_seek(context, position, SEEK_SET) != position) {
                return Fail("seeking");
            }
        }
    }
    avio_closep(&context);
    return Report(bench::kSeeks, "seeks", start);
}

int Jump(const char* url, bool stays) {
    constexpr int kRead = static_cast<int>(bench::kReadAtJump);
    std::vector<uint8> buffer(bench::kReadAtJump);
    const auto start = Clock::now();
    AVDictionary* options = nullptr;
    av_dict_set(&options, "multiple_requests", stays ? "1" : "0", 0);
    AVIOContext* context = nullptr;
    const int opened = avio_open2(&context, url, AVIO_FLAG_READ, nullptr, &options);
    av_dict_free(&options);
    if (opened < 0) {
        return Fail("opening");
    }
    bench::JumpPlaces places(static_cast<uint64>(avio_size(context)));
    for (int i = 0; i < bench::kJumps; ++i) {
        const uint64 place = places.Next();
        if (avio_seek(context, static_cast<int64>(place), SEEK_SET) != static_cast<int64>(place) ||
            avio_read(context, buffer.data(), kRead) != kRead ||
            !bench::IsContent(buffer.data(), bench::kReadAtJump, place)) {
            return Fail("reading");
        }
    }
    avio_closep(&context);
    return Report(bench::kJumps, "reads", start);
}

} // namespace

int main(int count, char** arguments) {
    const std::string_view work = count == 4 ? arguments[1] : "";
    const int size = count == 4 ? std::atoi(arguments[3]) : 0;
    av_log_set_level(AV_LOG_QUIET);
    if (work == "get" && size > 0) {
        return Get(arguments[2], size);
    }
    if ((work == "jump" || work == "stay") && size > 0) {
        return Jump(arguments[2], work == "stay");
    }
    return work == "seek" && size >= 8 ? Seek(arguments[2], static_cast<uint32>(size)) : Usage();
}
