#include "buffers/Crc32Mpeg.h"
#include "buffers/LongDivision.h"

#include "stress/program/Random.h"

#include <gtest/gtest.h>

using vxcio::Crc32Mpeg;
using vxcio::stress::Random;
using vxcio::test::LongDivision;

TEST(Crc32MpegTest, NothingIsAllOnes) {
    Crc32Mpeg crc;
    crc.Start();
    EXPECT_EQ(crc.Value(), 0xFFFFFFFFu);
}

TEST(Crc32MpegTest, TheCheckDigits) {
    Crc32Mpeg crc;
    crc.Start();
    for (uint32 digit = 0x31; digit <= 0x39; ++digit) {
        crc.Feed(digit, 8);
    }
    EXPECT_EQ(crc.Value(), 0x0376E6E7u);
}

// A CRC that is fed with itself is 0.
TEST(Crc32MpegTest, ItsOwnValueBringsItTo0) {
    Crc32Mpeg crc;
    crc.Start();
    crc.Feed(0x12345, 17);
    crc.Feed(crc.Value(), 32);
    EXPECT_EQ(crc.Value(), 0u);
}

TEST(Crc32MpegTest, EveryTwoWidthsAfterEachOther) {
    Random random(3);
    for (uint32 first = 1; first <= 32; ++first) {
        for (uint32 second = 1; second <= 32; ++second) {
            Crc32Mpeg crc;
            crc.Start();
            LongDivision wanted;
            for (int i = 0; i < 20; ++i) {
                const uint32 width = i % 2 == 0 ? first : second;
                const auto value = static_cast<uint32>(random.Next()); // bits above the field too
                crc.Feed(value, width);
                wanted.Feed(value, width);
                ASSERT_EQ(crc.Value(), wanted.Value()) << first << " and " << second << ", field " << i;
            }
        }
    }
}

TEST(Crc32MpegTest, FieldsOfAnyWidthLookedAtNowAndThen) {
    Random random(4);
    for (int round = 0; round < 200; ++round) {
        Crc32Mpeg crc;
        crc.Start();
        LongDivision wanted;
        for (int i = 0; i < 300; ++i) {
            const uint32 width = 1 + random.Below(32);
            const auto value = static_cast<uint32>(random.Next());
            crc.Feed(value, width);
            wanted.Feed(value, width);
            if (random.OneIn(7)) {
                ASSERT_EQ(crc.Value(), wanted.Value()) << "round " << round << ", field " << i;
            }
        }
        ASSERT_EQ(crc.Value(), wanted.Value()) << "round " << round;
    }
}

TEST(Crc32MpegTest, AStartForgetsWhatWasFed) {
    Crc32Mpeg crc;
    crc.Start();
    crc.Feed(0xFFFFFFFF, 32);
    crc.Feed(0xFFFFFFFF, 32);
    crc.Feed(0x5, 3);
    crc.Start();
    EXPECT_EQ(crc.Value(), 0xFFFFFFFFu);
    crc.Feed(0x31, 8);
    LongDivision wanted;
    wanted.Feed(0x31, 8);
    EXPECT_EQ(crc.Value(), wanted.Value());
}
