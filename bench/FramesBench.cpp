// Frames of 100 KiB with 8 bytes extra that pass through the frame queue in a steady stream, beside two plain
// copies into memory that is used again: as many buffers in turn as the queue has. The size is the frames
// that wait.
#include "buffers/EsBuffer.h"
#include "frame/Types.h"
#include "support/counting/AllocationCount.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <vector>

namespace {

constexpr std::size_t kFrame = 100 << 10;
constexpr std::size_t kExtra = 8;

struct Frame {
    std::vector<uint8> data = std::vector<uint8>(kFrame);
    std::vector<uint8> extra = std::vector<uint8>(kExtra);

    Frame() {
        std::iota(data.begin(), data.end(), uint8{1});
        std::iota(extra.begin(), extra.end(), uint8{101});
    }
    bool IsAt(const uint8* otherData, const uint8* otherExtra) const {
        return std::equal(data.begin(), data.end(), otherData) &&
               std::equal(extra.begin(), extra.end(), otherExtra);
    }
};

struct Taken {
    int nStream = 0;
    uint8* pData = nullptr;
    int nSize = 0;
    uint8* pExtra = nullptr;
    int nExtraSize = 0;
    PLUG_STREAMSTATE_ eState = PLUG_STREAMSTATE_OPEN;
};

void PutAndGet(benchmark::State& state) {
    Frame frame;
    CSoftEsBuffer queue;
    queue.Init(kFrame);
    Taken taken;
    const auto put = [&] {
        return queue.PutDate(0, frame.data.data(), static_cast<int>(kFrame), frame.extra.data(),
                             static_cast<int>(kExtra)) != 0;
    };
    const auto get = [&] {
        return queue.GetDate(taken.nStream, taken.pData, taken.nSize, taken.pExtra, taken.nExtraSize,
                             taken.eState) != 0;
    };
    bool isGood = true;
    {
        const vxcio::test::AllocationCount growing;
        for (int64 i = 0; i < state.range(0); ++i) {
            isGood = put() && isGood;
        }
        isGood = isGood && growing.Taken() > 0; // or the count is blind
    }
    isGood = isGood && get();
    if (!isGood || taken.nSize != static_cast<int>(kFrame) || taken.nExtraSize != static_cast<int>(kExtra) ||
        !frame.IsAt(taken.pData, taken.pExtra)) {
        state.SkipWithError("not the frame that was put");
    }
    const vxcio::test::AllocationCount steady;
    for (auto _ : state) {
        isGood = put() && get() && isGood;
        benchmark::DoNotOptimize(taken);
        benchmark::ClobberMemory();
    }
    if (!isGood) {
        state.SkipWithError("a frame was refused");
    }
    if (steady.Taken() != 0) {
        state.SkipWithError("a steady stream allocates");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64>(kFrame + kExtra));
    queue.Close();
}

void TwoCopies(benchmark::State& state) {
    const Frame frame;
    const auto buffers = static_cast<std::size_t>(state.range(0));
    struct Target {
        std::unique_ptr<uint8[]> data{new uint8[kFrame]};
        std::unique_ptr<uint8[]> extra{new uint8[kExtra]};
    };
    std::vector<Target> targets(buffers);
    std::size_t next = 0;
    for (auto _ : state) {
        const Target& target = targets[next];
        std::memcpy(target.data.get(), frame.data.data(), kFrame);
        std::memcpy(target.extra.get(), frame.extra.data(), kExtra);
        next = next + 1 < buffers ? next + 1 : 0;
        benchmark::DoNotOptimize(target.data.get());
        benchmark::DoNotOptimize(target.extra.get());
        benchmark::ClobberMemory();
    }
    if (!frame.IsAt(targets[0].data.get(), targets[0].extra.get())) {
        state.SkipWithError("not the frame that was copied");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64>(kFrame + kExtra));
}

} // namespace

BENCHMARK(PutAndGet)->Name("FrameOf100KiBPutAndGot/library")->Arg(2)->Arg(8);
BENCHMARK(TwoCopies)->Name("FrameOf100KiBPutAndGot/two_copies")->Arg(2)->Arg(8);
