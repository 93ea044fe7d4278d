#include "bridge/RecordsStreams.h"

#include <set>

using namespace vxcio::test;

namespace {

template <class Record>
class RecordsTest : public ::testing::Test {};
TYPED_TEST_SUITE(RecordsTest, RecordTypes, );

// Bytes on the stream of a record without an attachment.
template <class Record>
std::size_t LengthOf() {
    FullRecord<Record> full(1, 0);
    Bytes bytes(4000);
    auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stream << full.record;
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    return stream.m_dwPosition;
}

} // namespace

TEST(RecordSizesTest, EachRecordHasItsLength) {
    EXPECT_EQ(LengthOf<SOutParamLeader>(), 15u);
    EXPECT_EQ(LengthOf<SPlugVideoStreamInfo>(), 135u);
    EXPECT_EQ(LengthOf<SPlugAudioStreamInfo>(), 75u);
    EXPECT_EQ(LengthOf<SPlugSubTitleInfo>(), 35u);
    EXPECT_EQ(LengthOf<SPlugDemuxerReadSet>(), 50u);
    EXPECT_EQ(LengthOf<SPlugLinearTimeCode>(), 110u);
    EXPECT_EQ(LengthOf<SPlugAFDPacket>(), 16u);
    EXPECT_EQ(LengthOf<SPlugAppendInfo_T>(), 10u);
    EXPECT_EQ(LengthOf<SPlugStreamMetaInfo>(), 834u);
    EXPECT_EQ(LengthOf<SPlugStreamInfo>(), 1696u);
    EXPECT_EQ(LengthOf<SPlugFRAMEINFO>(), 256u);
    EXPECT_EQ(LengthOf<SPlugSoftImageBuffer>(), 354u);
}

TYPED_TEST(RecordsTest, EveryFieldStandsAtItsPlaceOnTheWire) {
    FullRecord<TypeParam> full(7);
    const Bytes expected = StreamOf(SlotsOf(full.record));
    Bytes bytes(expected.size() + 20, 0xEE);
    auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    CVXCSerialize& same = stream << full.record;
    EXPECT_EQ(&same, &stream);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    ASSERT_EQ(stream.m_dwPosition, expected.size());
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + stream.m_dwPosition), expected);
    EXPECT_EQ(Bytes(bytes.begin() + stream.m_dwPosition, bytes.end()), Bytes(20, 0xEE));
}

TYPED_TEST(RecordsTest, RandomValuesComeBack) {
    for (unsigned int seed = 1; seed <= 200; ++seed) {
        FullRecord<TypeParam> full(seed, seed % 40);
        Bytes bytes(4000);
        auto stored = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
        stored << full.record;
        auto loaded = StreamOver(bytes.data(), stored.m_dwPosition, VXC_SERIALIZE_LOAD);
        TypeParam record{};
        loaded >> record;
        EXPECT_EQ(loaded.m_nError, VXC_SERIALIZE_OK);
        EXPECT_EQ(loaded.m_dwPosition, stored.m_dwPosition);
        // An attachment that is not there leaves `data` as it was, null here.
        const std::string wrong = Differences(SlotsOf(full.record), SlotsOf(record),
                                              full.attached.empty() ? full.attached.data() : nullptr);
        FreeAttachments(SlotsOf(record), nullptr);
        ASSERT_EQ(wrong, "") << "seed " << seed;
    }
}

TYPED_TEST(RecordsTest, AStreamOnTopSeesEachNumberOnceInBothDirections) {
    FullRecord<TypeParam> full(11);
    std::vector<std::pair<char, unsigned long long>> expected;
    for (const Slot& slot : SlotsOf(full.record)) {
        if (slot.tag != 'b') {
            expected.emplace_back(slot.tag, ValueOf(slot));
        }
    }
    Bytes bytes(4000);
    auto stored = StreamOver<WatchingStream>(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stored << full.record;
    EXPECT_EQ(stored.seen, expected);
    auto loaded = StreamOver<WatchingStream>(bytes.data(), stored.m_dwPosition, VXC_SERIALIZE_LOAD);
    TypeParam record{};
    loaded >> record;
    EXPECT_EQ(loaded.seen, expected);
    FreeAttachments(SlotsOf(record), nullptr);
}

// A stream that changes what passes: what the record and the wire hold is what its operators made of it.
TEST(RecordOperatorsTest, TheOperatorsOfAStreamOnTopHaveTheLastWord) {
    class Negating : public CVXCSerialize {
    public:
        using CVXCSerialize::operator<<;
        CVXCSerialize& operator<<(unsigned int value) noexcept override {
            return CVXCSerialize::operator<<(~value);
        }
    };
    SPlugDemuxerReadSet record{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    Bytes bytes(50);
    auto stream = StreamOver<Negating>(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stream << record;
    Bytes expected;
    for (uint32 value = 1; value <= 10; ++value) {
        PutNumber(expected, 'l', ~value);
    }
    EXPECT_EQ(bytes, expected);
}

TYPED_TEST(RecordsTest, RecordsFollowOneAnotherWithoutGaps) {
    FullRecord<TypeParam> first(21);
    FullRecord<TypeParam> second(22, 0);
    Bytes expected = StreamOf(SlotsOf(first.record));
    const Bytes more = StreamOf(SlotsOf(second.record));
    expected.insert(expected.end(), more.begin(), more.end());
    Bytes bytes(expected.size());
    auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stream << first.record << second.record;
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(bytes, expected);
}

TEST(RecordFrameInfoTest, TheLastOfTheFourTimesTravelsFirst) {
    SPlugFRAMEINFO record{};
    record.time0 = 0x1000000000000000;
    record.time1 = 0x1111111111111111;
    record.time2 = 0x2222222222222222;
    record.time3 = 0x3333333333333333;
    Bytes bytes(256);
    auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stream << record;
    Bytes times;
    PutNumber(times, 'q', record.time3);
    PutNumber(times, 'q', record.time0);
    PutNumber(times, 'q', record.time1);
    PutNumber(times, 'q', record.time2);
    constexpr int kAhead = 6 * 5 + 9 + 5;
    EXPECT_EQ(Bytes(bytes.begin() + kAhead, bytes.begin() + kAhead + 36), times);
    auto loaded = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_LOAD);
    SPlugFRAMEINFO back{};
    loaded >> back;
    EXPECT_EQ(back.time0, record.time0);
    EXPECT_EQ(back.time1, record.time1);
    EXPECT_EQ(back.time2, record.time2);
    EXPECT_EQ(back.time3, record.time3);
}

TEST(RecordImageTest, ThePlanesTravelOneAfterTheOther) {
    SPlugSoftImageBuffer record{};
    for (uint32 i = 0; i < 4; ++i) {
        record.planeA[i] = 0xA0 + i;
        record.planeB[i] = 0xB0 + i;
        record.planeC[i] = 0xC0 + i;
        record.planeD[i] = 0xD0 + i;
        record.planeBlock[i][0] = static_cast<uint8>(0xE0 + i);
        record.planeBlock[i][39] = static_cast<uint8>(0xF0 + i);
    }
    Bytes bytes(354);
    auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stream << record;
    for (std::size_t i = 0; i < 4; ++i) {
        const unsigned char* const plane = bytes.data() + 13 * 5 + i * 66;
        EXPECT_EQ(plane[1], 0xA0 + i);
        EXPECT_EQ(plane[6], 0xB0 + i);
        EXPECT_EQ(plane[11], 0xC0 + i);
        EXPECT_EQ(plane[16], 0xD0 + i);
        EXPECT_EQ(plane[20], 'b');
        EXPECT_EQ(plane[22], 40);
        EXPECT_EQ(plane[26], 0xE0 + i);
        EXPECT_EQ(plane[65], 0xF0 + i);
    }
}

// Values of the model's tables differ from each other, so that no two fields can change places unseen.
TYPED_TEST(RecordsTest, TheFieldsOfTheseTestsDiffer) {
    FullRecord<TypeParam> full(7);
    std::set<unsigned long long> values;
    std::size_t numbers = 0;
    for (const Slot& slot : SlotsOf(full.record)) {
        if (slot.tag == 'l' && slot.kind != Slot::Kind::Digit) {
            values.insert(ValueOf(slot));
            ++numbers;
        }
    }
    EXPECT_EQ(values.size(), numbers);
}
