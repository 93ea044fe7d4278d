// Reading a cached file through a source, beside a bare loop of system calls and beside libavformat's reader,
// all over the same file into the same buffer.
#include "BenchFile.h"
#include "module/VXCSoftCodecIO.h"

#include <benchmark/benchmark.h>

extern "C" {
#include <libavformat/avio.h>
}

#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace {

constexpr std::size_t kFileSize = std::size_t{1} << 30;
constexpr std::size_t kLargestRead = std::size_t{1} << 20;

const bench::File& TheFile() {
    static const bench::File file("bench-read.dat", kFileSize);
    return file;
}

uint8* TheBuffer() {
    return bench::Buffer<kLargestRead>();
}

// Every read of the file from its start to its end counts as one iteration; the whole file is read again and
// again, with the return to the start inside the time.
void SetRate(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64>(bytes));
}

void SequentialLibrary(benchmark::State& state) {
    const auto bytes = static_cast<uint32>(state.range(0));
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (source->OpenFile(TheFile().Wide().c_str(), 0, nullptr, 0) != 0) {
        state.SkipWithError("open failed");
        return;
    }
    for (auto _ : state) {
        if (source->Read(TheBuffer(), bytes) != static_cast<int>(bytes)) {
            source->Seek(0, 1);
        }
        benchmark::ClobberMemory();
    }
    SetRate(state, bytes);
    source->CloseFile();
}

void SequentialBare(benchmark::State& state) {
    const auto bytes = static_cast<std::size_t>(state.range(0));
    const int file = open(TheFile().Name(), O_RDONLY | O_CLOEXEC);
    for (auto _ : state) {
        if (read(file, TheBuffer(), bytes) != static_cast<ssize_t>(bytes)) {
            lseek(file, 0, SEEK_SET);
        }
        benchmark::ClobberMemory();
    }
    SetRate(state, bytes);
    close(file);
}

void SequentialAvio(benchmark::State& state) {
    const auto bytes = static_cast<int>(state.range(0));
    AVIOContext* context = nullptr;
    if (avio_open(&context, TheFile().Name(), AVIO_FLAG_READ) < 0) {
        state.SkipWithError("open failed");
        return;
    }
    for (auto _ : state) {
        if (avio_read(context, TheBuffer(), bytes) != bytes) {
            avio_seek(context, 0, SEEK_SET);
        }
        benchmark::ClobberMemory();
    }
    SetRate(state, static_cast<std::size_t>(bytes));
    avio_closep(&context);
}

constexpr uint32 kSmall = 4096;
constexpr uint64 kSmallReach = 4 << 20; // stays in the processor's cache

void SmallLibrary(benchmark::State& state) {
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (source->OpenFile(TheFile().Wide().c_str(), 0, nullptr, 0) != 0) {
        state.SkipWithError("open failed");
        return;
    }
    uint64 position = 0;
    for (auto _ : state) {
        source->Read(TheBuffer(), kSmall);
        position += kSmall;
        if (position == kSmallReach) {
            position = 0;
            source->Seek(0, 1);
        }
        benchmark::ClobberMemory();
    }
    SetRate(state, kSmall);
    source->CloseFile();
}

void SmallBare(benchmark::State& state) {
    const int file = open(TheFile().Name(), O_RDONLY | O_CLOEXEC);
    uint64 position = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(pread(file, TheBuffer(), kSmall, static_cast<off_t>(position)));
        position += kSmall;
        if (position == kSmallReach) {
            position = 0;
        }
        benchmark::ClobberMemory();
    }
    SetRate(state, kSmall);
    close(file);
}

} // namespace

BENCHMARK(SequentialLibrary)->Name("SequentialRead/library")->Arg(64 << 10)->Arg(1 << 20);
BENCHMARK(SequentialBare)->Name("SequentialRead/bare_read")->Arg(64 << 10)->Arg(1 << 20);
BENCHMARK(SequentialAvio)->Name("SequentialRead/avio_read")->Arg(64 << 10)->Arg(1 << 20);
BENCHMARK(SmallLibrary)->Name("SmallRead4K/library");
BENCHMARK(SmallBare)->Name("SmallRead4K/bare_pread");
