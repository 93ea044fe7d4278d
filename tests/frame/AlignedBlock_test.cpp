#include "frame/AlignedBlock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

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

TEST(AlignedBufferTest, MovesWithItsSize) {
    AlignedBuffer buffer(1000, 512);
    uint8* const data = buffer.Data();
    AlignedBuffer taken(std::move(buffer));
    EXPECT_FALSE(buffer); // NOLINT(bugprone-use-after-move): a moved one is empty
    EXPECT_EQ(buffer.Size(), 0u);
    EXPECT_EQ(taken.Data(), data);
    EXPECT_EQ(taken.Size(), 1000u);
    taken.Reset();
    EXPECT_FALSE(taken);
}

TEST(AlignedBufferTest, IsEmptyWhereMemoryLacks) {
    const AlignedBuffer buffer(SIZE_MAX, 512);
    EXPECT_FALSE(buffer);
    EXPECT_EQ(buffer.Size(), 0u);
}

TEST(AlignedBufferTest, PartsLieSideBySideEachAligned) {
    AlignedBuffer parts[3];
    ASSERT_TRUE(AlignedBuffer::MakeParts(parts, 3, 1000, 512));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(parts[i].Size(), 1000u);
        EXPECT_EQ(AddressOf(parts[i].Data()) % 512, 0u);
        EXPECT_EQ(parts[i].Data(), parts[0].Data() + i * 1024);
    }
}

TEST(AlignedBufferTest, PartsLiveUntilTheLastOfThemGoes) {
    AlignedBuffer last;
    {
        AlignedBuffer parts[2];
        ASSERT_TRUE(AlignedBuffer::MakeParts(parts, 2, 100, 16));
        last = std::move(parts[1]);
        parts[0] = AlignedBuffer(50, 16); // another takes the place of a part
    }
    std::memset(last.Data(), 0xFF, last.Size()); // the sanitizer would tell
    EXPECT_EQ(last.Data()[99], 0xFF);
}

TEST(AlignedBufferTest, PartsThatDoNotFitLeaveTheBuffersAsTheyAre) {
    AlignedBuffer parts[2];
    parts[0] = AlignedBuffer(10, 16);
    uint8* const data = parts[0].Data();
    EXPECT_FALSE(AlignedBuffer::MakeParts(parts, 2, SIZE_MAX - 2, 512));
    EXPECT_FALSE(AlignedBuffer::MakeParts(parts, SIZE_MAX / 512, 1024, 512));
    EXPECT_EQ(parts[0].Data(), data);
    EXPECT_FALSE(parts[1]);
}
