// The calendar behind the times of listings, held against that of the standard library.
#include "ftp/ListModel.h"
#include "ftp/ListParser.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint64 kDay = uint64{24} * 60 * 60 * 10000000;

// 100 ns since 1601, or -1 where there is no such date.
int64 Ticks(unsigned year, unsigned month, unsigned day, unsigned hour = 0, unsigned minute = 0,
            unsigned second = 0) {
    FILETIME time = {0x12345678, 0x9ABCDEF0};
    if (!FileTimeOf(static_cast<uint16>(year), static_cast<uint16>(month), static_cast<uint16>(day),
                    static_cast<uint16>(hour), static_cast<uint16>(minute), static_cast<uint16>(second),
                    time)) {
        EXPECT_EQ(TicksOf(time), 0x9ABCDEF012345678U) << "a failure leaves the time alone";
        return -1;
    }
    return static_cast<int64>(TicksOf(time));
}

} // namespace

TEST(FileTimeOfTest, TimeBeginsWith1601) {
    EXPECT_EQ(Ticks(1601, 1, 1), 0);
    EXPECT_EQ(Ticks(1601, 1, 1, 0, 0, 1), 10000000);
    EXPECT_EQ(Ticks(1601, 1, 1, 0, 1, 0), 600000000);
    EXPECT_EQ(Ticks(1601, 1, 1, 1, 0, 0), 36000000000);
    EXPECT_EQ(Ticks(1601, 1, 2), static_cast<int64>(kDay));
    EXPECT_EQ(Ticks(1601, 2, 1), static_cast<int64>(31 * kDay));
    EXPECT_EQ(Ticks(1602, 1, 1), static_cast<int64>(365 * kDay));
}

TEST(FileTimeOfTest, KnownMomentsAreWhereOthersHaveThem) {
    EXPECT_EQ(Ticks(1970, 1, 1), 116444736000000000);
    EXPECT_EQ(Ticks(2001, 9, 9, 1, 46, 40), 126444736000000000); // 1,000,000,000 s later
    EXPECT_EQ(Ticks(2038, 1, 19, 3, 14, 7), 137919572470000000); // 2,147,483,647 s later
}

TEST(FileTimeOfTest, YearsBefore1601AndBehind30827AreNone) {
    EXPECT_EQ(Ticks(1600, 12, 31, 23, 59, 59), -1);
    EXPECT_EQ(Ticks(1600, 2, 29), -1);
    EXPECT_EQ(Ticks(0, 1, 1), -1);
    EXPECT_EQ(Ticks(30827, 12, 31, 23, 59, 59), static_cast<int64>(ModelTicks(30827, 12, 31, 23, 59, 59)));
    EXPECT_GT(Ticks(30827, 12, 31, 23, 59, 59), 0);
    EXPECT_EQ(Ticks(30828, 1, 1), -1);
    EXPECT_EQ(Ticks(65535, 1, 1), -1);
}

TEST(FileTimeOfTest, EachMonthHasItsDays) {
    const unsigned days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (unsigned month = 1; month <= std::size(days); ++month) {
        const unsigned last = days[month - 1];
        EXPECT_EQ(Ticks(2019, month, 0), -1) << month;
        EXPECT_EQ(Ticks(2019, month, last), static_cast<int64>(ModelTicks(2019, month, last, 0, 0))) << month;
        EXPECT_GT(Ticks(2019, month, last), 0) << month;
        EXPECT_EQ(Ticks(2019, month, last + 1), -1) << month;
    }
    EXPECT_EQ(Ticks(2019, 0, 1), -1);
    EXPECT_EQ(Ticks(2019, 13, 1), -1);
    EXPECT_EQ(Ticks(2019, 65535, 1), -1);
    EXPECT_EQ(Ticks(2019, 1, 65535), -1);
}

TEST(FileTimeOfTest, ACenturyIsALeapYearOnceIn400Years) {
    for (const unsigned leap : {1604U, 1996U, 2000U, 2004U, 2400U, 30800U}) {
        EXPECT_EQ(Ticks(leap, 3, 1) - Ticks(leap, 2, 29), static_cast<int64>(kDay)) << leap;
        EXPECT_EQ(Ticks(leap, 2, 30), -1) << leap;
        EXPECT_EQ(Ticks(leap + 1, 1, 1) - Ticks(leap, 1, 1), static_cast<int64>(366 * kDay)) << leap;
    }
    for (const unsigned plain : {1601U, 1700U, 1800U, 1900U, 2019U, 2100U, 2200U, 30700U}) {
        EXPECT_EQ(Ticks(plain, 2, 29), -1) << plain;
        EXPECT_GT(Ticks(plain, 2, 28), 0) << plain;
    }
    for (const unsigned plain : {1900U, 2019U, 2100U}) {
        EXPECT_EQ(Ticks(plain, 3, 1) - Ticks(plain, 2, 28), static_cast<int64>(kDay)) << plain;
        EXPECT_EQ(Ticks(plain + 1, 1, 1) - Ticks(plain, 1, 1), static_cast<int64>(365 * kDay)) << plain;
    }
}

TEST(FileTimeOfTest, ATimeOfDayEndsBefore24) {
    EXPECT_EQ(Ticks(2019, 3, 15, 23, 59, 59) - Ticks(2019, 3, 15), static_cast<int64>(kDay) - 10000000);
    EXPECT_EQ(Ticks(2019, 3, 15, 24, 0, 0), -1);
    EXPECT_EQ(Ticks(2019, 3, 15, 23, 60, 0), -1);
    EXPECT_EQ(Ticks(2019, 3, 15, 23, 59, 60), -1);
    EXPECT_EQ(Ticks(2019, 3, 15, 65535, 0, 0), -1);
    EXPECT_EQ(Ticks(2019, 3, 15, 0, 65535, 0), -1);
    EXPECT_EQ(Ticks(2019, 3, 15, 0, 0, 65535), -1);
}

TEST(FileTimeOfTest, RandomDatesAreThoseOfTheStandardLibrary) {
    std::mt19937 random(53);
    const auto upTo = [&random](unsigned most) {
        return std::uniform_int_distribution<unsigned>(0, most)(random);
    };
    int dates = 0;
    int none = 0;
    for (int i = 0; i < 100000; ++i) {
        // A few of each kind lie outside.
        const unsigned year = 1595 + upTo(i % 2 == 0 ? 600 : 29300);
        const unsigned month = upTo(13);
        const unsigned day = upTo(32);
        const unsigned hour = upTo(24);
        const unsigned minute = upTo(60);
        const unsigned second = upTo(60);
        const uint64 model = ModelTicks(static_cast<int>(year), month, day, hour, minute, second);
        ASSERT_EQ(Ticks(year, month, day, hour, minute, second), model == 0 ? -1 : static_cast<int64>(model))
            << year << '-' << month << '-' << day << ' ' << hour << ':' << minute << ':' << second;
        ++(model == 0 ? none : dates);
    }
    EXPECT_GT(dates, 50000);
    EXPECT_GT(none, 5000);
}
