// Reading a cached file through a source, beside a bare loop of system calls and beside libavformat's reader,
// all over the same file into the same buffer.
#include "module/VXCSoftCodecIO.h"

#include <benchmark/benchmark.h>

extern "C" {
#include <libavformat/avio.h>
}

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t kFileSize = std::size_t{1} << 30;
constexpr std::size_t kLargestRead = std::size_t{1} << 20;

// A file of 1 GiB beside the program, in the page cache; removed at the end.
class CachedFile {
public:
    CachedFile() : m_name("bench-read.dat") {
        std::vector<uint8> block(kLargestRead);
        for (std::size_t i = 0; i < block.size(); ++i) {
            block[i] = static_cast<uint8>(i * 31);
        }
        std::FILE* const file = std::fopen(m_name.c_str(), "wb");
        bool good = file != nullptr;
        for (std::size_t at = 0; good && at < kFileSize; at += block.size()) {
            good = std::fwrite(block.data(), 1, block.size(), file) == block.size();
        }
        if (file == nullptr || std::fclose(file) != 0 || !good) {
            std::perror(m_name.c_str());
            std::exit(1);
        }
    }
    ~CachedFile() { std::remove(m_name.c_str()); }
    CachedFile(const CachedFile&) = delete;
    CachedFile& operator=(const CachedFile&) = delete;

    const char* Name() const { return m_name.c_str(); }
    std::wstring Wide() const { return {m_name.begin(), m_name.end()}; }

private:
    std::string m_name;
};

const CachedFile& TheFile() {
    static const CachedFile file;
    return file;
}

uint8* TheBuffer() {
    static uint8* const buffer = static_cast<uint8*>(std::aligned_alloc(4096, kLargestRead));
    return buffer;
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
