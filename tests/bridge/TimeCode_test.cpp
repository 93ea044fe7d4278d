#include "bridge/RecordsStreams.h"

#include <cstring>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kLargest[22] = {15, 3, 1, 1,  15, 7,  1,  15, 7,  1,  15,
                                 3,  1, 1, 15, 15, 15, 15, 15, 15, 15, 15};

Bytes Stored(SPlugLinearTimeCode record) {
    Bytes bytes(110);
    auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_STORE);
    stream << record;
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    return bytes;
}

SPlugLinearTimeCode Words(uint32 first, uint32 second) {
    const uint32 words[2] = {first, second};
    SPlugLinearTimeCode record;
    std::memcpy(&record, words, sizeof record);
    return record;
}

uint32 Word(const SPlugLinearTimeCode& record, std::size_t index) {
    uint32 words[2];
    std::memcpy(words, &record, sizeof record);
    return words[index];
}

} // namespace

TEST(TimeCodeTest, AllBitsSetAreTwentyTwoLargestDigits) {
    Bytes expected;
    for (const uint32 digit : kLargest) {
        PutNumber(expected, 'l', digit);
    }
    const Bytes bytes = Stored(Words(0xFFFFFFFF, 0xFFFFFFFF));
    EXPECT_EQ(bytes, expected);
    SPlugLinearTimeCode back = Words(0, 0);
    auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_LOAD);
    stream >> back;
    EXPECT_EQ(Word(back, 0), 0xFFFFFFFFu);
    EXPECT_EQ(Word(back, 1), 0xFFFFFFFFu);
}

// 23:59:58:24 with each flag in its turn, and user groups 1 to 8.
TEST(TimeCodeTest, TheBytesOfATimeCode) {
    SPlugLinearTimeCode record = Words(0, 0);
    record.frameUnits = 4;
    record.frameTens = 2;
    record.flag7 = 1;
    record.secondUnits = 8;
    record.secondTens = 5;
    record.minuteUnits = 9;
    record.minuteTens = 5;
    record.flag23 = 1;
    record.hourUnits = 3;
    record.hourTens = 2;
    record.flag31 = 1;
    record.userGroup0 = 1;
    record.userGroup1 = 2;
    record.userGroup2 = 3;
    record.userGroup3 = 4;
    record.userGroup4 = 5;
    record.userGroup5 = 6;
    record.userGroup6 = 7;
    record.userGroup7 = 8;
    const Bytes expected = {
        0x6C, 4, 0, 0, 0, 0x6C, 2, 0, 0, 0, 0x6C, 0, 0, 0, 0, 0x6C, 1, 0, 0, 0, // frames, flags 6 and 7
        0x6C, 8, 0, 0, 0, 0x6C, 5, 0, 0, 0, 0x6C, 0, 0, 0, 0,                   // seconds, flag 15
        0x6C, 9, 0, 0, 0, 0x6C, 5, 0, 0, 0, 0x6C, 1, 0, 0, 0,                   // minutes, flag 23
        0x6C, 3, 0, 0, 0, 0x6C, 2, 0, 0, 0, 0x6C, 0, 0, 0, 0, 0x6C, 1, 0, 0, 0, // hours, flags 30 and 31
        0x6C, 1, 0, 0, 0, 0x6C, 2, 0, 0, 0, 0x6C, 3, 0, 0, 0, 0x6C, 4, 0, 0, 0, // user groups
        0x6C, 5, 0, 0, 0, 0x6C, 6, 0, 0, 0, 0x6C, 7, 0, 0, 0, 0x6C, 8, 0, 0, 0,
    };
    EXPECT_EQ(Stored(record), expected);
}

TEST(TimeCodeTest, BitsStandFromTheLeastSignificantOn) {
    EXPECT_EQ(sizeof(SPlugLinearTimeCode), 8u);
    SPlugLinearTimeCode record = Words(0, 0);
    record.frameUnits = 0x4;
    record.frameTens = 0x2;
    record.flag7 = 1;
    record.secondUnits = 0x8;
    record.secondTens = 0x5;
    record.minuteUnits = 0x9;
    record.minuteTens = 0x5;
    record.hourUnits = 0x3;
    record.hourTens = 0x2;
    record.userGroup0 = 0xA;
    record.userGroup7 = 0xB;
    EXPECT_EQ(Word(record, 0), 0x235958A4u);
    EXPECT_EQ(Word(record, 1), 0xB000000Au);
}

TEST(TimeCodeTest, EachDigitIsMaskedToItsWidth) {
    Bytes bytes;
    for (const uint32 largest : kLargest) {
        PutNumber(bytes, 'l', largest + 1); // 16 for four bits, and so on
    }
    SPlugLinearTimeCode record = Words(0xFFFFFFFF, 0xFFFFFFFF);
    auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_LOAD);
    stream >> record;
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(Word(record, 0), 0u);
    EXPECT_EQ(Word(record, 1), 0u);
}

TEST(TimeCodeTest, BehindAFailureEachDigitIsTheLastGoodOne) {
    Bytes bytes;
    PutNumber(bytes, 'l', 1);
    PutNumber(bytes, 'l', 0xFFFFFFF6); // 2 of the two bits it goes to
    SPlugLinearTimeCode record = Words(0xFFFFFFFF, 0xFFFFFFFF);
    auto stream = StreamOver(bytes.data(), bytes.size(), VXC_SERIALIZE_LOAD);
    stream >> record;
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
    EXPECT_EQ(record.frameUnits, 1u);
    EXPECT_EQ(record.frameTens, 2u);
    EXPECT_EQ(record.flag6, 0u);
    EXPECT_EQ(record.secondUnits, 6u);
    EXPECT_EQ(record.secondTens, 6u);
    EXPECT_EQ(record.hourTens, 2u);
    EXPECT_EQ(Word(record, 1), 0x66666666u);
}

TEST(TimeCodeTest, AStreamOfNothingGivesZeros) {
    SPlugLinearTimeCode record = Words(0xFFFFFFFF, 0xFFFFFFFF);
    CVXCSerialize stream;
    stream >> record;
    EXPECT_EQ(Word(record, 0), 0u);
    EXPECT_EQ(Word(record, 1), 0u);
}
