#include "buffers/BitsStreamPair.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
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

} // namespace vxcio::test
