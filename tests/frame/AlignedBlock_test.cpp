#include "frame/AlignedBlock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

using namespace vxcio;

namespace {

std::size_t AddressOf(const uint8* block) {
    return reinterpret_cast<std::uintptr_t>(block);
}

unsigned DistanceOf(const uint8* block) {
    uint16 distance = 0;
    std::memcpy(&distance, block - 2, sizeof distance);
    return distance;
}

} // namespace

TEST(AlignedBlockTest, EveryPowerOfTwoUpToTheLimitIsKept) {
    for (std::size_t alignment = 1; alignment <= 32768; alignment *= 2) {
        uint8* const block = AlignedAlloc(1000, alignment);
        ASSERT_NE(block, nullptr) << alignment;
        EXPECT_EQ(AddressOf(block) % alignment, 0u) << alignment;
        AlignedFree(block);
    }
}

TEST(AlignedBlockTest, TheDistanceStandsInFrontAndLeadsBackToTheAllocation) {
    for (const std::size_t alignment : {1u, 2u, 4u, 16u, 512u, 4096u, 32768u}) {
        uint8* const block = AlignedAlloc(10, alignment);
        ASSERT_NE(block, nullptr);
        const unsigned distance = DistanceOf(block);
        EXPECT_GE(distance, 2u);
        EXPECT_LE(distance, alignment + 2);
        // An allocation begins at a multiple of 16.
        EXPECT_EQ((AddressOf(block) - distance) % 16, 0u) << alignment;
        AlignedFree(block);
    }
}

TEST(AlignedBlockTest, AlignmentOneLeavesTwoBytesInFront) {
    uint8* const block = AlignedAlloc(10, 1);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(DistanceOf(block), 2u);
    AlignedFree(block);
}

TEST(AlignedBlockTest, WithoutAlignmentTheDistanceIsTwo) {
    uint8* const block = AlignedAlloc(10, 0);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(DistanceOf(block), 2u);
    AlignedFree(block);
}

TEST(AlignedBlockTest, TheWholeBlockIsZeroAndWritable) {
    for (const std::size_t alignment : {0u, 1u, 512u, 32768u}) {
        // Used memory first, so that a block that is not cleared shows.
        if (uint8* const used = AlignedAlloc(5000, alignment)) {
            std::memset(used, 0xA5, 5000);
            AlignedFree(used);
        }
        uint8* const block = AlignedAlloc(5000, alignment);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(std::count(block, block + 5000, 0), 5000) << alignment;
        std::memset(block, 0xFF, 5000);
        AlignedFree(block);
    }
}

TEST(AlignedBlockTest, ABlockOfNoBytesIsThere) {
    uint8* const block = AlignedAlloc(0, 4096);
    EXPECT_NE(block, nullptr);
    AlignedFree(block);
}

TEST(AlignedBlockTest, OtherAlignmentsAreRefused) {
    for (const std::size_t alignment : {3u, 513u, 32767u, 32769u, 65536u, 0x80000000u}) {
        EXPECT_EQ(AlignedAlloc(10, alignment), nullptr) << alignment;
    }
}

TEST(AlignedBlockTest, ASizeThatDoesNotFitIsRefused) {
    EXPECT_EQ(AlignedAlloc(SIZE_MAX, 512), nullptr);
    EXPECT_EQ(AlignedAlloc(SIZE_MAX - 513, 512), nullptr);
    EXPECT_EQ(AlignedAlloc(SIZE_MAX - 1, 0), nullptr);
}

TEST(AlignedBlockTest, FreeingNothingIsAllowed) {
    AlignedFree(nullptr);
    SUCCEED();
}
