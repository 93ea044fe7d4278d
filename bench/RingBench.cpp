// Bytes handed from one thread to another, which receives them and does no more: through the byte ring in
// blocking mode, through a pipe of the system's size and one of the ring's, and through a lock-free queue of
// the ring's size, whose two sides spin. One iteration hands over one load with a thread for each side.
#include "MixedBytes.h"
#include "buffers/StreamBuffer.h"
#include "frame/Types.h"
#include "posix/Pipe.h"

#include <benchmark/benchmark.h>
#include <boost/lockfree/spsc_queue.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

constexpr int kRing = 1 << 20;
constexpr std::size_t kBlock = 1 << 16;
constexpr std::size_t kPacket = 188;
// Whole pieces of both sizes.
constexpr std::size_t kLeastLoad = kBlock * kPacket;
constexpr std::size_t kLoad = 21 * kLeastLoad;      // 247 MiB
constexpr std::size_t kPacketLoad = 5 * kLeastLoad; // 59 MiB

// What the bytes go through. Put is one thread's and Take another's; Take gives where the bytes are, null
// when they are not to be had, and they stay until the next one.
class LibraryRing {
public:
    LibraryRing() { m_ring.Init(kRing); }
    ~LibraryRing() { m_ring.Close(); }
    LibraryRing(const LibraryRing&) = delete;
    LibraryRing& operator=(const LibraryRing&) = delete;

    bool Put(uint8* data, std::size_t bytes) {
        return m_ring.PutData(data, static_cast<int>(bytes), PLUG_STREAMSTATE_DATA) == 0;
    }
    const uint8* Take(std::size_t bytes) {
        uint8* data = nullptr;
        PLUG_STREAMSTATE_ streamState = PLUG_STREAMSTATE_OPEN;
        const int got = m_ring.GetData(data, static_cast<int>(bytes), &streamState);
        return got == static_cast<int>(bytes) ? data : nullptr;
    }

protected:
    CSoftStreamBuffer m_ring;
};

class LibraryRingWithLook : public LibraryRing {
public:
    const uint8* Take(std::size_t bytes) {
        uint8* shown = nullptr;
        PLUG_STREAMSTATE_ streamState = PLUG_STREAMSTATE_OPEN;
        const int got = m_ring.ShowData(shown, static_cast<int>(bytes), &streamState);
        return got == static_cast<int>(bytes) ? LibraryRing::Take(bytes) : nullptr;
    }
};

template <int size>
class PipeRing {
public:
    bool Put(const uint8* data, std::size_t bytes) { return m_pipe.Put(data, bytes); }
    const uint8* Take(std::size_t bytes) {
        return m_pipe.Take(m_target.data(), bytes) ? m_target.data() : nullptr;
    }

private:
    bench::Pipe m_pipe{size};
    std::vector<uint8> m_target = std::vector<uint8>(kBlock);
};

class LockFreeRing {
public:
    bool Put(const uint8* data, std::size_t bytes) {
        while (bytes > 0) {
            const std::size_t done = m_queue.push(data, bytes);
            YieldUnless(done > 0);
            data += done;
            bytes -= done;
        }
        return true;
    }
    const uint8* Take(std::size_t bytes) {
        uint8* target = m_target.data();
        while (bytes > 0) {
            const std::size_t done = m_queue.pop(target, bytes);
            YieldUnless(done > 0);
            target += done;
            bytes -= done;
        }
        return m_target.data();
    }

private:
    static void YieldUnless(bool moved) {
        if (!moved) {
            std::this_thread::yield();
        }
    }

    boost::lockfree::spsc_queue<uint8> m_queue{kRing};
    std::vector<uint8> m_target = std::vector<uint8>(kBlock);
};

// The producer's memory. Pieces are taken from it in turn, so its whole pieces come round and round.
const std::vector<uint8>& TheBytes() {
    static const std::vector<uint8> bytes = bench::MixedBytes(kBlock);
    return bytes;
}

void InsistOn(bool isGood) {
    if (!isGood) {
        std::fputs("the ring gave up, or the bytes are not those that were put\n", stderr);
        std::abort();
    }
}

// Pieces of `in` bytes go in and pieces of `out` bytes come out, each of which `look` is shown, with its
// place in the load.
template <std::size_t in, std::size_t out, class Ring, class Look>
void HandOver(Ring& ring, std::size_t load, Look look) {
    std::thread producer([&ring, load] {
        std::vector<uint8> bytes = TheBytes();
        std::size_t from = 0;
        for (std::size_t put = 0; put < load; put += in) {
            InsistOn(ring.Put(bytes.data() + from, in));
            from = from + 2 * in <= bytes.size() ? from + in : 0;
        }
    });
    std::thread consumer([&ring, load, look] {
        for (std::size_t taken = 0; taken < load; taken += out) {
            const uint8* const piece = ring.Take(out);
            InsistOn(piece != nullptr);
            look(piece, taken);
        }
    });
    producer.join();
    consumer.join();
}

template <class Ring, std::size_t in, std::size_t out>
void Pass(benchmark::State& state) {
    constexpr std::size_t kBytes = std::min(in, out) < kBlock ? kPacketLoad : kLoad;
    Ring ring;
    HandOver<in, out>(ring, kLeastLoad, [](const uint8* piece, std::size_t at) {
        constexpr std::size_t kRound = kBlock / in * in;
        const std::vector<uint8>& bytes = TheBytes();
        for (std::size_t i = 0; i < out; ++i) {
            InsistOn(piece[i] == bytes[(at + i) % kRound]);
        }
    });
    for (auto _ : state) {
        HandOver<in, out>(ring, kBytes,
                          [](const uint8* piece, std::size_t /*at*/) { benchmark::DoNotOptimize(piece); });
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64>(kBytes));
}

void InTime(benchmark::internal::Benchmark* one) {
    one->UseRealTime()->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK(Pass<LibraryRing, kBlock, kBlock>)->Name("Ring64KiBIn64KiBOut/library")->Apply(InTime);
BENCHMARK(Pass<PipeRing<0>, kBlock, kBlock>)->Name("Ring64KiBIn64KiBOut/pipe")->Apply(InTime);
BENCHMARK(Pass<PipeRing<kRing>, kBlock, kBlock>)->Name("Ring64KiBIn64KiBOut/pipe_of_1MiB")->Apply(InTime);
BENCHMARK(Pass<LockFreeRing, kBlock, kBlock>)->Name("Ring64KiBIn64KiBOut/lock_free")->Apply(InTime);

BENCHMARK(Pass<LibraryRing, kPacket, kBlock>)->Name("Ring188BytesIn64KiBOut/library")->Apply(InTime);
BENCHMARK(Pass<PipeRing<0>, kPacket, kBlock>)->Name("Ring188BytesIn64KiBOut/pipe")->Apply(InTime);
BENCHMARK(Pass<PipeRing<kRing>, kPacket, kBlock>)->Name("Ring188BytesIn64KiBOut/pipe_of_1MiB")->Apply(InTime);
BENCHMARK(Pass<LockFreeRing, kPacket, kBlock>)->Name("Ring188BytesIn64KiBOut/lock_free")->Apply(InTime);

BENCHMARK(Pass<LibraryRing, kBlock, kPacket>)->Name("Ring64KiBIn188BytesOut/library")->Apply(InTime);
BENCHMARK(Pass<PipeRing<0>, kBlock, kPacket>)->Name("Ring64KiBIn188BytesOut/pipe")->Apply(InTime);
BENCHMARK(Pass<PipeRing<kRing>, kBlock, kPacket>)->Name("Ring64KiBIn188BytesOut/pipe_of_1MiB")->Apply(InTime);
BENCHMARK(Pass<LockFreeRing, kBlock, kPacket>)->Name("Ring64KiBIn188BytesOut/lock_free")->Apply(InTime);

// The peers have no way to look first: they only take.
BENCHMARK(Pass<LibraryRingWithLook, kBlock, kPacket>)
    ->Name("Ring64KiBIn188BytesShownAndOut/library")
    ->Apply(InTime);
BENCHMARK(Pass<PipeRing<0>, kBlock, kPacket>)->Name("Ring64KiBIn188BytesShownAndOut/pipe")->Apply(InTime);
BENCHMARK(Pass<LockFreeRing, kBlock, kPacket>)
    ->Name("Ring64KiBIn188BytesShownAndOut/lock_free")
    ->Apply(InTime);
