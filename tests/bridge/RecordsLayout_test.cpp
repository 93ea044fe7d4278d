// Where the fields of the records lie in memory: in the order of declaration, none missing, none between.
// Plug-ins that were compiled elsewhere rest on it.
#include "bridge/Records.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

// Of a field within a record; a type by itself may be aligned to more.
template <class Field>
constexpr std::size_t AlignmentOf() {
    struct Behind {
        char one;
        Field field;
    };
    return sizeof(Behind) - sizeof(Field);
}

constexpr std::size_t RoundedUp(std::size_t offset, std::size_t alignment) {
    return (offset + alignment - 1) / alignment * alignment;
}

// The fields one behind the other, each at the first place that it may have, from the start of the record to
// its end.
template <class Record>
class Walk {
public:
    template <class Field>
    Walk& Then(Field Record::*field) {
        const auto begin = reinterpret_cast<std::uintptr_t>(&m_record);
        const std::size_t offset = reinterpret_cast<std::uintptr_t>(&(m_record.*field)) - begin;
        EXPECT_EQ(offset, RoundedUp(m_end, AlignmentOf<Field>())) << "field " << m_fields;
        m_end = offset + sizeof(Field);
        ++m_fields;
        return *this;
    }
    void End() const { EXPECT_EQ(sizeof(Record), RoundedUp(m_end, AlignmentOf<Record>())); }

private:
    Record m_record{};
    std::size_t m_end = 0;
    int m_fields = 0;
};

template <class Record, class... Fields>
void ExpectInOrder(Fields Record::*... fields) {
    Walk<Record> walk;
    (walk.Then(fields), ...);
    walk.End();
}

// The two words of a time code in which `fill` has set one of its fields to ones.
template <class Fill>
uint64 WordsWith(Fill fill) {
    SPlugLinearTimeCode code = {};
    fill(code);
    uint32 words[2] = {};
    static_assert(sizeof words == sizeof code);
    std::memcpy(words, &code, sizeof words);
    return words[0] | uint64{words[1]} << 32;
}

} // namespace

TEST(RecordsLayoutTest, LeadersLieInTheirOrder) {
    using In = SInParamLeader;
    ExpectInOrder(&In::size, &In::command, &In::commandString);
    using Out = SOutParamLeader;
    ExpectInOrder(&Out::size, &Out::result, &Out::value2);
}

TEST(RecordsLayoutTest, DescriptionsOfStreamsLieInTheirOrder) {
    using Video = SPlugVideoStreamInfo;
    ExpectInOrder(&Video::value0, &Video::value1, &Video::value2, &Video::value3, &Video::value4,
                  &Video::value5, &Video::value6, &Video::value7, &Video::value8, &Video::value9,
                  &Video::value10, &Video::value11, &Video::value12, &Video::value13, &Video::value14,
                  &Video::value15, &Video::value16, &Video::value17, &Video::value18, &Video::value19,
                  &Video::value20, &Video::value21, &Video::value22, &Video::value23, &Video::value24,
                  &Video::value25, &Video::value26);
    using Audio = SPlugAudioStreamInfo;
    ExpectInOrder(&Audio::value0, &Audio::value1, &Audio::value2, &Audio::value3, &Audio::value4,
                  &Audio::value5, &Audio::value6, &Audio::value7, &Audio::value8, &Audio::value9,
                  &Audio::value10, &Audio::value11, &Audio::value12, &Audio::value13, &Audio::value14);
    using SubTitle = SPlugSubTitleInfo;
    ExpectInOrder(&SubTitle::value0, &SubTitle::value1, &SubTitle::value2, &SubTitle::value3,
                  &SubTitle::value4, &SubTitle::value5, &SubTitle::value6);
    using ReadSet = SPlugDemuxerReadSet;
    ExpectInOrder(&ReadSet::value0, &ReadSet::value1, &ReadSet::value2, &ReadSet::value3, &ReadSet::value4,
                  &ReadSet::value5, &ReadSet::value6, &ReadSet::value7, &ReadSet::value8, &ReadSet::value9);
    using Meta = SPlugStreamMetaInfo;
    ExpectInOrder(&Meta::text0, &Meta::text1, &Meta::text2, &Meta::text3, &Meta::value0, &Meta::value1);
    using Stream = SPlugStreamInfo;
    ExpectInOrder(&Stream::value0, &Stream::value1, &Stream::value2, &Stream::value3, &Stream::value4,
                  &Stream::value5, &Stream::value6, &Stream::video, &Stream::value7, &Stream::audio,
                  &Stream::value8, &Stream::value9, &Stream::subTitle, &Stream::value10, &Stream::meta,
                  &Stream::append, &Stream::value11, &Stream::block, &Stream::value12, &Stream::value13,
                  &Stream::value14, &Stream::value15, &Stream::value16);
}

TEST(RecordsLayoutTest, AnAttachmentHasItsPointerAheadOfItsSize) {
    using Append = SPlugAppendInfo_T;
    ExpectInOrder(&Append::type, &Append::data, &Append::size);
}

TEST(RecordsLayoutTest, FieldsOfAFrameLieInTheirOrderWhateverTravelsFirst) {
    using Afd = SPlugAFDPacket;
    ExpectInOrder(&Afd::byte0, &Afd::byte1, &Afd::byte2, &Afd::byte3, &Afd::byte4, &Afd::byte5, &Afd::byte6,
                  &Afd::byte7);
    using Frame = SPlugFRAMEINFO;
    ExpectInOrder(&Frame::value0, &Frame::value1, &Frame::value2, &Frame::value3, &Frame::value4,
                  &Frame::value5, &Frame::value6, &Frame::value7, &Frame::time0, &Frame::time1, &Frame::time2,
                  &Frame::time3, &Frame::value8, &Frame::timeCode, &Frame::value9, &Frame::afd,
                  &Frame::append, &Frame::value10, &Frame::value11, &Frame::value12, &Frame::value13,
                  &Frame::value14, &Frame::value15);
    using Image = SPlugSoftImageBuffer;
    ExpectInOrder(&Image::value0, &Image::value1, &Image::value2, &Image::value3, &Image::value4,
                  &Image::value5, &Image::value6, &Image::value7, &Image::value8, &Image::value9,
                  &Image::value10, &Image::value11, &Image::value12, &Image::planeA, &Image::planeB,
                  &Image::planeBlock, &Image::planeC, &Image::planeD, &Image::value13, &Image::value14,
                  &Image::value15, &Image::value16, &Image::value17);
}

TEST(RecordsLayoutTest, DescriptionsOfMediaLieInTheirOrder) {
    EXPECT_EQ(sizeof(SMediaName), 520u);
    using Media = SMediaDescript;
    ExpectInOrder(&Media::type, &Media::data, &Media::size);
    using Files = SMediaDescriptFiles;
    ExpectInOrder(&Files::value0, &Files::value1, &Files::name0, &Files::name1, &Files::name2, &Files::value2,
                  &Files::name3);
    using Extra = SMediaDescriptExtra;
    ExpectInOrder(&Extra::value0, &Extra::value1, &Extra::name0, &Extra::name1, &Extra::name2, &Extra::value2,
                  &Extra::extraSize, &Extra::extra);
}

TEST(RecordsLayoutTest, DigitsOfATimeCodeLieFromTheLeastBitOn) {
    using Code = SPlugLinearTimeCode;
    EXPECT_EQ(WordsWith([](Code& code) { code.frameUnits = 15; }), 0x0000'000Fu);
    EXPECT_EQ(WordsWith([](Code& code) { code.frameTens = 3; }), 0x0000'0030u);
    EXPECT_EQ(WordsWith([](Code& code) { code.flag6 = 1; }), 0x0000'0040u);
    EXPECT_EQ(WordsWith([](Code& code) { code.flag7 = 1; }), 0x0000'0080u);
    EXPECT_EQ(WordsWith([](Code& code) { code.secondUnits = 15; }), 0x0000'0F00u);
    EXPECT_EQ(WordsWith([](Code& code) { code.secondTens = 7; }), 0x0000'7000u);
    EXPECT_EQ(WordsWith([](Code& code) { code.flag15 = 1; }), 0x0000'8000u);
    EXPECT_EQ(WordsWith([](Code& code) { code.minuteUnits = 15; }), 0x000F'0000u);
    EXPECT_EQ(WordsWith([](Code& code) { code.minuteTens = 7; }), 0x0070'0000u);
    EXPECT_EQ(WordsWith([](Code& code) { code.flag23 = 1; }), 0x0080'0000u);
    EXPECT_EQ(WordsWith([](Code& code) { code.hourUnits = 15; }), 0x0F00'0000u);
    EXPECT_EQ(WordsWith([](Code& code) { code.hourTens = 3; }), 0x3000'0000u);
    EXPECT_EQ(WordsWith([](Code& code) { code.flag30 = 1; }), 0x4000'0000u);
    EXPECT_EQ(WordsWith([](Code& code) { code.flag31 = 1; }), 0x8000'0000u);
    EXPECT_EQ(WordsWith([](Code& code) { code.userGroup0 = 15; }), uint64{0xF} << 32);
    EXPECT_EQ(WordsWith([](Code& code) { code.userGroup1 = 15; }), uint64{0xF} << 36);
    EXPECT_EQ(WordsWith([](Code& code) { code.userGroup2 = 15; }), uint64{0xF} << 40);
    EXPECT_EQ(WordsWith([](Code& code) { code.userGroup3 = 15; }), uint64{0xF} << 44);
    EXPECT_EQ(WordsWith([](Code& code) { code.userGroup4 = 15; }), uint64{0xF} << 48);
    EXPECT_EQ(WordsWith([](Code& code) { code.userGroup5 = 15; }), uint64{0xF} << 52);
    EXPECT_EQ(WordsWith([](Code& code) { code.userGroup6 = 15; }), uint64{0xF} << 56);
    EXPECT_EQ(WordsWith([](Code& code) { code.userGroup7 = 15; }), uint64{0xF} << 60);
}
