// The CRC-32 of MPEG-2 over 1 MiB: the engine alone, and through a bit stream that writes or reads the bytes,
// beside libavutil's table and Boost's.
#include "MixedBytes.h"
#include "buffers/BitsStream.h"
#include "buffers/Crc32Mpeg.h"
#include "frame/Types.h"

#include <benchmark/benchmark.h>
#include <boost/crc.hpp>

extern "C" {
#include <libavutil/crc.h>
}

#include <cstring>
#include <vector>

namespace {

constexpr std::size_t kSize = 1 << 20;

const std::vector<uint8>& TheBytes() {
    static const std::vector<uint8> bytes = bench::MixedBytes(kSize);
    return bytes;
}

uint32 CrcOfEngine(const std::vector<uint8>& bytes) {
    vxcio::Crc32Mpeg crc;
    crc.Start();
    for (std::size_t at = 0; at < bytes.size(); at += 4) {
        uint32 word = 0;
        std::memcpy(&word, &bytes[at], sizeof word);
        crc.Feed(__builtin_bswap32(word), 32);
    }
    return crc.Value();
}

// Writing only sets bits, so the memory is cleared first.
uint32 CrcOfPutBYTE(const std::vector<uint8>& bytes) {
    static std::vector<uint8> target(kSize);
    std::memset(target.data(), 0, target.size());
    CBitsStream bits;
    bits.InitBuffer(target.data(), kSize);
    bits.StartCRC();
    for (const uint8 byte : bytes) {
        bits.PutBYTE(byte);
    }
    bits.Flush();
    benchmark::ClobberMemory();
    return bits.GetCRCResult();
}

uint32 CrcOfGetBits(const std::vector<uint8>& bytes) {
    CBitsStream bits;
    bits.InitBuffer(const_cast<uint8*>(bytes.data()), kSize); // whose bytes it finds as they are
    bits.StartCRC();
    unsigned int value = 0;
    while (bits.GetBits(&value, 32) != 0) {
        benchmark::DoNotOptimize(value);
    }
    return bits.GetCRCResult();
}

uint32 CrcOfAvutil(const std::vector<uint8>& bytes) {
    static const AVCRC* const table = av_crc_get_table(AV_CRC_32_IEEE);
    return __builtin_bswap32(av_crc(table, 0xFFFFFFFFu, bytes.data(), bytes.size()));
}

uint32 CrcOfBoost(const std::vector<uint8>& bytes) {
    boost::crc_optimal<32, 0x04C11DB7, 0xFFFFFFFF, 0, false, false> crc;
    crc.process_bytes(bytes.data(), bytes.size());
    return static_cast<uint32>(crc.checksum());
}

// The register, one bit after the other.
uint32 CrcBitByBit(const std::vector<uint8>& bytes) {
    uint32 crc = 0xFFFFFFFFu;
    for (const uint8 byte : bytes) {
        crc ^= uint32{byte} << 24;
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc << 1 ^ ((crc & 0x80000000u) != 0 ? 0x04C11DB7u : 0);
        }
    }
    return crc;
}

template <uint32 (*crcOf)(const std::vector<uint8>&)>
void Crc(benchmark::State& state) {
    const std::vector<uint8>& bytes = TheBytes();
    static const uint32 right = CrcBitByBit(bytes);
    if (crcOf(bytes) != right) {
        state.SkipWithError("the CRC is wrong");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(crcOf(bytes));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64>(kSize));
}

} // namespace

BENCHMARK(Crc<CrcOfEngine>)->Name("CrcAloneOf1MiB/library");
BENCHMARK(Crc<CrcOfAvutil>)->Name("CrcAloneOf1MiB/av_crc");
BENCHMARK(Crc<CrcOfBoost>)->Name("CrcAloneOf1MiB/boost");
BENCHMARK(Crc<CrcOfPutBYTE>)->Name("CrcByPutBYTEOf1MiB/library");
BENCHMARK(Crc<CrcOfAvutil>)->Name("CrcByPutBYTEOf1MiB/av_crc");
BENCHMARK(Crc<CrcOfBoost>)->Name("CrcByPutBYTEOf1MiB/boost");
BENCHMARK(Crc<CrcOfGetBits>)->Name("CrcByGetBits32Of1MiB/library");
BENCHMARK(Crc<CrcOfAvutil>)->Name("CrcByGetBits32Of1MiB/av_crc");
BENCHMARK(Crc<CrcOfBoost>)->Name("CrcByGetBits32Of1MiB/boost");
