#include "platform/UtcClock.h"

#include <gtest/gtest.h>

#include <ctime>

using namespace vxcio;

namespace {

int YearOfRuntime() {
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    gmtime_r(&now, &parts);
    return parts.tm_year + 1900;
}

} // namespace

TEST(UtcClockTest, TheYearIsThatOfTheRuntimeLibrary) {
    // Asked before and after: a year may end in between.
    const int before = YearOfRuntime();
    const int year = UtcClock().year();
    EXPECT_GE(year, before);
    EXPECT_LE(year, YearOfRuntime());
}
