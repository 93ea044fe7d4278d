#include "bridge/RecordsStreams.h"
#include "support/MemoryLack.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr EPlugValue kFiles{1};
constexpr EPlugValue kBytes{2};
constexpr EPlugValue kExtra{3};
constexpr uint32 kOldSize = 4321;
const Bytes kPayload = {1, 2, 3, 4, 5, 6, 7};

struct Freed {
    void operator()(unsigned char* memory) const { SerilizeFree(memory); }
};
using Memory = std::unique_ptr<unsigned char, Freed>;

// The stream of a description: the type, and behind it what its slots tell.
template <class Payload>
Bytes StreamOfType(EPlugValue type, Payload& payload) {
    Bytes stream;
    PutNumber(stream, 'l', static_cast<uint32>(type));
    const Bytes behind = StreamOf(SlotsOf(payload));
    stream.insert(stream.end(), behind.begin(), behind.end());
    return stream;
}

Bytes Stored(SMediaDescript& record, std::size_t capacity = 4000, int error = VXC_SERIALIZE_OK) {
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

} // namespace

TEST_F(MediaDescriptTest, FilesTravelWhole) {
    auto files = Random<SMediaDescriptFiles>(1);
    SMediaDescript source = DescriptOf(kFiles, files);
    const Bytes bytes = Stored(source);
    EXPECT_EQ(bytes.size(), 2124u);
    EXPECT_EQ(bytes, StreamOfType(kFiles, files));
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(record.type, kFiles);
    EXPECT_EQ(record.size, kOldSize); // is left alone
    auto taken = Taken<SMediaDescriptFiles>();
    EXPECT_EQ(Differences(SlotsOf(files), SlotsOf(taken), nullptr), "");
}

TEST_F(MediaDescriptTest, ExtraTravelsWithItsBytes) {
    auto payload = Random<SMediaDescriptExtra>(2);
    Bytes extra(kPayload);
    payload.extra = extra.data();
    payload.extraSize = 7;
    SMediaDescript source = DescriptOf(kExtra, payload);
    const Bytes bytes = Stored(source);
    EXPECT_EQ(bytes.size(), 1603u + 6 + 7);
    Bytes expected = StreamOfType(kExtra, payload);
    PutBlock(expected, extra.data(), extra.size());
    EXPECT_EQ(bytes, expected);
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(record.size, kOldSize);
    auto taken = Taken<SMediaDescriptExtra>();
    const Memory owned(taken.extra);
    EXPECT_EQ(Differences(SlotsOf(payload), SlotsOf(taken), nullptr), "");
    EXPECT_EQ(Bytes(taken.extra, taken.extra + taken.extraSize), kPayload);
}

TEST_F(MediaDescriptTest, ExtraWithoutBytesHasNullBehindIt) {
    auto payload = Random<SMediaDescriptExtra>(2);
    payload.extraSize = 0;
    payload.extra = &g_untouched;
    SMediaDescript source = DescriptOf(kExtra, payload);
    const Bytes bytes = Stored(source);
    EXPECT_EQ(bytes.size(), 1603u);
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    const auto taken = Taken<SMediaDescriptExtra>();
    EXPECT_EQ(taken.extra, nullptr);
    EXPECT_EQ(taken.extraSize, 0u);
}

TEST_F(MediaDescriptTest, AnExtraSizeWithoutExtraIsZeroedInTheSourceToo) {
    auto payload = Random<SMediaDescriptExtra>(3);
    payload.extraSize = 44;
    payload.extra = nullptr;
    SMediaDescript source = DescriptOf(kExtra, payload);
    const Bytes bytes = Stored(source);
    EXPECT_EQ(payload.extraSize, 0u);
    EXPECT_EQ(bytes.size(), 1603u);
    EXPECT_EQ(Bytes(bytes.end() - 5, bytes.end()), Bytes({0x6C, 0, 0, 0, 0}));
}

TEST_F(MediaDescriptTest, BytesGoToWhereDataPoints) {
    Bytes payload(kPayload);
    SMediaDescript source{kBytes, payload.data(), 7};
    const Bytes bytes = Stored(source);
    const Bytes expected = {0x6C, 2, 0, 0, 0, 0x6C, 7, 0, 0, 0, 0x62, 0x6C, 7, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(bytes, expected);
    Bytes room(7);
    record.data = room.data();
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(record.data, room.data());
    EXPECT_EQ(record.size, 7u);
    EXPECT_EQ(room, kPayload);
}

TEST_F(MediaDescriptTest, NoBytesHaveNoBlockAndGiveNull) {
    SMediaDescript source{kBytes, &g_untouched, 0};
    const Bytes bytes = Stored(source);
    EXPECT_EQ(bytes.size(), 10u);
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(record.data, nullptr);
    EXPECT_EQ(record.size, 0u);
}

TEST_F(MediaDescriptTest, ASizeWithoutDataIsStoredWithoutABlock) {
    SMediaDescript source{kBytes, nullptr, 7};
    EXPECT_EQ(Stored(source).size(), 10u);
    EXPECT_EQ(source.size, 7u);
}

TEST_F(MediaDescriptTest, MoreBytesThanToldDoNotGoBehindThePlace) {
    Bytes bytes = {0x6C, 2, 0, 0, 0, 0x6C, 3, 0, 0, 0};
    PutBlock(bytes, kPayload.data(), kPayload.size());
    Bytes room(3);
    record.data = room.data();
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(stream.m_dwPosition, bytes.size());
    EXPECT_EQ(room, Bytes({1, 2, 3}));
    EXPECT_EQ(record.size, 3u);
}

TEST_F(MediaDescriptTest, FewerBytesThanToldLeaveTheRestOfThePlace) {
    Bytes bytes = {0x6C, 2, 0, 0, 0, 0x6C, 9, 0, 0, 0};
    PutBlock(bytes, kPayload.data(), kPayload.size());
    Bytes room(9, 0xEE);
    record.data = room.data();
    Read(bytes);
    EXPECT_EQ(room, Bytes({1, 2, 3, 4, 5, 6, 7, 0xEE, 0xEE}));
    EXPECT_EQ(record.size, 9u);
}

TEST_F(MediaDescriptTest, BytesForNoPlaceArePassedOver) {
    Bytes bytes = {0x6C, 2, 0, 0, 0, 0x6C, 7, 0, 0, 0};
    PutBlock(bytes, kPayload.data(), kPayload.size());
    record.data = nullptr;
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(stream.m_dwPosition, bytes.size());
    EXPECT_EQ(record.data, nullptr);
    EXPECT_EQ(record.size, 7u);
}

TEST_F(MediaDescriptTest, ABlockOfBytesThatFailsLeavesSizeAndPlace) {
    Bytes bytes = {0x6C, 2, 0, 0, 0, 0x6C, 7, 0, 0, 0};
    PutBlock(bytes, kPayload.data(), kPayload.size());
    bytes.pop_back();
    Bytes room(7, 0xEE);
    record.data = room.data();
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
    EXPECT_EQ(room, Bytes(7, 0xEE));
    EXPECT_EQ(record.size, 7u);
}

TEST_F(MediaDescriptTest, AnOldSizeIsActedOnWhereNoneCanBeRead) {
    const Bytes bytes = {0x6C, 2, 0, 0, 0};
    record.size = 0;
    Read(bytes);
    EXPECT_EQ(record.data, nullptr);
    record = {EPlugValue{}, &g_untouched, kOldSize};
    Read(bytes);
    EXPECT_EQ(record.data, &g_untouched);
    EXPECT_EQ(record.size, kOldSize);
}

TEST_F(MediaDescriptTest, OtherTypesAreFiveBytesAndLeaveTheRecordAlone) {
    for (const int32 type : {0, 4, -1, 0x7FFFFFFF}) {
        SMediaDescript source{EPlugValue{type}, nullptr, 99};
        Bytes expected;
        PutNumber(expected, 'l', static_cast<uint32>(type));
        EXPECT_EQ(Stored(source), expected);
        Read(expected);
        EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
        EXPECT_EQ(record.type, type);
        EXPECT_EQ(record.data, &g_untouched);
        EXPECT_EQ(record.size, kOldSize);
    }
}

TEST_F(MediaDescriptTest, ATypeThatCannotBeReadIsNone) {
    record.type = kFiles;
    Read({0x71, 1, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_WRONG_TAG);
    EXPECT_EQ(record.type, 0);
    EXPECT_EQ(record.data, &g_untouched);
}

TEST_F(MediaDescriptTest, APayloadWithoutARecordIsOneOfZeros) {
    SMediaDescriptFiles files{};
    SMediaDescript source{kFiles, nullptr, 0};
    EXPECT_EQ(Stored(source), StreamOfType(kFiles, files));
    SMediaDescriptExtra payload{};
    source.type = kExtra;
    EXPECT_EQ(Stored(source), StreamOfType(kExtra, payload));
}

// The enumeration behind the type takes the type itself where it cannot be read: they share the temporary.
template <class Payload>
void ReadCutAnywhere(EPlugValue type, const Bytes& whole) {
    for (std::size_t length = 5; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        const Bytes bytes(whole.begin(), whole.begin() + static_cast<int>(length));
        Payload expected{};
        const std::vector<Slot> slots = SlotsOf(expected);
        ModelReader model(bytes.data(), bytes.size());
        unsigned long long temporary = 0;
        model.Through(temporary);
        model.Read({slots[0]});
        expected.value1 = EPlugValue{static_cast<int32>(model.Through(temporary))};
        model.Read(std::vector<Slot>(slots.begin() + 2, slots.end()));

        for (const bool watched : {false, true}) {
            WatchingStream watching = StreamOver<WatchingStream>(bytes.data(), length, VXC_SERIALIZE_LOAD);
            CVXCSerialize plain = StreamOver(bytes.data(), length, VXC_SERIALIZE_LOAD);
            CVXCSerialize& stream = watched ? watching : plain;
            SMediaDescript record{EPlugValue{}, &g_untouched, kOldSize};
            stream >> record;
            ASSERT_NE(record.data, &g_untouched);
            ASSERT_NE(record.data, nullptr);
            const Memory memory(record.data);
            Payload taken;
            std::memcpy(&taken, record.data, sizeof taken);
            if constexpr (std::is_same_v<Payload, SMediaDescriptExtra>) {
                const Memory extra(taken.extra);
                ASSERT_EQ(taken.extra != nullptr, expected.extraSize != 0);
                if (expected.extraSize != 0) { // it could be read: is the block there?
                    taken.extraSize = length == whole.size() ? taken.extraSize : taken.extraSize + 7;
                    const unsigned char* block = nullptr;
                    uint32 count = 0;
                    model.Block(block, count);
                }
            }
            ASSERT_EQ(record.type, type);
            ASSERT_EQ(record.size, kOldSize);
            ASSERT_EQ(Differences(slots, SlotsOf(taken), nullptr), "");
            ASSERT_EQ(stream.m_nError, length == whole.size() ? VXC_SERIALIZE_OK : VXC_SERIALIZE_NO_SPACE);
        }
    }
}

TEST(MediaDescriptCutTest, FilesThatAreCutAnywhereGiveWhatTheyHave) {
    auto files = Random<SMediaDescriptFiles>(4);
    ReadCutAnywhere<SMediaDescriptFiles>(kFiles, StreamOfType(kFiles, files));
}

TEST(MediaDescriptCutTest, ExtraThatIsCutAnywhereGivesWhatItHas) {
    auto payload = Random<SMediaDescriptExtra>(5);
    payload.extraSize = 7;
    Bytes whole = StreamOfType(kExtra, payload);
    PutBlock(whole, kPayload.data(), kPayload.size());
    ReadCutAnywhere<SMediaDescriptExtra>(kExtra, whole);
}

TEST_F(MediaDescriptTest, AnExtraBlockThatFailsLeavesMemoryAndNoSize) {
    auto payload = Random<SMediaDescriptExtra>(5);
    for (const uint32 told : {1u, 0xFFFFFFFFu}) {
        payload.extraSize = told;
        Read(StreamOfType(kExtra, payload)); // ends where the block should begin
        EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
        const auto taken = Taken<SMediaDescriptExtra>();
        const Memory extra(taken.extra);
        EXPECT_NE(taken.extra, nullptr);
        EXPECT_EQ(taken.extraSize, 0u);
    }
}

TEST_F(MediaDescriptTest, TheCountOfTheExtraBlockIsItsSize) {
    auto payload = Random<SMediaDescriptExtra>(5);
    for (const uint32 told : {1u, 6u, 8u, 0xFFFFFFFFu}) {
        payload.extraSize = told;
        Bytes bytes = StreamOfType(kExtra, payload);
        PutBlock(bytes, kPayload.data(), kPayload.size());
        Read(bytes);
        EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
        const auto taken = Taken<SMediaDescriptExtra>();
        const Memory extra(taken.extra);
        EXPECT_EQ(Bytes(taken.extra, taken.extra + taken.extraSize), kPayload);
    }
}

TEST_F(MediaDescriptTest, NamesTakeNoMoreThanTheirRoomAndMayTakeLess) {
    SMediaDescriptFiles files{};
    const std::vector<Slot> slots = SlotsOf(files);
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{519}, std::size_t{521},
                                    std::size_t{1040}, std::size_t{3000}}) {
        const Bytes name(count, 0xAB);
        Bytes bytes;
        PutNumber(bytes, 'l', 1);
        PutNumber(bytes, 'l', 10);
        PutNumber(bytes, 'l', 11);
        PutBlock(bytes, name.data(), count);
        const Bytes rest = StreamOf(std::vector<Slot>(slots.begin() + 3, slots.end()));
        bytes.insert(bytes.end(), rest.begin(), rest.end());
        Read(bytes);
        EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
        EXPECT_EQ(stream.m_dwPosition, bytes.size());
        const auto taken = Taken<SMediaDescriptFiles>();
        Bytes expected(520, 0);
        std::fill_n(expected.begin(), std::min<std::size_t>(count, 520), static_cast<unsigned char>(0xAB));
        EXPECT_EQ(std::memcmp(taken.name0, expected.data(), 520), 0);
        EXPECT_EQ(taken.name1[0], 0);
    }
}

TEST_F(MediaDescriptTest, WhereMemoryLacksNothingIsLeft) {
    auto payload = Random<SMediaDescriptExtra>(5);
    payload.extraSize = 7;
    Bytes bytes = StreamOfType(kExtra, payload);
    PutBlock(bytes, kPayload.data(), kPayload.size());
    for (const int nth : {1, 2}) { // the extra block, the record
        MemoryLack lack(nth);
        EXPECT_THROW(Read(bytes), std::bad_alloc);
        EXPECT_TRUE(lack.Came());
        EXPECT_EQ(record.type, kExtra);
        EXPECT_EQ(record.data, &g_untouched);
        EXPECT_EQ(record.size, kOldSize);
    }
    auto files = Random<SMediaDescriptFiles>(5);
    MemoryLack lack(1);
    EXPECT_THROW(Read(StreamOfType(kFiles, files)), std::bad_alloc);
    EXPECT_EQ(record.data, &g_untouched);
}
