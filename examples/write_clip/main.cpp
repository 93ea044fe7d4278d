// write_clip CLIP DIGEST TARGET - writes a clip through the library in several ways, the last one as a muxer.
//
// DIGEST is what an independent program makes of the clip. Each story compares the digest that the library
// made on the way with it, every byte that the sink reads back with the clip, and the file that stands there
// in the end, as the C++ library reads it. The exit code is 0 only when all of them agree; then the file of
// the last story stays.
#include "../common/TakeDigest.h"
#include "Mxf.h"

#include "module/VXCSoftCodecIO.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;
using Clock = std::chrono::steady_clock;

constexpr uint32 kCreate = 0;
constexpr uint32 kFromStart = 1;
constexpr uint32 kRing = 8 << 20;
constexpr uint32 kBlock = 1 << 20;

struct Clip {
    Bytes bytes;
    std::string digest;
    std::string target;
};

struct Way {
    const char* title;
    uint32 ring; // 0: no thread
    uint32 flags;
};

struct CloseAndDelete {
    void operator()(CQLSoftDataSinkEx1* sink) const {
        sink->CloseFile();
        delete sink;
    }
};
using Sink = std::unique_ptr<CQLSoftDataSinkEx1, CloseAndDelete>;

Sink Open(const Clip& clip, const Way& way) {
    Sink sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FILE));
    if (!sink || sink->OpenFile(std::filesystem::path(clip.target).wstring().c_str(), way.ring, kBlock,
                                kCreate, way.flags, 0, 0, 0, 0, nullptr) != VXC_STATUS_OK) {
        std::printf("  %-34s could not be opened\n", way.title);
        return nullptr;
    }
    sink->EnableMD5_Check(1);
    sink->BeginMD5_Check(1);
    return sink;
}

// Writes what of `bytes` lies behind `from`, in odd sizes. The number of writes; 0 when one failed.
std::size_t WriteRest(CQLSoftDataSinkEx1& sink, const Bytes& bytes, std::size_t from) {
    std::mt19937 random(1);
    std::size_t writes = 0;
    while (from < bytes.size()) {
        const auto piece =
            static_cast<uint32>(std::min<std::size_t>(random() % 200000 | 1u, bytes.size() - from));
        if (sink.Write(bytes.data() + from, piece, nullptr) != static_cast<int>(piece)) {
            return 0;
        }
        from += piece;
        ++writes;
    }
    return writes;
}

bool IsReadBack(CQLSoftDataSinkEx1& sink, const Bytes& bytes) {
    Bytes block(777'777);
    sink.Seek(0, kFromStart);
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t piece = std::min(block.size(), bytes.size() - at);
        if (sink.ReadBack(block.data(), static_cast<uint32>(piece)) != static_cast<int>(piece) ||
            std::memcmp(block.data(), bytes.data() + at, piece) != 0) {
            return false;
        }
        at += piece;
    }
    return true;
}

bool Load(const std::string& name, Bytes& bytes) {
    std::ifstream file(name, std::ios::binary | std::ios::ate);
    if (!file) {
        return false;
    }
    bytes.resize(static_cast<std::size_t>(file.tellg()));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(file);
}

bool IsTheClip(const Clip& clip) {
    Bytes written;
    return Load(clip.target, written) && written == clip.bytes;
}

// The clip as it is.
bool TellCopy(const Clip& clip, const Way& way) {
    const Clock::time_point start = Clock::now();
    Sink sink = Open(clip, way);
    if (!sink) {
        return false;
    }
    const std::size_t writes = WriteRest(*sink, clip.bytes, 0);
    const bool agrees = TakeDigest(*sink) == clip.digest;
    sink->Seek(0, kFromStart); // brings all out
    const std::chrono::duration<double> took = Clock::now() - start;
    const bool back = IsReadBack(*sink, clip.bytes);
    sink.reset();
    const bool same = IsTheClip(clip);
    std::printf("  %-34s %7zu writes %11zu bytes %7.1f MB/s  digest %s, read back %s, file %s\n", way.title,
                writes, clip.bytes.size(), static_cast<double>(clip.bytes.size()) / 1e6 / took.count(),
                agrees ? "ok" : "DIFFERS", back ? "ok" : "DIFFERS", same ? "ok" : "DIFFERS");
    return writes > 0 && agrees && back && same;
}

// Says one step and whether it went well.
bool Say(const std::string& step, bool good) {
    std::printf("  %-100s %s\n", step.c_str(), good ? "ok" : "WRONG");
    return good;
}

// As a muxer writes it: the header of a file that is not finished first, the true one when all else is known.
bool TellMuxer(const Clip& clip, const mxf::HeaderPack& pack) {
    const Way way = {"as a muxer", kRing, VXC_FILE_FLAG_NO_BUFFERING};
    Sink sink = Open(clip, way);
    if (!sink) {
        return false;
    }
    const Bytes open = mxf::OpenHeader(clip.bytes, pack);
    const auto size = static_cast<uint32>(pack.size);
    bool good =
        Say("first a header of " + std::to_string(size) + " bytes that is open and knows of no footer",
            sink->Write(open.data(), size, nullptr) == static_cast<int>(size));
    const std::size_t writes = WriteRest(*sink, clip.bytes, size);
    good &= Say("then the rest in " + std::to_string(writes) +
                    " writes; the digest is that of an unfinished file",
                writes > 0 && TakeDigest(*sink).size() == 32 && TakeDigest(*sink) != clip.digest);
    sink->Seek(static_cast<int64>(pack.footerAt), kFromStart);
    uint8 footer[8] = {1};
    good &= Say("the place of the footer at byte " + std::to_string(pack.footerAt) +
                    " is read back: not known yet",
                sink->ReadBack(footer, sizeof footer) == static_cast<int>(sizeof footer) &&
                    std::all_of(std::begin(footer), std::end(footer), [](uint8 byte) { return byte == 0; }));
    sink->Seek(0, kFromStart);
    good &= Say("the header is written again, closed and with the footer's place; the digest is dropped",
                sink->Write(clip.bytes.data(), size, nullptr) == static_cast<int>(size) &&
                    TakeDigest(*sink).empty());
    good &= Say("all of it is read back and compared", IsReadBack(*sink, clip.bytes));
    sink.reset();
    return Say("the file ends at its true size, " + std::to_string(clip.bytes.size()) +
                   " bytes, and is the clip byte for byte",
               IsTheClip(clip)) &&
           good;
}

bool TellAll(const Clip& clip, const mxf::HeaderPack& pack) {
    bool good = true;
    for (const Way& way : {Way{"straight to the file", 0, 0}, Way{"by the writer thread", kRing, 0},
                           Way{"unbuffered", 0, VXC_FILE_FLAG_NO_BUFFERING},
                           Way{"unbuffered by the writer thread", kRing, VXC_FILE_FLAG_NO_BUFFERING}}) {
        good &= TellCopy(clip, way);
    }
    std::printf("As a muxer writes it, unbuffered and through the ring of %u MiB:\n", kRing >> 20);
    return TellMuxer(clip, pack) && good;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: write_clip CLIP DIGEST TARGET\n");
        return 2;
    }
    try {
        Clip clip{{}, argv[2], argv[3]};
        const std::optional<mxf::HeaderPack> pack =
            Load(argv[1], clip.bytes) ? mxf::FindClosedHeader(clip.bytes) : std::nullopt;
        if (!pack) {
            std::fprintf(stderr, "write_clip: %s is no finished MXF file\n", argv[1]);
            return 1;
        }
        return TellAll(clip, *pack) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "write_clip: %s\n", error.what());
        return 1;
    }
}
