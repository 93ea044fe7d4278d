// Reads at random places inside the reach of a ring that keeps its window, beside pread(2) of the same places
// of the same cached file.
#include "BenchFile.h"
#include "module/VXCSoftCodecIO.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace {

constexpr std::size_t kFileSize = std::size_t{64} << 20;
constexpr int kRing = 32 << 20;
constexpr uint64 kReach = 30 << 20; // a block less than the ring, and room for the largest read
constexpr std::size_t kLargestRead = 1 << 16;

const bench::File& TheFile() {
    static const bench::File file("bench-window.dat", kFileSize);
    return file;
}

// The same places for everybody.
class Places {
public:
    uint64 Next() {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 7;
        m_state ^= m_state << 17;
        return m_state % kReach;
    }

private:
    uint64 m_state = 88172645463325252u;
};

void SetRate(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void AtRandomByLibrary(benchmark::State& state) {
    const auto bytes = static_cast<int>(state.range(0));
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (source->OpenFile(TheFile().Wide().c_str(), VXC_FILE_FLAG_KEEP_WINDOW, nullptr, 0) != 0) {
        state.SkipWithError("open failed");
        return;
    }
    source->EnablePreRead(kRing, static_cast<int>(kLargestRead));
    uint8* data = nullptr;
    // The ring fills from the start on before the time counts.
    if (source->ReadAt(0, &data, bytes) != bytes || source->ReadAt(kReach, &data, bytes) != bytes) {
        state.SkipWithError("no read-ahead");
        return;
    }
    Places places;
    int good = 1;
    for (auto _ : state) {
        good &= source->ReadAt(places.Next(), &data, bytes) == bytes ? 1 : 0;
        benchmark::DoNotOptimize(data);
        benchmark::ClobberMemory();
    }
    if (good == 0) {
        state.SkipWithError("a read came up short");
    }
    SetRate(state);
    source->CloseFile();
}

void AtRandomByPread(benchmark::State& state) {
    const auto bytes = static_cast<std::size_t>(state.range(0));
    uint8* const buffer = bench::Buffer<kLargestRead>();
    const int file = open(TheFile().Name(), O_RDONLY | O_CLOEXEC);
    Places places;
    for (auto _ : state) {
        benchmark::DoNotOptimize(pread(file, buffer, bytes, static_cast<off_t>(places.Next())));
        benchmark::ClobberMemory();
    }
    SetRate(state);
    close(file);
}

} // namespace

BENCHMARK(AtRandomByLibrary)->Name("ReadAtInsideTheRing/library")->Arg(4 << 10)->Arg(64 << 10)->UseRealTime();
BENCHMARK(AtRandomByPread)
    ->Name("ReadAtInsideTheRing/bare_pread")
    ->Arg(4 << 10)
    ->Arg(64 << 10)
    ->UseRealTime();
