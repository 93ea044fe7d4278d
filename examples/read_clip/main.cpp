// read_clip CLIP DIGEST [URL] - reads a clip through the library in several ways, or what lies behind the
// URL.
//
// DIGEST is what an independent program makes of the clip. Each story compares every byte that the library
// delivers with the clip as the C++ library reads it, and the digest that the library made on the way with
// DIGEST. The exit code is 0 only when all of them agree.
#include "../common/TakeDigest.h"
#include "HostFile.h"

#include "module/VXCSoftCodecIO.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

struct Clip {
    std::string name;
    std::string digest;
    std::vector<uint8> bytes; // as they must come
};

struct Stretch {
    std::size_t from;
    std::size_t bytes;
};

// One piece for the next read, in the order in which a story wants them.
using Pieces = std::vector<Stretch>;

struct CloseAndDelete {
    void operator()(CSoftDataSource* source) const {
        source->CloseFile();
        delete source;
    }
};

Pieces InOrder(std::size_t size, const std::function<std::size_t()>& next) {
    Pieces pieces;
    for (std::size_t from = 0; from < size;) {
        const std::size_t bytes = std::min(std::max<std::size_t>(next(), 1), size - from);
        pieces.push_back({from, bytes});
        from += bytes;
    }
    return pieces;
}

// Stretches that begin at odd positions all over the clip, most of them going backward or far ahead.
Pieces AllOver(std::size_t size, std::size_t count) {
    std::mt19937_64 random(3);
    Pieces pieces;
    for (std::size_t i = 0; i < count && size > 1; ++i) {
        const std::size_t from = (random() % (size / 2)) * 2 + 1;
        if (from < size) {
            pieces.push_back({from, std::min<std::size_t>(1 + random() % 300000, size - from)});
        }
    }
    return pieces;
}

// Reads the pieces and tells how it went.
bool Tell(const char* title, const Clip& clip, const std::wstring& name, uint32 flags, const Pieces& pieces,
          bool seeks) {
    const std::unique_ptr<CSoftDataSource, CloseAndDelete> source(
        CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (!source || source->OpenFile(name.c_str(), flags, nullptr, 0) != VXC_STATUS_OK) {
        std::printf("  %-34s could not be opened\n", title);
        return false;
    }
    source->EnableMD5_Check(1);
    source->BeginMD5_Check(1);
    std::vector<uint8> block;
    std::size_t bytes = 0;
    bool same = source->GetFileSize() == clip.bytes.size();
    const auto start = std::chrono::steady_clock::now();
    for (const Stretch& piece : pieces) {
        block.resize(std::max(block.size(), piece.bytes));
        if (seeks) {
            source->Seek(static_cast<int64>(piece.from), 1);
        }
        const int got = source->Read(block.data(), static_cast<uint32>(piece.bytes));
        same = same && got >= 0 && static_cast<std::size_t>(got) == piece.bytes &&
               std::memcmp(block.data(), clip.bytes.data() + piece.from, piece.bytes) == 0;
        bytes += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    const std::string digest = TakeDigest(*source);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    const bool agrees = digest == clip.digest;
    std::printf("  %-34s %7zu reads %11zu bytes %8.1f MB/s  bytes %s, digest %s\n", title, pieces.size(),
                bytes, static_cast<double>(bytes) / 1e6 / took.count(), same ? "ok" : "DIFFER",
                agrees ? "ok" : "DIFFERS");
    return same && agrees;
}

bool TellAll(const Clip& clip) {
    const std::wstring name = std::filesystem::path(clip.name).wstring();
    const std::size_t size = clip.bytes.size();
    std::mt19937 random(1);
    const auto odd = [&random] { return static_cast<std::size_t>(random() % 200000) | 1u; };
    const uint32 ordinary = VXC_FILE_FLAG_SEQUENTIAL_SCAN;
    const uint32 direct = VXC_FILE_FLAG_NO_BUFFERING;

    bool good = Tell("whole, in blocks of 1 MiB", clip, name, ordinary,
                     InOrder(size, [] { return 1u << 20; }), false);
    good &= Tell("whole, in odd sizes", clip, name, ordinary, InOrder(size, odd), false);
    good &= Tell("from odd positions", clip, name, ordinary, AllOver(size, 300), true);
    good &= Tell("unbuffered, in blocks of 1 MiB", clip, name, direct, InOrder(size, [] { return 1u << 20; }),
                 false);
    good &= Tell("unbuffered, in odd sizes", clip, name, direct, InOrder(size, odd), false);
    good &= Tell("unbuffered, from odd positions", clip, name, direct, AllOver(size, 300), true);

    const CVXCString tagged = ADDVXCIOID(name.c_str(), host::Table());
    good &= Tell("by a host's own file functions", clip, tagged.c_str(), ordinary, InOrder(size, odd), false);
    const host::Calls& calls = host::Count();
    std::printf("  %-34s the host's functions: %u open, %u seek, %u read, %u close\n", "", calls.open.load(),
                calls.seek.load(), calls.read.load(), calls.close.load());
    return good && calls.open == 1 && calls.read > 0 && calls.close == 1;
}

// By a URL there is neither unbuffered transfer nor a host's own functions.
bool TellUrl(const Clip& clip, const std::wstring& url) {
    const std::size_t size = clip.bytes.size();
    std::mt19937 random(1);
    bool good =
        Tell("whole, in blocks of 1 MiB", clip, url, 0, InOrder(size, [] { return 1u << 20; }), false);
    good &=
        Tell("whole, in odd sizes", clip, url, 0,
             InOrder(size, [&random] { return static_cast<std::size_t>(random() % 200000) | 1u; }), false);
    return Tell("from odd positions", clip, url, 0, AllOver(size, 300), true) && good;
}

bool Load(const char* name, std::vector<uint8>& bytes) {
    std::ifstream file(name, std::ios::binary | std::ios::ate);
    if (!file) {
        return false;
    }
    bytes.resize(static_cast<std::size_t>(file.tellg()));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(file);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: read_clip CLIP DIGEST [URL]\n");
        return 2;
    }
    try {
        Clip clip{argv[1], argv[2], {}};
        if (!Load(argv[1], clip.bytes) || clip.bytes.empty()) {
            std::fprintf(stderr, "read_clip: %s cannot be read, or is empty\n", argv[1]);
            return 1;
        }
        const bool good = argc == 4 ? TellUrl(clip, std::filesystem::path(argv[3]).wstring()) : TellAll(clip);
        std::printf("%s\n", good ? "All of them delivered the same bytes and the same digest."
                                 : "NOT all of them delivered the right bytes and the right digest.");
        return good ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "read_clip: %s\n", error.what());
        return 1;
    }
}
