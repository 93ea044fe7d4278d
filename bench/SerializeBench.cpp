// Two records of the bridge stored to memory and loaded from it, without an attachment and with one of 1 KiB,
// beside protobuf and cereal with the same fields. Each has its best form: protobuf's message is filled ahead
// and used again and again, with values of fixed width but for the digits of the time code and the bytes of
// the active format; cereal's archive writes the same records to memory that is there. One iteration is one
// record. bytes_per_second are of what each of them makes of it, so only times are to be compared.
//
// Once, behind its loop, a store is held against the length that is expected (protobuf's against the bytes
// that it makes by another way), and a load against a few fields of the record.
#include "SerializeCereal.h"
#include "SerializeProtobuf.h"
#include "SerializeTimes.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
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

// What a record without its attachment comes to: in cereal's archive the fields and nothing else, on the
// library's stream with a tag each, and blocks and the attachment with their counts too.
template <class Record>
constexpr std::size_t kFieldBytes = std::is_same_v<Record, SPlugFRAMEINFO> ? 204 : 1596;
template <class Record>
constexpr std::size_t kTaggedBytes = std::is_same_v<Record, SPlugFRAMEINFO> ? 256 : 1696;
constexpr std::size_t kBlockHead = 6;

void Told(benchmark::State& state, std::size_t bytes, bool right) {
    state.SetBytesProcessed(static_cast<int64>(state.iterations()) * static_cast<int64>(bytes));
    if (!right) {
        state.SkipWithError("the record did not come through");
    }
}

// What was loaded, by a few fields from its beginning to its end.
template <class Record>
bool CameThrough(const Record& loaded, const Filled<Record>& filled) {
    const Record& record = filled.record;
    return loaded.value0 == record.value0 && loaded.value6 == record.value6 &&
           loaded.value12 == record.value12 && loaded.append.type == record.append.type &&
           loaded.append.size == record.append.size &&
           (record.append.size == 0 ||
            std::memcmp(loaded.append.data, record.append.data, record.append.size) == 0);
}

// Times `load`, which loads `record` with memory for its attachment. Whether what it loads came through.
template <class Record, class Load>
bool TimeLoads(benchmark::State& state, const Filled<Record>& filled, Record& record, Load load) {
    const auto release = [&] { SerilizeFree(filled.record.append.size == 0 ? nullptr : record.append.data); };
    const auto loadAndFree = [&] {
        load();
        release();
    };
    for (auto _ : state) {
        loadAndFree();
    }
    ReportTimes(state, loadAndFree);
    record = {};
    load();
    const bool right = CameThrough(record, filled);
    release();
    return right;
}

template <class Record>
void LibraryStore(benchmark::State& state, uint32 attached) {
    Filled<Record> filled(attached);
    std::vector<unsigned char> bytes(kRoom);
    CVXCSerialize stream;
    const auto store = [&] {
        stream = StreamOn(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
        stream << filled.record;
        benchmark::ClobberMemory();
    };
    for (auto _ : state) {
        store();
    }
    ReportTimes(state, store);
    const std::size_t expected = kTaggedBytes<Record> + (attached == 0 ? 0 : kBlockHead + attached);
    Told(state, stream.m_dwPosition, stream.m_nError == VXC_SERIALIZE_OK && stream.m_dwPosition == expected);
}

template <class Record>
void LibraryLoad(benchmark::State& state, uint32 attached) {
    Filled<Record> filled(attached);
    std::vector<unsigned char> bytes(kRoom);
    CVXCSerialize stream = StreamOn(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stream << filled.record;
    const std::size_t length = stream.m_dwPosition;
    Record record{};
    const auto load = [&] {
        stream = StreamOn(bytes.data(), length, VXC_SERIALIZE_LOAD);
        stream >> record;
        benchmark::ClobberMemory();
    };
    const bool right = TimeLoads(state, filled, record, load) && stream.m_nError == VXC_SERIALIZE_OK;
    Told(state, length, right);
}

template <class Record>
void ProtobufStore(benchmark::State& state, uint32 attached) {
    const Filled<Record> filled(attached);
    MessageOf<Record> message;
    Fill(message, filled.record);
    std::vector<unsigned char> bytes(kRoom);
    bool right = true;
    const auto store = [&] {
        right = message.SerializeToArray(bytes.data(), static_cast<int>(bytes.size())) && right;
        benchmark::ClobberMemory();
    };
    for (auto _ : state) {
        store();
    }
    ReportTimes(state, store);
    const std::string expected = message.SerializeAsString();
    Told(state, expected.size(), right && std::memcmp(bytes.data(), expected.data(), expected.size()) == 0);
}

template <class Record>
void ProtobufLoad(benchmark::State& state, uint32 attached) {
    const Filled<Record> filled(attached);
    MessageOf<Record> message;
    Fill(message, filled.record);
    const std::string bytes = message.SerializeAsString();
    message.Clear();
    bool right = true;
    const auto load = [&] {
        right = message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())) && right;
        benchmark::ClobberMemory();
    };
    for (auto _ : state) {
        load();
    }
    ReportTimes(state, load);
    const std::string& data = message.append().data();
    Told(state, bytes.size(),
         right && message.value0() == filled.record.value0 && message.value6() == filled.record.value6 &&
             message.value12() == filled.record.value12 &&
             message.append().type() == static_cast<uint32>(filled.record.append.type) &&
             std::equal(data.begin(), data.end(), filled.attached.begin(), filled.attached.end()));
}

template <class Record>
void CerealStore(benchmark::State& state, uint32 attached) {
    Filled<Record> filled(attached);
    std::vector<unsigned char> bytes(kRoom);
    MemoryBuffer buffer(bytes.data(), bytes.size());
    std::ostream out(&buffer);
    cereal::BinaryOutputArchive archive(out);
    const auto store = [&] {
        buffer.Rewind();
        archive(filled.record);
        benchmark::ClobberMemory();
    };
    for (auto _ : state) {
        store();
    }
    ReportTimes(state, store);
    Told(state, buffer.Position(), buffer.Position() == kFieldBytes<Record> + attached);
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
    const auto load = [&] {
        buffer.Rewind();
        archive(record);
        benchmark::ClobberMemory();
    };
    Told(state, length, TimeLoads(state, filled, record, load));
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
