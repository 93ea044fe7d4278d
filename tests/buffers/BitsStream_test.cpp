#include "buffers/BitsStream.h"

#include <gtest/gtest.h>

#include <array>

TEST(BitsStreamTest, CrcOfTheCheckDigits) {
    CBitsStream bits;
    std::array<unsigned char, 20> bytes{};
    bits.InitBuffer(bytes.data(), bytes.size());
    bits.StartCRC();
    for (unsigned char c = 0x31; c <= 0x39; ++c) {
        EXPECT_EQ(bits.PutBYTE(c), 1);
    }
    EXPECT_EQ(bits.GetCRCResult(), 0x0376E6E7u);
    EXPECT_EQ(bytes[8], 0x39);
    bits.InitBuffer(bytes.data(), bytes.size());
    unsigned int value = 0;
    EXPECT_EQ(bits.GetBits(&value, 4), 1);
    EXPECT_EQ(bits.GetBits(&value, 32), 1);
    EXPECT_EQ(value, 0x13233343u);
}
