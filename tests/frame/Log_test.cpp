#include "frame/Log.h"

#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

TEST(LogTest, TracesAndErrorsCarryTheirLevelAndTheNameOfTheLibrary) {
    LogCapture log;
    LogTrace(L"%s", L"a trace of 100%d");
    LogError(L"%S failed with %d", "reading", 5);
    Log(INFOTYPE_PATH, L"%lld", int64{1} << 40);
    EXPECT_THAT(log.Lines(), ElementsAre(LogLine{INFOTYPE_TRACE, L"VXCSoftCodecIO", L"a trace of 100%d"},
                                         LogLine{INFOTYPE_ERROR, L"VXCSoftCodecIO", L"reading failed with 5"},
                                         LogLine{INFOTYPE_PATH, L"VXCSoftCodecIO", L"1099511627776"}));
}

TEST(LogTest, AnAddressIsShownByItsLowHalf) {
    int value = 0;
    const auto address = reinterpret_cast<std::uintptr_t>(&value);
    EXPECT_EQ(Low32(&value), address & 0xFFFFFFFFu);
    EXPECT_EQ(Low32(nullptr), 0u);
    EXPECT_EQ(Low32(reinterpret_cast<const void*>(static_cast<std::uintptr_t>(-1))), 0xFFFFFFFFu);
}
