// Two records of the bridge stored to memory and loaded from it, without an attachment and with one of 1 KiB,
// beside protobuf and cereal with the same fields. Each has its best form: protobuf's message is filled ahead
// and used again and again, cereal's archive writes the same records to memory that is there. One iteration
// is one record; bytes are those of the library's stream.
#include "SerializeCereal.h"
#include "SerializeProtobuf.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace vxcbench {
namespace {

constexpr std::size_t kRoom = 8192;
constexpr uint32 kAttached = 1024;

// Values of all sizes, which protobuf's lengths depend on; the digits of a time code are small by themselves.
template <class Record>
struct Filled {
    Record record;
    std::vector<unsigned char> attached;

    explicit Filled(uint32 bytes) : attached(bytes, 0x5A) {
        std::mt19937 random(1);
        auto* const raw = reinterpret_cast<unsigned char*>(&record);
        for (std::size_t i = 0; i < sizeof record; ++i) {
            raw[i] = static_cast<unsigned char>(random());
        }
        record.append.data = attached.data();
        record.append.size = bytes;
    }
};

CVXCSerialize StreamOn(unsigned char* bytes, std::size_t count, int direction) {
    CVXCSerialize stream;
    stream.m_pBuffer = bytes;
    stream.m_dwCapacity = static_cast<unsigned int>(count);
    stream.m_nDirection = direction;
    return stream;
}

void Told(benchmark::State& state, std::size_t bytes, bool right) {
    state.SetBytesProcessed(static_cast<int64>(state.iterations()) * static_cast<int64>(bytes));
    if (!right) {
        state.SkipWithError("the record did not come through");
    }
}

template <class Record>
void LibraryStore(benchmark::State& state, uint32 attached) {
    Filled<Record> filled(attached);
    std::vector<unsigned char> bytes(kRoom);
    CVXCSerialize stream;
    for (auto _ : state) {
        stream = StreamOn(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
        stream << filled.record;
        benchmark::ClobberMemory();
    }
    Told(state, stream.m_dwPosition, stream.m_nError == VXC_SERIALIZE_OK);
}

template <class Record>
void LibraryLoad(benchmark::State& state, uint32 attached) {
    Filled<Record> filled(attached);
    std::vector<unsigned char> bytes(kRoom);
    CVXCSerialize stream = StreamOn(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stream << filled.record;
    const std::size_t length = stream.m_dwPosition;
    Record record{};
    bool right = true;
    for (auto _ : state) {
        stream = StreamOn(bytes.data(), length, VXC_SERIALIZE_LOAD);
        stream >> record;
        benchmark::ClobberMemory();
        right = right && stream.m_nError == VXC_SERIALIZE_OK && record.append.size == attached;
        SerilizeFree(attached == 0 ? nullptr : record.append.data);
    }
    Told(state, length, right);
}

template <class Record>
void ProtobufStore(benchmark::State& state, uint32 attached) {
    const Filled<Record> filled(attached);
    MessageOf<Record> message;
    Fill(message, filled.record);
    std::vector<unsigned char> bytes(kRoom);
    bool right = true;
    for (auto _ : state) {
        right = message.SerializeToArray(bytes.data(), static_cast<int>(bytes.size())) && right;
        benchmark::ClobberMemory();
    }
    Told(state, message.ByteSizeLong(), right);
}

template <class Record>
void ProtobufLoad(benchmark::State& state, uint32 attached) {
    const Filled<Record> filled(attached);
    MessageOf<Record> message;
    Fill(message, filled.record);
    const std::string bytes = message.SerializeAsString();
    bool right = true;
    for (auto _ : state) {
        right = message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())) && right;
        benchmark::ClobberMemory();
    }
    Told(state, bytes.size(), right && message.append().data().size() == attached);
}

template <class Record>
void CerealStore(benchmark::State& state, uint32 attached) {
    Filled<Record> filled(attached);
    std::vector<unsigned char> bytes(kRoom);
    MemoryBuffer buffer(bytes.data(), bytes.size());
    std::ostream out(&buffer);
    cereal::BinaryOutputArchive archive(out);
    for (auto _ : state) {
        buffer.Rewind();
        archive(filled.record);
        benchmark::ClobberMemory();
    }
    Told(state, buffer.Position(), true);
}

template <class Record>
void CerealLoad(benchmark::State& state, uint32 attached) {
    Filled<Record> filled(attached);
    std::vector<unsigned char> bytes(kRoom);
    MemoryBuffer buffer(bytes.data(), bytes.size());
    std::ostream out(&buffer);
    cereal::BinaryOutputArchive{out}(filled.record);
    const std::size_t length = buffer.Position();
    std::istream in(&buffer);
    cereal::BinaryInputArchive archive(in);
    Record record{};
    bool right = true;
    for (auto _ : state) {
        buffer.Rewind();
        archive(record);
        benchmark::ClobberMemory();
        right = right && record.append.size == attached;
        SerilizeFree(attached == 0 ? nullptr : record.append.data);
    }
    Told(state, length, right);
}

template <class Record>
void Register(const std::string& name) {
    for (const uint32 attached : {0u, kAttached}) {
        const std::string work = name + (attached == 0 ? "" : "_attached");
        benchmark::RegisterBenchmark((work + "_store/library").c_str(), LibraryStore<Record>, attached);
        benchmark::RegisterBenchmark((work + "_store/protobuf").c_str(), ProtobufStore<Record>, attached);
        benchmark::RegisterBenchmark((work + "_store/cereal").c_str(), CerealStore<Record>, attached);
        benchmark::RegisterBenchmark((work + "_load/library").c_str(), LibraryLoad<Record>, attached);
        benchmark::RegisterBenchmark((work + "_load/protobuf").c_str(), ProtobufLoad<Record>, attached);
        benchmark::RegisterBenchmark((work + "_load/cereal").c_str(), CerealLoad<Record>, attached);
    }
}

const bool g_registered = [] {
    Register<SPlugFRAMEINFO>("frameinfo");
    Register<SPlugStreamInfo>("streaminfo");
    return true;
}();

} // namespace
} // namespace vxcbench
