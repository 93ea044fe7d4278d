#include "platform/SystemVersion.h"

#include <gtest/gtest.h>

using namespace vxcio;

TEST(SystemVersionTest, ThisSystemTellsNoVersion) {
    SystemVersionRecord record = {1, 2, 3, 4};
    EXPECT_EQ(SystemVersion().getVersion(&record), 0);
    EXPECT_EQ(record.platformId, 4u);
}

TEST(SystemVersionDeathTest, ExitEndsTheProcessWithTheCode) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(SystemVersion().exitProcess(0), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(SystemVersion().exitProcess(7), testing::ExitedWithCode(7), "");
}
