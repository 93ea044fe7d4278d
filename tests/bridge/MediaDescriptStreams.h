// MediaDescriptStreams.h - descriptions and their streams, for tests.
#pragma once

#include "bridge/RecordsStreams.h"

#include <cstring>

namespace vxcio::test {

inline constexpr EPlugValue kFiles{1};
inline constexpr EPlugValue kBytes{2};
inline constexpr EPlugValue kExtra{3};
inline constexpr uint32 kOldSize = 4321;
inline const Bytes kPayload = {1, 2, 3, 4, 5, 6, 7};

// The stream of a description: the type, and behind it what its slots tell.
template <class Payload>
Bytes StreamOfType(EPlugValue type, Payload& payload) {
    Bytes stream;
    PutNumber(stream, 'l', static_cast<uint32>(type));
    const Bytes behind = StreamOf(SlotsOf(payload));
    stream.insert(stream.end(), behind.begin(), behind.end());
    return stream;
}

inline Bytes Stored(SMediaDescript& record, std::size_t capacity = 4000, int error = VXC_SERIALIZE_OK) {
    Bytes bytes(capacity);
    auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stream << record;
    EXPECT_EQ(stream.m_nError, error);
    bytes.resize(stream.m_dwPosition);
    return bytes;
}

template <class Payload>
SMediaDescript DescriptOf(EPlugValue type, Payload& payload) {
    return {type, reinterpret_cast<unsigned char*>(&payload), kOldSize};
}

template <class Payload>
Payload Random(unsigned int seed) {
    Payload payload{};
    Bytes none;
    std::mt19937 random(seed);
    Fill(SlotsOf(payload), random, none);
    return payload;
}

struct MediaDescriptTest : ::testing::Test {
    void Read(const Bytes& bytes) {
        const Bytes exact(bytes);
        stream = StreamOver(exact.data(), exact.size(), VXC_SERIALIZE_LOAD);
        stream >> record;
    }
    // The payload that was read, whose memory is freed at the end of the test.
    template <class Payload>
    Payload Taken() {
        memory.reset(record.data);
        Payload payload;
        std::memcpy(&payload, record.data, sizeof payload);
        return payload;
    }

    SMediaDescript record{EPlugValue{}, &g_untouched, kOldSize};
    CVXCSerialize stream;
    Memory memory;
};

} // namespace vxcio::test
