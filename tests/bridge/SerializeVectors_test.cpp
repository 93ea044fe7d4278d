// One stream with every kind of value, written down byte by byte: what every process of every width writes
// and reads. docs/formats/tagged.md shows the same table.
#include "bridge/SerializeTesting.h"

#include <gtest/gtest.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

// clang-format off
const Bytes kStream = {
    0x63, 0xFF,                                                       // 8 bits: -1
    0x63, 0x80,                                                       // 8 bits: 128
    0x77, 0xFE, 0xFF,                                                 // 16 bits: -2
    0x77, 0x34, 0x12,                                                 // 16 bits: 0x1234
    0x6C, 0xFD, 0xFF, 0xFF, 0xFF,                                     // 32 bits: -3
    0x6C, 0x78, 0x56, 0x34, 0x12,                                     // 32 bits: 0x12345678
    0x71, 0xFC, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,             // 64 bits: -4
    0x71, 0xF0, 0xDE, 0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12,             // 64 bits: 0x123456789ABCDEF0
    0x66, 0x00, 0x00, 0x80, 0x3F,                                     // float: 1
    0x66, 0x00, 0x00, 0x20, 0xC0,                                     // float: -2.5
    0x64, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F,             // double: 1
    0x64, 0x9A, 0x99, 0x99, 0x99, 0x99, 0x99, 0xB9, 0xBF,             // double: -0.1
    0x62, 0x6C, 0x03, 0x00, 0x00, 0x00, 0xDE, 0xAD, 0x00,             // a block of three bytes
    0x73, 0x6C, 0x00, 0x00, 0x00, 0x00,                               // the empty string
    0x73, 0x6C, 0x04, 0x00, 0x00, 0x00,                               // the string "AB"
    0x62, 0x6C, 0x04, 0x00, 0x00, 0x00, 0x41, 0x00, 0x42, 0x00,
    0x73, 0x6C, 0x06, 0x00, 0x00, 0x00,                               // the euro sign and U+1F600
    0x62, 0x6C, 0x06, 0x00, 0x00, 0x00, 0xAC, 0x20, 0x3D, 0xD8, 0x00, 0xDE,
};
// clang-format on

const unsigned char kBlock[] = {0xDE, 0xAD, 0x00};

} // namespace

TEST(SerializeVectorsTest, EveryKindOfValueIsWrittenAsItStandsInTheTable) {
    TestStream out(kStream.size());
    out << static_cast<signed char>(-1) << static_cast<unsigned char>(128) << static_cast<short>(-2)
        << static_cast<unsigned short>(0x1234) << -3 << 0x12345678u << -4ll << 0x123456789ABCDEF0ull << 1.0f
        << -2.5f << 1.0 << -0.1;
    out.WriteBlock(kBlock, 3);
    out << L"" << L"AB" << L"\u20AC\U0001F600";
    EXPECT_EQ(out.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(out.m_dwPosition, kStream.size());
    EXPECT_EQ(out.All(), kStream);
}

TEST(SerializeVectorsTest, EveryKindOfValueIsReadAsItStandsInTheTable) {
    TestStream in(kStream);
    signed char s8 = 0;
    unsigned char u8 = 0;
    short s16 = 0;
    unsigned short u16 = 0;
    int s32 = 0;
    unsigned int u32 = 0;
    long long s64 = 0;
    unsigned long long u64 = 0;
    float f32[2] = {};
    double f64[2] = {};
    in >> s8 >> u8 >> s16 >> u16 >> s32 >> u32 >> s64 >> u64 >> f32[0] >> f32[1] >> f64[0] >> f64[1];
    EXPECT_EQ(s8, -1);
    EXPECT_EQ(u8, 128);
    EXPECT_EQ(s16, -2);
    EXPECT_EQ(u16, 0x1234);
    EXPECT_EQ(s32, -3);
    EXPECT_EQ(u32, 0x12345678u);
    EXPECT_EQ(s64, -4);
    EXPECT_EQ(u64, 0x123456789ABCDEF0u);
    EXPECT_EQ(f32[0], 1.0f);
    EXPECT_EQ(f32[1], -2.5f);
    EXPECT_EQ(f64[0], 1.0);
    EXPECT_EQ(f64[1], -0.1);
    unsigned char* data = nullptr;
    unsigned int count = 0;
    ASSERT_EQ(in.ReadBlock(data, count, 0), 1);
    EXPECT_EQ(Bytes(data, data + count), Bytes(kBlock, kBlock + 3));
    CVXCString empty(L"old");
    CVXCString plain;
    CVXCString beyond;
    in >> empty >> plain >> beyond;
    EXPECT_STREQ(empty.c_str(), L"");
    EXPECT_STREQ(plain.c_str(), L"AB");
    EXPECT_STREQ(beyond.c_str(), L"\u20AC\U0001F600");
    EXPECT_EQ(in.m_dwPosition, kStream.size());
    EXPECT_EQ(in.m_nError, VXC_SERIALIZE_OK);
}
