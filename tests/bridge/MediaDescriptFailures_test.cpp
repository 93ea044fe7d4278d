// Descriptions from streams that are cut, wrong or hostile.
#include "bridge/MediaDescriptStreams.h"
#include "support/MemoryLack.h"

#include <algorithm>
#include <cstring>
#include <new>

using namespace vxcio;
using namespace vxcio::test;

namespace {

using MediaDescriptFailuresTest = MediaDescriptTest;

// The attachment of a payload that has one.
unsigned char* ExtraOf(const SMediaDescriptFiles& /*payload*/) {
    return nullptr;
}

unsigned char* ExtraOf(const SMediaDescriptExtra& payload) {
    return payload.extra;
}

// Reads it as a model does; true where there is to be memory for it.
bool ReadExtra(ModelReader& /*model*/, SMediaDescriptFiles& /*payload*/) {
    return false;
}

bool ReadExtra(ModelReader& model, SMediaDescriptExtra& payload) {
    if (payload.extraSize == 0) {
        return false;
    }
    const unsigned char* block = nullptr;
    uint32 count = 0;
    model.Block(block, count);
    payload.extraSize = count;
    return true;
}

// What a stream with a payload of `type` gives, wherever it ends.
template <class Payload>
void ReadCutAnywhere(EPlugValue type, const Bytes& whole) {
    for (std::size_t length = 5; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        const Bytes bytes(whole.begin(), whole.begin() + static_cast<int>(length));
        Payload expected{};
        const std::vector<Slot> slots = SlotsOf(expected);
        ModelReader model(bytes.data(), bytes.size());
        // The enumeration behind the type takes the type where it cannot be read: they share the temporary.
        unsigned long long temporary = 0;
        model.Through(temporary);
        model.Read({slots[0]});
        expected.value1 = EPlugValue{static_cast<int32>(model.Through(temporary))};
        model.Read(std::vector<Slot>(slots.begin() + 2, slots.end()));
        const bool hasExtra = ReadExtra(model, expected);

        WatchingStream watching = StreamOver<WatchingStream>(bytes.data(), length, VXC_SERIALIZE_LOAD);
        CVXCSerialize plain = StreamOver(bytes.data(), length, VXC_SERIALIZE_LOAD);
        for (CVXCSerialize* const stream : {&plain, static_cast<CVXCSerialize*>(&watching)}) {
            SMediaDescript record{EPlugValue{}, &g_untouched, kOldSize};
            *stream >> record;
            ASSERT_NE(record.data, &g_untouched);
            ASSERT_NE(record.data, nullptr);
            const Memory memory(record.data);
            Payload taken;
            std::memcpy(&taken, record.data, sizeof taken);
            const Memory extra(ExtraOf(taken));
            ASSERT_EQ(extra != nullptr, hasExtra);
            ASSERT_EQ(record.type, type);
            ASSERT_EQ(record.size, kOldSize);
            ASSERT_EQ(Differences(slots, SlotsOf(taken), nullptr), "");
            ASSERT_EQ(stream->m_nError, model.error);
            ASSERT_EQ(stream->m_dwPosition, model.position);
        }
    }
}

} // namespace

TEST_F(MediaDescriptFailuresTest, MoreBytesThanToldDoNotGoBehindThePlace) {
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

TEST_F(MediaDescriptFailuresTest, FewerBytesThanToldLeaveTheRestOfThePlace) {
    Bytes bytes = {0x6C, 2, 0, 0, 0, 0x6C, 9, 0, 0, 0};
    PutBlock(bytes, kPayload.data(), kPayload.size());
    Bytes room(9, 0xEE);
    record.data = room.data();
    Read(bytes);
    EXPECT_EQ(room, Bytes({1, 2, 3, 4, 5, 6, 7, 0xEE, 0xEE}));
    EXPECT_EQ(record.size, 9u);
}

TEST_F(MediaDescriptFailuresTest, BytesForNoPlaceArePassedOver) {
    Bytes bytes = {0x6C, 2, 0, 0, 0, 0x6C, 7, 0, 0, 0};
    PutBlock(bytes, kPayload.data(), kPayload.size());
    record.data = nullptr;
    Read(bytes);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(stream.m_dwPosition, bytes.size());
    EXPECT_EQ(record.data, nullptr);
    EXPECT_EQ(record.size, 7u);
}

TEST_F(MediaDescriptFailuresTest, ABlockOfBytesThatFailsLeavesSizeAndPlace) {
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

TEST_F(MediaDescriptFailuresTest, AnOldSizeIsActedOnWhereNoneCanBeRead) {
    const Bytes bytes = {0x6C, 2, 0, 0, 0};
    record.size = 0;
    Read(bytes);
    EXPECT_EQ(record.data, nullptr);
    record = {EPlugValue{}, &g_untouched, kOldSize};
    Read(bytes);
    EXPECT_EQ(record.data, &g_untouched);
    EXPECT_EQ(record.size, kOldSize);
}

TEST_F(MediaDescriptFailuresTest, ATypeThatCannotBeReadIsNone) {
    record.type = kFiles;
    Read({0x71, 1, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_WRONG_TAG);
    EXPECT_EQ(record.type, 0);
    EXPECT_EQ(record.data, &g_untouched);
}

TEST_F(MediaDescriptFailuresTest, FilesThatAreCutAnywhereGiveWhatTheyHave) {
    auto files = Random<SMediaDescriptFiles>(4);
    ReadCutAnywhere<SMediaDescriptFiles>(kFiles, StreamOfType(kFiles, files));
}

TEST_F(MediaDescriptFailuresTest, ExtraThatIsCutAnywhereGivesWhatItHas) {
    auto payload = Random<SMediaDescriptExtra>(5);
    payload.extraSize = 7;
    Bytes whole = StreamOfType(kExtra, payload);
    PutBlock(whole, kPayload.data(), kPayload.size());
    ReadCutAnywhere<SMediaDescriptExtra>(kExtra, whole);
}

TEST_F(MediaDescriptFailuresTest, AnExtraBlockThatFailsLeavesMemoryAndNoSize) {
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

TEST_F(MediaDescriptFailuresTest, TheCountOfTheExtraBlockIsItsSize) {
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

TEST_F(MediaDescriptFailuresTest, NamesTakeNoMoreThanTheirRoomAndMayTakeLess) {
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

TEST_F(MediaDescriptFailuresTest, WhereMemoryLacksNothingIsLeft) {
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
