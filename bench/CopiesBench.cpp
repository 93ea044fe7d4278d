// Reading one clip from two copies that both answer, beside reading it from one; with read-ahead, from the
// page cache and from the disk. One iteration is one whole pass.
#include "BenchFile.h"
#include "module/VXCSoftCodecIO.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

namespace {

constexpr std::size_t kFileSize = std::size_t{256} << 20;
constexpr uint32 kRead = 64 << 10;
constexpr int kRing = 8 << 20;

const bench::File& FirstCopy() {
    static const bench::File file("bench-copy1.dat", kFileSize);
    return file;
}

const bench::File& SecondCopy() {
    static const bench::File file("bench-copy2.dat", kFileSize);
    return file;
}

void Passes(benchmark::State& state, uint32 flags, bool both) {
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    const std::wstring first = FirstCopy().Wide();
    const std::wstring second = SecondCopy().Wide(); // both in the cache, whoever reads
    if (source->OpenFile(first.c_str(), flags, both ? second.c_str() : nullptr, 0) != 0) {
        state.SkipWithError("open failed");
        return;
    }
    source->EnablePreRead(kRing, static_cast<int>(kRead));
    for (auto _ : state) {
        source->Seek(0, 1);
        std::size_t done = 0;
        while (const int got = source->Read(bench::Buffer<kRead>(), kRead)) {
            done += static_cast<std::size_t>(got);
        }
        if (done != kFileSize) {
            state.SkipWithError("a pass was not the whole file");
        }
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64>(kFileSize));
    source->CloseFile();
}

void CachedTwo(benchmark::State& state) {
    Passes(state, 0, true);
}
void CachedOne(benchmark::State& state) {
    Passes(state, 0, false);
}
void UnbufferedTwo(benchmark::State& state) {
    Passes(state, VXC_FILE_FLAG_NO_BUFFERING, true);
}
void UnbufferedOne(benchmark::State& state) {
    Passes(state, VXC_FILE_FLAG_NO_BUFFERING, false);
}

void Whole(benchmark::internal::Benchmark* one) {
    one->UseRealTime()->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK(CachedTwo)->Name("TwoHealthyCopies/library")->Apply(Whole);
BENCHMARK(CachedOne)->Name("TwoHealthyCopies/one_copy")->Apply(Whole);
BENCHMARK(UnbufferedTwo)->Name("TwoHealthyCopiesUnbuffered/library")->Apply(Whole);
BENCHMARK(UnbufferedOne)->Name("TwoHealthyCopiesUnbuffered/one_copy")->Apply(Whole);
