#include "frame/ModuleValues.h"

#include <gtest/gtest.h>

using namespace vxcio;

TEST(ModuleValuesTest, BeforeAttachNothingHasALimit) {
    // Nothing in this program attaches.
    EXPECT_EQ(ReadHandleTimeOut(), 0xFFFFFFFFu);
    EXPECT_EQ(WriteHandleTimeOut(), 0xFFFFFFFFu);
    EXPECT_FALSE(IsBitrateInfoOn());
    EXPECT_EQ(Module().FileCachePrivilege, 0u);
    EXPECT_STREQ(Module().szModuleDirectory, L"");
}
