#include "sources/ReadRate.h"

#include <gtest/gtest.h>

using vxcio::SReadRate;

TEST(ReadRateTest, RateIsBytesPerSecond) {
    SReadRate rate;
    rate.SetFrequency(1000);
    EXPECT_EQ(rate.Rate(), 0U);
    rate.Add(500, 0);
    EXPECT_EQ(rate.Rate(), 0U);
    rate.Add(500, 100);
    EXPECT_EQ(rate.Rate(), 10000U);
}

TEST(ReadRateTest, FrequencyOfZeroLeavesTheFormerOne) {
    SReadRate rate;
    rate.SetFrequency(1000);
    rate.SetFrequency(0);
    rate.Add(1, 1);
    EXPECT_EQ(rate.Rate(), 1000U);
}

TEST(ReadRateTest, SumsStartAgainOnlyAfterSixteenMebibytesWerePassed) {
    SReadRate rate;
    rate.SetFrequency(1);
    rate.Add(0x1000000, 1);
    rate.Add(0x1000000, 3); // the first sum is not over the limit yet: both count
    EXPECT_EQ(rate.Rate(), 0x800000U);
    rate.Add(10, 10); // now it was over: a new start
    EXPECT_EQ(rate.Rate(), 1U);
}
