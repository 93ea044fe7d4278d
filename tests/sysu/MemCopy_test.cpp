#include "frame/SystemLayer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <vector>

using vxcio::test::Pattern;

TEST(MemCopyTest, CopiesExactlyTheBytesAtEverySizeAndAlignment) {
    std::vector<uint8> source = Pattern(5000, 1);
    for (const int bytes : {1, 2, 3, 7, 8, 15, 16, 31, 63, 64, 65, 127, 255, 1000, 4095, 4096, 4097}) {
        for (const std::size_t offset : {0u, 1u, 7u, 33u}) {
            std::vector<uint8> target(5000, 0xEE);
            VXCSoftMemCopy(target.data() + offset + 1, source.data() + offset, bytes);
            EXPECT_EQ(target[offset], 0xEE);
            EXPECT_EQ(target[offset + 1 + static_cast<std::size_t>(bytes)], 0xEE);
            EXPECT_TRUE(std::equal(source.begin() + static_cast<std::ptrdiff_t>(offset),
                                   source.begin() + static_cast<std::ptrdiff_t>(offset) + bytes,
                                   target.begin() + static_cast<std::ptrdiff_t>(offset) + 1));
        }
    }
}

TEST(MemCopyTest, CopiesManyMebibytes) {
    std::vector<uint8> source = Pattern(20 * 1024 * 1024 + 3, 2);
    std::vector<uint8> target(source.size());
    VXCSoftMemCopy(target.data(), source.data(), static_cast<int>(source.size()));
    EXPECT_EQ(target, source);
}

TEST(MemCopyTest, NothingHappensWithoutBytesOrMemory) {
    uint8 source[4] = {1, 2, 3, 4};
    uint8 target[4] = {9, 9, 9, 9};
    VXCSoftMemCopy(target, source, 0);
    VXCSoftMemCopy(target, source, -1);
    VXCSoftMemCopy(target, source, INT_MIN);
    VXCSoftMemCopy(nullptr, source, 4);
    VXCSoftMemCopy(target, nullptr, 4);
    EXPECT_EQ(target[0], 9);
    EXPECT_EQ(target[3], 9);
}
