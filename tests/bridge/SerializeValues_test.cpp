// Whole numbers and floating-point values one behind the other: sticky errors, signs, every bit pattern, and
// the length in front.
#include "bridge/SerializeTesting.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace vxcio;
using namespace vxcio::test;

TEST(SerializeErrorTest, AStreamThatWasNotSetUpRefusesWritesAsTheWrongDirection) {
    CVXCSerialize stream;
    EXPECT_EQ(stream.m_pBuffer, nullptr);
    EXPECT_EQ(stream.m_dwCapacity, 0u);
    EXPECT_EQ(stream.m_dwPosition, 0u);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    stream << 1u;
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_WRONG_DIRECTION);
}

TEST(SerializeErrorTest, A32BitReadWhere64BitsWereWrittenStandsBehindTheTag) {
    TestStream out(9);
    out << 0x1122334455667788ull;
    TestStream in(out.All());
    unsigned int value = 99;
    in >> value;
    EXPECT_EQ(in.m_nError, VXC_SERIALIZE_WRONG_TAG);
    EXPECT_EQ(value, 99u);
    EXPECT_EQ(in.m_dwPosition, 1u);
}

TEST(SerializeErrorTest, NoValueMovesBehindTheFirstError) {
    TestStream in({'c', 1, 'c', 2, 'w', 3, 0, 'c', 4});
    uint8 first = 0;
    uint16 wrong = 0;
    uint8 third = 0;
    uint16 fourth = 0;
    in >> first >> wrong >> fourth >> third;
    EXPECT_EQ(first, 1);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(fourth, 0);
    EXPECT_EQ(third, 0);
    EXPECT_EQ(in.m_nError, VXC_SERIALIZE_WRONG_TAG);
    EXPECT_EQ(in.m_dwPosition, 3u);
}

TEST(SerializeErrorTest, WhatIsTooLargeIsRefusedAndWhatWouldFitBehindItToo) {
    TestStream out(4);
    out << 1u << static_cast<unsigned char>(2);
    EXPECT_EQ(out.m_nError, VXC_SERIALIZE_NO_SPACE);
    EXPECT_TRUE(out.IsUntouched());
}

TEST(SerializeSignTest, SignedAndUnsignedValuesAreTheSameBytes) {
    TestStream out(2 * (2 + 3 + 5 + 9));
    out << static_cast<signed char>(-2) << static_cast<unsigned char>(0xFE) << static_cast<short>(-3)
        << static_cast<unsigned short>(0xFFFD) << -4 << 0xFFFFFFFCu << -5ll << 0xFFFFFFFFFFFFFFFBull;
    const Bytes expected = {0x63, 0xFE, 0x63, 0xFE, 0x77, 0xFD, 0xFF, 0x77, 0xFD, 0xFF, 0x6C, 0xFC, 0xFF,
                            0xFF, 0xFF, 0x6C, 0xFC, 0xFF, 0xFF, 0xFF, 0x71, 0xFB, 0xFF, 0xFF, 0xFF, 0xFF,
                            0xFF, 0xFF, 0xFF, 0x71, 0xFB, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(out.All(), expected);
}

TEST(SerializeSignTest, AValueWrittenAsSignedIsReadAsUnsignedAndTheOtherWayRound) {
    TestStream out(2 * (2 + 3 + 5 + 9));
    out << static_cast<signed char>(-2) << static_cast<unsigned char>(0xFE) << static_cast<short>(-3)
        << static_cast<unsigned short>(0xFFFD) << -4 << 0xFFFFFFFCu << -5ll << 0xFFFFFFFFFFFFFFFBull;
    TestStream in(out.All());
    unsigned char u8 = 0;
    signed char s8 = 0;
    unsigned short u16 = 0;
    short s16 = 0;
    unsigned int u32 = 0;
    int s32 = 0;
    unsigned long long u64 = 0;
    long long s64 = 0;
    in >> u8 >> s8 >> u16 >> s16 >> u32 >> s32 >> u64 >> s64;
    EXPECT_EQ(in.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(u8, 0xFE);
    EXPECT_EQ(s8, -2);
    EXPECT_EQ(u16, 0xFFFD);
    EXPECT_EQ(s16, -3);
    EXPECT_EQ(u32, 0xFFFFFFFCu);
    EXPECT_EQ(s32, -4);
    EXPECT_EQ(u64, 0xFFFFFFFFFFFFFFFBull);
    EXPECT_EQ(s64, -5);
}

TEST(SerializeFloatTest, EveryBitPatternPasses) {
    // Zeros, the smallest, the largest, infinities, quiet and signalling ones that are no numbers, either
    // sign.
    for (const uint32 bits : {0u, 0x80000000u, 1u, 0x7F7FFFFFu, 0x7F800000u, 0xFF800000u, 0x7FC00000u,
                              0x7F800001u, 0xFF800001u, 0x7FBFFFFFu, 0xFFFFFFFFu}) {
        TestStream out(10);
        float value;
        std::memcpy(&value, &bits, sizeof value);
        out << value;
        EXPECT_EQ(out.Write(value), 1);
        EXPECT_EQ(out.All(), Joined({{'f'}, Little32(bits), {'f'}, Little32(bits)})) << bits;
        TestStream in(out.All());
        float targets[2] = {};
        in >> targets[0];
        EXPECT_EQ(in.Read(targets[1]), 1);
        EXPECT_EQ(std::memcmp(&targets[0], &bits, sizeof bits), 0) << bits;
        EXPECT_EQ(std::memcmp(&targets[1], &bits, sizeof bits), 0) << bits;
    }
}

TEST(SerializeFloatTest, EveryBitPatternOf64BitsPasses) {
    for (const uint64 bits :
         {uint64{0}, uint64{1} << 63, uint64{1}, uint64{0x7FEFFFFFFFFFFFFF}, uint64{0x7FF0000000000000},
          uint64{0x7FF8000000000000}, uint64{0x7FF0000000000001}, uint64{0xFFF0000000000001},
          uint64{0x7FF7FFFFFFFFFFFF}, uint64{0xFFFFFFFFFFFFFFFF}}) {
        TestStream out(18);
        double value;
        std::memcpy(&value, &bits, sizeof value);
        out << value;
        EXPECT_EQ(out.Write(value), 1);
        const Bytes one =
            Joined({{'d'}, Little32(static_cast<uint32>(bits)), Little32(static_cast<uint32>(bits >> 32))});
        EXPECT_EQ(out.All(), Joined({one, one})) << bits;
        TestStream in(out.All());
        double targets[2] = {};
        in >> targets[0];
        EXPECT_EQ(in.Read(targets[1]), 1);
        EXPECT_EQ(std::memcmp(&targets[0], &bits, sizeof bits), 0) << bits;
        EXPECT_EQ(std::memcmp(&targets[1], &bits, sizeof bits), 0) << bits;
    }
}

TEST(SerializeMessageSizeTest, TheSizeGoesOverTheFirstFiveBytesAndThePositionStays) {
    TestStream out(12);
    out << 0u << static_cast<unsigned short>(7);
    EXPECT_EQ(out.SetMessageSize(0x01020304), 1);
    EXPECT_EQ(out.m_dwPosition, 8u);
    EXPECT_EQ(out.Written(), Bytes({'l', 4, 3, 2, 1, 'w', 7, 0}));
    out << static_cast<unsigned char>(9);
    EXPECT_EQ(out.m_dwPosition, 10u);
}

TEST(SerializeMessageSizeTest, FewerThanFiveBytesHaveNoRoom) {
    for (std::size_t capacity = 0; capacity < 5; ++capacity) {
        TestStream out(capacity);
        out.m_dwPosition = 3;
        EXPECT_EQ(out.SetMessageSize(1), 0);
        EXPECT_EQ(out.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_EQ(out.m_dwPosition, 3u);
        EXPECT_TRUE(out.IsUntouched());
    }
}

TEST(SerializeMessageSizeTest, ALoadingStreamIsTheWrongDirection) {
    TestStream in(Bytes(5, kUntouched));
    in.m_dwPosition = 5;
    EXPECT_EQ(in.SetMessageSize(1), 0);
    EXPECT_EQ(in.m_nError, VXC_SERIALIZE_WRONG_DIRECTION);
    EXPECT_EQ(in.m_dwPosition, 5u);
    EXPECT_TRUE(in.IsUntouched());
}

TEST(SerializeMessageSizeTest, BehindAnErrorNothingIsStoredAndTheErrorStays) {
    TestStream out(9);
    out << 0u << 0ull;
    ASSERT_EQ(out.m_nError, VXC_SERIALIZE_NO_SPACE);
    EXPECT_EQ(out.SetMessageSize(5), 0);
    EXPECT_EQ(out.m_nError, VXC_SERIALIZE_NO_SPACE);
    EXPECT_EQ(out.Written(), Bytes({'l', 0, 0, 0, 0}));
    EXPECT_EQ(out.m_dwPosition, 5u);
}
