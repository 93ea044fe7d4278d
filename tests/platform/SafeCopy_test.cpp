#include "platform/SafeCopy.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

using namespace vxcio;

TEST(SafeCopyTest, ReadableMemoryIsCopied) {
    const char source[] = "eleven file functions";
    char target[sizeof source + 1] = {};
    target[sizeof source] = '#';
    EXPECT_EQ(CopyFromAnywhere(target, source, sizeof source), 1);
    EXPECT_STREQ(target, source);
    EXPECT_EQ(target[sizeof source], '#');
}

TEST(SafeCopyTest, AddressesThatLeadNowhereFail) {
    char target[88];
    for (const std::uintptr_t address : {std::uintptr_t{0}, std::uintptr_t{1}, std::uintptr_t{0xDEADBEE1},
                                         UINTPTR_MAX, UINTPTR_MAX / 2, std::uintptr_t{1} << 63}) {
        EXPECT_EQ(CopyFromAnywhere(target, reinterpret_cast<const void*>(address), sizeof target), 0)
            << std::hex << address;
    }
}
