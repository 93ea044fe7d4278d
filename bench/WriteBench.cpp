// Small writes through a sink with its ring and thread, into the system's cache, beside the standard
// library's buffered file, libavformat's and bare system calls. Each writes a new file from its start to its
// end; one iteration is one whole file, opening and closing included.
#include "BenchFile.h"
#include "module/VXCSoftCodecIO.h"

#include <benchmark/benchmark.h>

extern "C" {
#include <libavformat/avio.h>
}

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <sys/stat.h>

namespace {

constexpr std::size_t kFileSize = std::size_t{256} << 20;
constexpr std::size_t kLargestWrite = 1 << 16;
constexpr const char* kName = "bench-write.dat";

const uint8* TheBytes() {
    static const uint8* const bytes = [] {
        uint8* const memory = bench::Buffer<kLargestWrite>();
        std::memset(memory, 0x47, kLargestWrite);
        return memory;
    }();
    return bytes;
}

// Writes whole files by `file`, which makes one of so many writes and says whether all went well. The file of
// the iteration before is removed outside the time.
template <class MakeFile>
void Files(benchmark::State& state, MakeFile makeFile) {
    const auto bytes = static_cast<std::size_t>(state.range(0));
    const std::size_t writes = kFileSize / bytes;
    const uint8* const data = TheBytes();
    for (auto _ : state) {
        state.PauseTiming();
        std::remove(kName);
        state.ResumeTiming();
        const bool isGood = makeFile(data, bytes, writes);
        state.PauseTiming();
        struct stat facts {};
        if (!isGood || stat(kName, &facts) != 0 ||
            static_cast<std::size_t>(facts.st_size) != writes * bytes) {
            state.SkipWithError("the file is not whole");
        }
        state.ResumeTiming();
    }
    std::remove(kName);
    state.SetBytesProcessed(state.iterations() * static_cast<int64>(writes * bytes));
}

void FilesOfLibrary(benchmark::State& state, uint32 ring) {
    const std::wstring name(kName, kName + std::strlen(kName));
    Files(state, [&](const uint8* data, std::size_t bytes, std::size_t writes) {
        const std::unique_ptr<CQLSoftDataSinkEx1> sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FILE));
        bool isGood = sink->OpenFile(name.c_str(), ring, 1 << 20, 0, 0, 0, 0, 0, 0, nullptr) == 0;
        const auto length = static_cast<uint32>(bytes);
        for (std::size_t i = 0; isGood && i < writes; ++i) {
            isGood = sink->Write(data, length, nullptr) == static_cast<int>(length);
        }
        sink->CloseFile();
        return isGood;
    });
}

void FilesOfFwrite(benchmark::State& state) {
    Files(state, [](const uint8* data, std::size_t bytes, std::size_t writes) {
        std::FILE* const file = std::fopen(kName, "wb");
        bool isGood = file != nullptr;
        for (std::size_t i = 0; isGood && i < writes; ++i) {
            isGood = std::fwrite(data, 1, bytes, file) == bytes;
        }
        return file != nullptr && std::fclose(file) == 0 && isGood;
    });
}

void FilesOfAvio(benchmark::State& state) {
    Files(state, [](const uint8* data, std::size_t bytes, std::size_t writes) {
        AVIOContext* context = nullptr;
        if (avio_open(&context, kName, AVIO_FLAG_WRITE) < 0) {
            return false;
        }
        for (std::size_t i = 0; i < writes; ++i) {
            avio_write(context, data, static_cast<int>(bytes));
        }
        return avio_closep(&context) >= 0;
    });
}

void FilesOfLibraryLeast(benchmark::State& state) {
    FilesOfLibrary(state, 1);
}

void FilesOfLibraryLarge(benchmark::State& state) {
    FilesOfLibrary(state, 8 << 20);
}

// A transport packet, a disk sector of optical media, a page of a muxer.
void Sizes(benchmark::internal::Benchmark* one) {
    one->Arg(188)->Arg(2048)->Arg(16384)->UseRealTime()->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK(FilesOfLibraryLarge)->Name("SmallWritesOf256MiB/library")->Apply(Sizes);
BENCHMARK(FilesOfFwrite)->Name("SmallWritesOf256MiB/fwrite")->Apply(Sizes);
BENCHMARK(FilesOfAvio)->Name("SmallWritesOf256MiB/avio_write")->Apply(Sizes);
BENCHMARK(FilesOfLibraryLeast)->Name("SmallWritesOf256MiBByTheLeastRing/library")->Apply(Sizes);
BENCHMARK(FilesOfFwrite)->Name("SmallWritesOf256MiBByTheLeastRing/fwrite")->Apply(Sizes);
