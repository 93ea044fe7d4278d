// Small reads through a source with read-ahead, beside the standard library's buffered file and libavformat's
// readers, the plain one and the one with a thread and a ring of its own. All read the same cached file from
// its start to its end, again and again; one iteration is one whole pass, the return to the start included.
#include "BenchFile.h"
#include "module/VXCSoftCodecIO.h"

#include <benchmark/benchmark.h>

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/log.h>
}

#include <cstdio>
#include <memory>
#include <string>

namespace {

constexpr std::size_t kFileSize = std::size_t{256} << 20;
constexpr std::size_t kLargestRead = 1 << 16;
constexpr int kRing = 4 << 20; // that of libavformat's async: protocol

const bench::File& TheFile() {
    static const bench::File file("bench-ahead.dat", kFileSize);
    return file;
}

uint8* TheBuffer() {
    return bench::Buffer<kLargestRead>();
}

// What a pass gave must be the file, whoever read it.
void Account(benchmark::State& state, std::size_t bytesOfPass) {
    if (bytesOfPass != kFileSize) {
        state.SkipWithError("a pass was not the whole file");
    }
    benchmark::ClobberMemory();
}

void SetRate(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64>(kFileSize));
}

void PassesOfLibrary(benchmark::State& state) {
    const auto bytes = static_cast<uint32>(state.range(0));
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (source->OpenFile(TheFile().Wide().c_str(), 0, nullptr, 0) != 0) {
        state.SkipWithError("open failed");
        return;
    }
    source->EnablePreRead(kRing, static_cast<int>(bytes));
    if (source->IsPreReadMode() == 0) {
        state.SkipWithError("no read-ahead");
        return;
    }
    for (auto _ : state) {
        source->Seek(0, 1);
        std::size_t done = 0;
        while (const int got = source->Read(TheBuffer(), bytes)) {
            done += static_cast<std::size_t>(got);
        }
        Account(state, done);
    }
    SetRate(state);
    source->CloseFile();
}

void PassesOfFread(benchmark::State& state) {
    const auto bytes = static_cast<std::size_t>(state.range(0));
    std::FILE* const file = std::fopen(TheFile().Name(), "rb");
    for (auto _ : state) {
        std::rewind(file);
        std::size_t done = 0;
        while (const std::size_t got = std::fread(TheBuffer(), 1, bytes, file)) {
            done += got;
        }
        Account(state, done);
    }
    SetRate(state);
    std::fclose(file);
}

void PassesOfAvio(benchmark::State& state, const std::string& url) {
    const auto bytes = static_cast<int>(state.range(0));
    av_log_set_level(AV_LOG_QUIET); // the async: protocol tells about every seek
    AVIOContext* context = nullptr;
    if (avio_open(&context, url.c_str(), AVIO_FLAG_READ) < 0) {
        state.SkipWithError("open failed");
        return;
    }
    for (auto _ : state) {
        avio_seek(context, 0, SEEK_SET);
        std::size_t done = 0;
        for (int got = 0; (got = avio_read(context, TheBuffer(), bytes)) > 0;) {
            done += static_cast<std::size_t>(got);
        }
        Account(state, done);
    }
    SetRate(state);
    avio_closep(&context);
}

void PassesOfAvioFile(benchmark::State& state) {
    PassesOfAvio(state, std::string("file:") + TheFile().Name());
}

void PassesOfAvioAsync(benchmark::State& state) {
    PassesOfAvio(state, std::string("async:") + TheFile().Name());
}

// A transport packet, a disk sector of optical media, a page of a demuxer's parser.
void Sizes(benchmark::internal::Benchmark* one) {
    one->Arg(188)->Arg(2048)->Arg(16384)->UseRealTime()->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK(PassesOfLibrary)->Name("SmallReadsOf256MiB/library")->Apply(Sizes);
BENCHMARK(PassesOfFread)->Name("SmallReadsOf256MiB/fread")->Apply(Sizes);
BENCHMARK(PassesOfAvioFile)->Name("SmallReadsOf256MiB/avio_read")->Apply(Sizes);
BENCHMARK(PassesOfAvioAsync)->Name("SmallReadsOf256MiB/avio_async")->Apply(Sizes);
