#include "MxfExtent.h"

#include <gmock/gmock.h>

#include <algorithm>

using testing::HasSubstr;
using vxcio::tool::MxfStart;
using vxcio::tool::MxfTrouble;

namespace {

constexpr const char* kNoPack = "not begin with a whole partition pack";

MxfStart Start(std::initializer_list<uint8> length) {
    MxfStart first = {0x06, 0x0E, 0x2B, 0x34};
    std::copy(length.begin(), length.end(), first.begin() + 16);
    return first;
}

} // namespace

TEST(MxfExtentTest, ThePackIsWholeWhereItsLengthHasCome) {
    EXPECT_EQ(MxfTrouble(Start({0x58}), 17 + 0x58), ""); // the short form of a length
    for (const uint64 size : {16u + 0x58u, 17u, 16u, 1u, 0u}) {
        EXPECT_THAT(MxfTrouble(Start({0x58}), size), HasSubstr(kNoPack)) << size;
    }
    EXPECT_EQ(MxfTrouble(Start({0x83, 0, 0, 0x58}), 20 + 0x58), "");
    EXPECT_THAT(MxfTrouble(Start({0x83, 0, 0, 0x58}), 19 + 0x58), HasSubstr(kNoPack));
    EXPECT_EQ(MxfTrouble(Start({0x88, 0, 0, 0, 0, 0, 0, 0, 0x58}), 25 + 0x58), "");
    EXPECT_THAT(MxfTrouble(Start({0x88, 0, 0, 0, 0, 0, 0, 0, 0x58}), 24 + 0x58), HasSubstr(kNoPack));
}

TEST(MxfExtentTest, WhatIsNoPackIsNoFile) {
    EXPECT_THAT(MxfTrouble(Start({0x88, 255, 255, 255, 255, 255, 255, 255, 255}), ~uint64{0}),
                HasSubstr(kNoPack));
    for (const uint8 odd : {uint8{0x80}, uint8{0x89}, uint8{0xFF}, uint8{0x57}}) {
        EXPECT_THAT(MxfTrouble(Start({odd}), 1'000'000), HasSubstr(kNoPack)) << int{odd};
    }
    MxfStart first = Start({0x58});
    first[3] = 0x35;
    EXPECT_THAT(MxfTrouble(first, 1'000'000), HasSubstr(kNoPack));
}

TEST(MxfExtentTest, TheFooterThatIsNamedIsWithinTheFile) {
    MxfStart first = Start({0x83, 0, 0, 0x64});
    first[20 + 24 + 5] = 0x0F; // 1,000,000
    first[20 + 24 + 6] = 0x42;
    first[20 + 24 + 7] = 0x40;
    EXPECT_EQ(MxfTrouble(first, 1'000'001), "");
    EXPECT_EQ(MxfTrouble(first, 1'000'000),
              "it ends at byte 1,000,000, and its footer would begin at 1,000,000");
    EXPECT_NE(MxfTrouble(first, 500'000), "");
    first[20 + 24] = 0xFF;
    EXPECT_NE(MxfTrouble(first, 1'000'001), "");
    // The longest form of the pack's length leaves room for it, too.
    first = Start({0x88, 0, 0, 0, 0, 0, 0, 0, 0x58});
    first[25 + 24 + 7] = 200;
    EXPECT_EQ(MxfTrouble(first, 201), "");
    EXPECT_NE(MxfTrouble(first, 200), "");
}
