// read_ahead CLIP DIGEST - reads a clip in pieces of 188 bytes, as a demuxer of transport packets does, with
// and without read-ahead.
//
// DIGEST is what an independent program makes of the clip; each reading must give the same. The exit code is
// 0 only when all do.
#include "../common/TakeDigest.h"
#include "../read_clip/HostFile.h"

#include "module/VXCSoftCodecIO.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace {

constexpr uint32 kPacket = 188;
constexpr int kRing = 8 << 20;

struct CloseAndDelete {
    void operator()(CSoftDataSource* source) const {
        source->CloseFile();
        delete source;
    }
};

struct Outcome {
    uint64 reads = 0;
    uint64 bytes = 0;
    double seconds = 0;
    std::string digest;
};

// `digested` makes the library digest what passes, which costs more than the reading itself.
Outcome ReadPackets(const wchar_t* name, int preRead, bool digested) {
    Outcome outcome;
    const std::unique_ptr<CSoftDataSource, CloseAndDelete> source(
        CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (!source || source->OpenFile(name, VXC_FILE_FLAG_SEQUENTIAL_SCAN, nullptr, 0) != VXC_STATUS_OK) {
        return outcome;
    }
    if (digested) {
        source->EnableMD5_Check(1);
        source->BeginMD5_Check(1);
    }
    source->EnablePreRead(preRead, static_cast<int>(kPacket)); // 0 leaves it off
    std::array<uint8, kPacket> packet{};
    const auto start = std::chrono::steady_clock::now();
    while (const int got = source->Read(packet.data(), kPacket)) {
        ++outcome.reads;
        outcome.bytes += static_cast<uint64>(got);
    }
    outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (digested) {
        outcome.digest = TakeDigest(*source);
    }
    return outcome;
}

// Reads twice: through a host's functions, which count what the file is asked for, and the file itself, for
// its speed.
bool Tell(const char* title, const std::wstring& name, int preRead, const std::string& digest, double& rate) {
    const unsigned before = host::Count().read;
    const CVXCString tagged = ADDVXCIOID(name.c_str(), host::Table());
    const Outcome counted = ReadPackets(tagged.c_str(), preRead, true);
    const unsigned fileReads = host::Count().read - before;
    const Outcome timed = ReadPackets(name.c_str(), preRead, false);
    rate = timed.seconds > 0 ? static_cast<double>(timed.bytes) / 1e6 / timed.seconds : 0;
    const bool good =
        counted.digest == digest && timed.bytes == counted.bytes && timed.reads == counted.reads;
    std::printf("  %-34s %7llu reads of %u bytes, %7u of the file %8.1f MB/s  digest %s\n", title,
                static_cast<unsigned long long>(counted.reads), kPacket, fileReads, rate,
                good ? "ok" : "DIFFERS");
    return good;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: read_ahead CLIP DIGEST\n");
        return 2;
    }
    try {
        const std::wstring name = std::filesystem::path(argv[1]).wstring();
        double without = 0;
        double with = 0;
        bool good = Tell("without read-ahead", name, 0, argv[2], without);
        good = Tell("with a ring of 8 MiB ahead", name, kRing, argv[2], with) && good;
        if (good && without > 0) {
            std::printf("  %-34s %.1f times as fast\n", "", with / without);
        }
        return good ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "read_ahead: %s\n", error.what());
        return 1;
    }
}
