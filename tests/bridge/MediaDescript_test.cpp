#include "bridge/MediaDescriptStreams.h"

using namespace vxcio;
using namespace vxcio::test;

namespace {

// Stores it into spaces that end anywhere; what stands in each is as many of the values as have room.
void StoreCutAnywhere(SMediaDescript& source, const Bytes& whole, const std::vector<std::size_t>& ends) {
    for (std::size_t capacity = 0; capacity < whole.size(); ++capacity) {
        SCOPED_TRACE(capacity);
        std::size_t end = 0;
        for (const std::size_t other : ends) {
            end = other <= capacity ? other : end;
        }
        const auto store = [&](auto stream, Bytes& bytes) {
            stream << source;
            EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
            EXPECT_EQ(stream.m_dwPosition, end);
            Bytes expected(whole.begin(), whole.begin() + static_cast<int>(end));
            expected.resize(capacity, 0xEE);
            EXPECT_EQ(bytes, expected);
        };
        Bytes plain(capacity, 0xEE);
        store(StreamOver(plain.data(), capacity, VXC_SERIALIZE_STORE), plain);
        Bytes watched(capacity, 0xEE);
        store(StreamOver<WatchingStream>(watched.data(), capacity, VXC_SERIALIZE_STORE), watched);
        ASSERT_FALSE(testing::Test::HasFailure());
    }
}

// Where the values of a description end, the type first.
std::vector<std::size_t> EndsOf(const std::vector<Slot>& slots) {
    std::vector<std::size_t> ends = {0, 5};
    for (const Slot& slot : slots) {
        ends.push_back(ends.back() + StreamOf({slot}).size());
    }
    return ends;
}

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

TEST_F(MediaDescriptTest, APayloadWithoutARecordIsOneOfZeros) {
    SMediaDescriptFiles files{};
    SMediaDescript source{kFiles, nullptr, 0};
    EXPECT_EQ(Stored(source), StreamOfType(kFiles, files));
    SMediaDescriptExtra payload{};
    source.type = kExtra;
    EXPECT_EQ(Stored(source), StreamOfType(kExtra, payload));
}

TEST_F(MediaDescriptTest, ASpaceThatEndsAnywhereTakesTheValuesOfFilesThatFit) {
    auto files = Random<SMediaDescriptFiles>(6);
    SMediaDescript source = DescriptOf(kFiles, files);
    StoreCutAnywhere(source, StreamOfType(kFiles, files), EndsOf(SlotsOf(files)));
}

TEST_F(MediaDescriptTest, ASpaceThatEndsAnywhereTakesTheValuesOfExtraThatFit) {
    auto payload = Random<SMediaDescriptExtra>(7);
    Bytes extra(kPayload);
    payload.extra = extra.data();
    payload.extraSize = 7;
    SMediaDescript source = DescriptOf(kExtra, payload);
    Bytes whole = StreamOfType(kExtra, payload);
    std::vector<std::size_t> ends = EndsOf(SlotsOf(payload));
    ASSERT_EQ(ends.back(), whole.size());
    PutBlock(whole, extra.data(), extra.size());
    ends.push_back(whole.size());
    StoreCutAnywhere(source, whole, ends);
    EXPECT_EQ(payload.extraSize, 7u);
}

TEST_F(MediaDescriptTest, ASpaceThatEndsAnywhereTakesTheBytesWholeOrNotAtAll) {
    Bytes data(kPayload);
    SMediaDescript source{kBytes, data.data(), 7};
    const Bytes whole = Stored(source);
    ASSERT_EQ(whole.size(), 5u + 5 + 6 + 7);
    StoreCutAnywhere(source, whole, {0, 5, 10});
}

TEST_F(MediaDescriptTest, AStreamOnTopSeesEachNumberOfADescriptionOnceInBothDirections) {
    auto payload = Random<SMediaDescriptExtra>(8);
    Bytes extra(kPayload);
    payload.extra = extra.data();
    payload.extraSize = 7;
    std::vector<std::pair<char, unsigned long long>> expected = {{'l', 3}};
    for (const Slot& slot : SlotsOf(payload)) {
        if (slot.tag != 'b') {
            expected.emplace_back(slot.tag, ValueOf(slot));
        }
    }
    SMediaDescript source = DescriptOf(kExtra, payload);
    Bytes bytes(4000);
    auto stored = StreamOver<WatchingStream>(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stored << source;
    EXPECT_EQ(stored.seen, expected);
    auto loaded = StreamOver<WatchingStream>(bytes.data(), stored.m_dwPosition, VXC_SERIALIZE_LOAD);
    loaded >> record;
    EXPECT_EQ(loaded.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(loaded.seen, expected);
    const Memory owned(Taken<SMediaDescriptExtra>().extra);
}
