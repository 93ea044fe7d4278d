#include "buffers/BitsStreamPair.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace vxcio::test {

namespace {

using Kind = BitsCall::Kind;

constexpr std::size_t kCallsShown = 40;

constexpr const char* kNames[] = {
    "InitBuffer",    "ReFill",     "Flush",       "GetBit",        "GetBits",     "GetBYTE",
    "GetWORD",       "GetDWORD",   "PutBit",      "PutBits",       "PutBYTE",     "PutWORD",
    "PutDWORD",      "GetBytePtr", "SeekBytePtr", "SetBytePtrPos", "SeekBitsPtr", "SetBitsPtr",
    "AlignCurBytes", "StartCRC",   "StopCRC",     "Change"};

// Everything that a caller can see after a call.
struct Sight {
    int result = 1;
    uint64 value = 0xA5A5A5A5u; // what the call gave, or what stood there before
    int64 current = 0;
    uint32 bytesPos = 0;
    int64 bitsPos = 0;
    uint32 size = 0;
    int isAligned = 0;
    uint32 crc = 0;

    bool operator==(const Sight&) const = default;
};

std::string TextOf(const BitsCall& call) {
    char text[100];
    std::snprintf(text, sizeof text, "%s(%s%lld, 0x%X)", kNames[static_cast<int>(call.kind)],
                  call.isNull ? "null, " : "", static_cast<long long>(call.number), call.value);
    return text;
}

std::string TextOf(const Sight& sight) {
    char text[200];
    std::snprintf(
        text, sizeof text, "result %d value %llX current %lld byte %u bit %lld size %u aligned %d crc %08X",
        sight.result, static_cast<unsigned long long>(sight.value), static_cast<long long>(sight.current),
        sight.bytesPos, static_cast<long long>(sight.bitsPos), sight.size, sight.isAligned, sight.crc);
    return text;
}

int64 OffsetOf(const uint8* address, const uint8* memory) {
    if (address == nullptr) {
        return std::numeric_limits<int64>::min();
    }
    return static_cast<int64>(reinterpret_cast<std::uintptr_t>(address) -
                              reinterpret_cast<std::uintptr_t>(memory));
}

template <class Value, class Get>
int Fetch(Sight& sight, bool isNull, Get get) {
    auto value = static_cast<Value>(sight.value);
    const int result = get(isNull ? nullptr : &value);
    sight.value = static_cast<uint64>(value);
    return result;
}

template <class Stream>
int Call(Stream& stream, const BitsCall& call, uint8* memory, Sight& sight) {
    const auto number = static_cast<int>(call.number);
    switch (call.kind) {
    case Kind::InitBuffer:
        return stream.InitBuffer(call.isNull ? nullptr : memory + call.number, call.value);
    case Kind::ReFill:
        return stream.ReFill();
    case Kind::Flush:
        stream.Flush();
        return 1;
    case Kind::GetBit:
        return Fetch<int>(sight, call.isNull, [&](int* to) { return stream.GetBit(to); });
    case Kind::GetBits:
        return Fetch<uint32>(sight, call.isNull, [&](uint32* to) { return stream.GetBits(to, number); });
    case Kind::GetBYTE:
        return Fetch<uint8>(sight, call.isNull, [&](uint8* to) { return stream.GetBYTE(to); });
    case Kind::GetWORD:
        return Fetch<uint16>(sight, call.isNull, [&](uint16* to) { return stream.GetWORD(to); });
    case Kind::GetDWORD:
        return Fetch<uint32>(sight, call.isNull, [&](uint32* to) { return stream.GetDWORD(to); });
    case Kind::PutBit:
        return stream.PutBit(number);
    case Kind::PutBits:
        return stream.PutBits(call.value, number);
    case Kind::PutBYTE:
        return stream.PutBYTE(static_cast<uint8>(call.value));
    case Kind::PutWORD:
        return stream.PutWORD(static_cast<uint16>(call.value));
    case Kind::PutDWORD:
        return stream.PutDWORD(call.value);
    case Kind::GetBytePtr:
        sight.value = static_cast<uint64>(OffsetOf(stream.GetBytePtr(number), memory));
        return 1;
    case Kind::SeekBytePtr:
        return stream.SeekBytePtr(number);
    case Kind::SetBytePtrPos:
        return stream.SetBytePtrPos(number);
    case Kind::SeekBitsPtr:
        return stream.SeekBitsPtr(number);
    case Kind::SetBitsPtr:
        return stream.SetBitsPtr(call.value);
    case Kind::AlignCurBytes:
        stream.AlignCurBytes();
        return 1;
    case Kind::StartCRC:
        stream.StartCRC();
        return 1;
    case Kind::StopCRC:
        stream.StopCRC();
        return 1;
    case Kind::Change:
        memory[call.number] = static_cast<uint8>(call.value);
        return 1;
    }
    return -1;
}

template <class Stream>
Sight CallAndLook(Stream& stream, const BitsCall& call, uint8* memory) {
    Sight sight;
    sight.result = Call(stream, call, memory, sight);
    sight.current = OffsetOf(stream.GetCurBytePtr(), memory);
    sight.bytesPos = stream.GetCurBytesPos();
    sight.bitsPos = stream.GetCurBitsPos();
    sight.size = stream.GetBufferSize();
    sight.isAligned = stream.IsAligned();
    sight.crc = stream.GetCRCResult();
    return sight;
}

} // namespace

BitsStreamPair::BitsStreamPair(uint8* memory, std::size_t bytes)
    : m_memory(memory), m_bytes(bytes), m_modelMemory(memory, memory + bytes) {
    m_modelMemory.push_back(0x5A);
}

bool BitsStreamPair::Do(const BitsCall& call) {
    m_last.push_back(call);
    if (m_last.size() > kCallsShown) {
        m_last.pop_front();
    }
    if (call.kind == Kind::InitBuffer) {
        m_bufferOffset = static_cast<std::size_t>(call.number);
    }
    const Sight wanted = CallAndLook(m_model, call, m_modelMemory.data());
    const Sight given = CallAndLook(m_stream, call, m_memory);
    if (given != wanted) {
        return Fail("stream: " + TextOf(given) + "\nmodel:  " + TextOf(wanted));
    }
    if (std::memcmp(m_memory, m_modelMemory.data(), m_bytes) != 0) {
        std::size_t at = 0;
        while (m_memory[at] == m_modelMemory[at]) {
            ++at;
        }
        char text[100];
        std::snprintf(text, sizeof text, "byte %zu of the memory is %02X instead of %02X", at, m_memory[at],
                      m_modelMemory[at]);
        return Fail(text);
    }
    return true;
}

bool BitsStreamPair::Fail(const std::string& difference) const {
    std::string calls;
    for (const BitsCall& call : m_last) {
        calls += "\n  " + TextOf(call);
    }
    ADD_FAILURE() << difference << "\nafter" << calls;
    return false;
}

// ---- Random calls -------------------------------------------------------------------------------------

namespace {

constexpr int64 kLeast = std::numeric_limits<int>::min();
constexpr int64 kMost = std::numeric_limits<int>::max();

int64 Within(int64 number) {
    return number < kLeast ? kLeast : number > kMost ? kMost : number;
}

// Now and then a number that no sum survives.
int64 OrExtreme(stress::Random& random, int64 number) {
    if (random.OneIn(25)) {
        return random.Of<int64>({kLeast, kLeast + 1, -1, 0, kMost - 1, kMost});
    }
    return Within(number);
}

class CallMaker {
public:
    CallMaker(BitsStreamPair& pair, stress::Random& random, const BitsMix& mix)
        : m_pair(pair), m_random(random), m_mix(mix) {}

    BitsCall NewBuffer() {
        if (!m_mix.anyBuffer) {
            return {Kind::InitBuffer, false, static_cast<int64>(m_pair.BufferOffset()), Size()};
        }
        const uint32 size = m_random.OneIn(30) ? 0 : 1 + m_random.Below(m_mix.longestBuffer);
        // One byte stays behind it, which is there for who goes to the end and reads on.
        const auto places = static_cast<uint32>(m_pair.Bytes()) - size;
        return {Kind::InitBuffer, m_random.OneIn(40), int64{m_random.Below(places)}, size};
    }

    BitsCall Next() {
        if (m_random.OneIn(m_mix.alignsOneIn)) {
            return {Kind::AlignCurBytes};
        }
        const uint32 part = m_random.Below(100);
        if (part < 40) {
            return Read();
        }
        if (part < 70 && m_mix.writes) {
            return Write();
        }
        if (part < 90) {
            return Move();
        }
        return Other();
    }

private:
    uint32 Size() const { return m_pair.Model().GetBufferSize(); }

    int64 Count() { return m_random.OneIn(50) ? m_random.Between(41, 700) : m_random.Between(-1, 40); }

    BitsCall Read() {
        const auto kind = m_random.Of<Kind>({Kind::GetBit, Kind::GetBits, Kind::GetBits, Kind::GetBits,
                                             Kind::GetBits, Kind::GetBYTE, Kind::GetWORD, Kind::GetDWORD});
        // A null value: nothing is taken where the bits are not looked at.
        const bool isBehind = !m_mix.readsBehind && m_pair.Model().IsBehindBySeek();
        const bool isNull = m_random.OneIn(8) || isBehind;
        if (isNull && isBehind && (kind == Kind::GetBYTE || kind == Kind::GetWORD)) {
            return {Kind::GetBits, true, Count()};
        }
        return {kind, isNull, kind == Kind::GetBits ? Count() : 0};
    }

    BitsCall Write() {
        const auto value = static_cast<uint32>(m_random.Next());
        switch (m_random.Below(8)) {
        case 0:
            return {Kind::PutBit, false, m_random.Of<int64>({0, 1, -1, 2, 256, kLeast})};
        case 1:
            return {Kind::PutBYTE, false, 0, value};
        case 2:
            return {Kind::PutWORD, false, 0, value};
        case 3:
            return {Kind::PutDWORD, false, 0, value};
        case 4:
            return {Kind::Flush};
        default:
            break;
        }
        const int64 count = Count();
        const bool isClean = m_random.OneIn(2) && count >= 0 && count < 32;
        return {Kind::PutBits, false, count, isClean ? value & ((uint32{1} << count) - 1) : value};
    }

    BitsCall Move() {
        const int64 size = Size();
        const int64 index = m_pair.Model().GetCurBytesPos();
        const int64 position = m_pair.Model().GetCurBitsPos();
        switch (m_random.Below(4)) {
        case 0: {
            const int64 target = m_random.OneIn(4) ? size : m_random.Between(-2, size + 2);
            return {Kind::SeekBytePtr, false, OrExtreme(m_random, target - index)};
        }
        case 1:
            return {Kind::SetBytePtrPos, false, OrExtreme(m_random, m_random.Between(-2, size + 2))};
        case 2: {
            const int64 target = m_random.OneIn(4) ? size * 8 : m_random.Between(-2, size * 8 + 2);
            return {Kind::SeekBitsPtr, false, OrExtreme(m_random, target - position)};
        }
        default: {
            const int64 target =
                m_random.OneIn(3) ? position + m_random.Between(-1, 1) : m_random.Between(0, size * 8 + 9);
            return {Kind::SetBitsPtr, false, 0, static_cast<uint32>(OrExtreme(m_random, target))};
        }
        }
    }

    BitsCall Other() {
        switch (m_random.Below(8)) {
        case 0:
        case 1:
            return {Kind::StartCRC};
        case 2:
            return {Kind::StopCRC};
        case 3:
            return {Kind::Flush};
        case 4:
            return {Kind::GetBytePtr, false, OrExtreme(m_random, m_random.Between(-3, int64{Size()} + 3))};
        case 5:
            return {Kind::ReFill};
        default:
            break;
        }
        if (!m_mix.writes || Size() == 0) {
            return {Kind::Flush};
        }
        const auto at = static_cast<int64>(m_pair.BufferOffset()) + m_random.Below(Size());
        return {Kind::Change, false, at, static_cast<uint32>(m_random.Below(256))};
    }

    BitsStreamPair& m_pair;
    stress::Random& m_random;
    const BitsMix& m_mix;
};

} // namespace

void DoRandomCalls(BitsStreamPair& pair, stress::Random& random, const BitsMix& mix, int calls) {
    CallMaker maker(pair, random, mix);
    for (int i = 0; i < calls; ++i) {
        const BitsCall call = random.OneIn(150) ? maker.NewBuffer() : maker.Next();
        if (!pair.Do(call)) {
            return;
        }
    }
}

namespace {

uint64 NumberFrom(const char* variable, uint64 otherwise) {
    const char* const text = std::getenv(variable);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 0);
}

} // namespace

SeedRange RandomSeeds(uint64 wanted) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    wanted = (wanted + 9) / 10;
#endif
    return {NumberFrom("VXC_RANDOM_SEED", 1), NumberFrom("VXC_RANDOM_SEQUENCES", wanted)};
}

} // namespace vxcio::test
