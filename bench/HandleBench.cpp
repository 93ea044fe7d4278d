// One read of a file handle in thread mode, reads following each other over a cached file, beside the same
// reads in direct mode, and beside direct mode on a thread that is asked by nothing but a futex.
#include "BareFutex.h"
#include "BenchFile.h"
#include "filehandle/SoftFileHandle.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <thread>

namespace {

constexpr std::size_t kFileSize = std::size_t{64} << 20;
constexpr std::size_t kLargestRead = 1 << 20;

const bench::File& TheFile() {
    static const bench::File file("bench-handle.dat", kFileSize);
    return file;
}

bool Open(CQLSoftFileHandle& handle, uint32 threadMode) {
    return handle.CreateFile(TheFile().Wide().c_str(), VXC_GENERIC_READ, VXC_FILE_SHARE_READ, nullptr,
                             VXC_OPEN_EXISTING, 0, nullptr, threadMode) == 0;
}

// The next bytes of the file; from its start again when it has ended.
bool ReadNext(CQLSoftFileHandle& handle, uint64& position, uint32 bytes) {
    if (position + bytes > kFileSize) {
        position = 0;
        handle.SetFilePointer(0, VXC_FILE_BEGIN);
    }
    uint32 got = 0;
    handle.ReadFile(bench::Buffer<kLargestRead>(), bytes, &got, nullptr);
    position += got;
    return got == bytes;
}

template <class Reader>
void Measure(benchmark::State& state, Reader read) {
    const auto bytes = static_cast<uint32>(state.range(0));
    bool good = true;
    for (auto _ : state) {
        good = read(bytes) && good;
        benchmark::ClobberMemory();
    }
    if (!good) {
        state.SkipWithError("a read came up short");
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void ReadByHandle(benchmark::State& state, uint32 threadMode) {
    CQLSoftFileHandle handle;
    if (!Open(handle, threadMode)) {
        state.SkipWithError("open failed");
        return;
    }
    uint64 position = 0;
    Measure(state, [&](uint32 bytes) { return ReadNext(handle, position, bytes); });
}

void ReadInThreadMode(benchmark::State& state) {
    ReadByHandle(state, 1);
}

void ReadInDirectMode(benchmark::State& state) {
    ReadByHandle(state, 0);
}

// The way of those who read for a ring: the memory itself goes to the worker and comes back.
void ReadBlocksInThreadMode(benchmark::State& state) {
    CQLSoftFileHandle handle;
    vxcio::AlignedBuffer block(kLargestRead, 4096);
    if (!block || !Open(handle, 1)) {
        state.SkipWithError("open failed");
        return;
    }
    uint64 position = 0;
    Measure(state, [&](uint32 bytes) {
        if (position + bytes > kFileSize) {
            position = 0;
            handle.SetFilePointer(0, VXC_FILE_BEGIN);
        }
        uint32 got = 0;
        handle.ReadBlock(block, bytes, &got);
        position += got;
        return got == bytes;
    });
}

void ReadByAPartner(benchmark::State& state) {
    CQLSoftFileHandle handle;
    if (!Open(handle, 0)) {
        state.SkipWithError("open failed");
        return;
    }
    bench::BareFutex question;
    bench::BareFutex answer;
    uint64 position = 0;
    uint32 asked = 0; // handed over by the futexes, as the answer is; 0 ends the partner
    bool good = false;
    std::thread partner([&] {
        for (;;) {
            question.Wait();
            if (asked == 0) {
                return;
            }
            good = ReadNext(handle, position, asked);
            answer.Set();
        }
    });
    Measure(state, [&](uint32 bytes) {
        asked = bytes;
        question.Set();
        answer.Wait();
        return good;
    });
    asked = 0;
    question.Set();
    partner.join();
}

} // namespace

BENCHMARK(ReadInThreadMode)->Name("ThreadModeRead/library")->Arg(4 << 10)->Arg(1 << 20)->UseRealTime();
BENCHMARK(ReadBlocksInThreadMode)->Name("ThreadModeReadBlock/library")->Arg(1 << 20)->UseRealTime();
BENCHMARK(ReadInDirectMode)->Name("ThreadModeReadBlock/direct_mode")->Arg(1 << 20)->UseRealTime();
BENCHMARK(ReadInDirectMode)->Name("ThreadModeRead/direct_mode")->Arg(4 << 10)->Arg(1 << 20)->UseRealTime();
BENCHMARK(ReadByAPartner)->Name("ThreadModeRead/direct_by_futex")->Arg(4 << 10)->Arg(1 << 20)->UseRealTime();
