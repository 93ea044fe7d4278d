// Memory that the system may back with large pages, and the buffers that lie in it.
#include "frame/LargeMemory.h"

#include "frame/AlignedBlock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <sys/mman.h>
#include <utility>
#include <vector>

using namespace vxcio;

namespace {

constexpr std::size_t kPage = 4096;

bool IsAtLargePage(const uint8* memory) {
    return reinterpret_cast<std::uintptr_t>(memory) % kLargeMemory == 0;
}

// Whether these pages belong to the process at all.
bool IsMapped(uint8* memory, std::size_t size) {
    std::vector<unsigned char> resident(size / kPage + 1);
    return ::mincore(memory, size, resident.data()) == 0;
}

} // namespace

TEST(LargeMemoryTest, BeginsAtALargePageZeroedAndWritable) {
    for (const std::size_t size : {kLargeMemory, kLargeMemory + 1, 5 * kLargeMemory / 2}) {
        std::vector<uint8*> taken;
        for (int i = 0; i < 5; ++i) {
            uint8* const memory = LargeAlloc(size);
            ASSERT_NE(memory, nullptr) << size;
            EXPECT_TRUE(IsAtLargePage(memory)) << size;
            EXPECT_EQ(std::count(memory, memory + size, 0), static_cast<std::ptrdiff_t>(size));
            std::memset(memory, 0xA5, size);
            taken.push_back(memory);
        }
        for (uint8* const memory : taken) {
            LargeFree(memory, size);
        }
    }
}

TEST(LargeMemoryTest, TakesWholeSmallPagesAndGivesThemBack) {
    uint8* const memory = LargeAlloc(kLargeMemory + 1);
    ASSERT_NE(memory, nullptr);
    const std::size_t taken = kLargeMemory + kPage;
    EXPECT_TRUE(IsMapped(memory, taken));
    LargeFree(memory, kLargeMemory + 1);
    for (const std::size_t at : {std::size_t{0}, kLargeMemory - kPage, kLargeMemory}) {
        EXPECT_FALSE(IsMapped(memory + at, kPage)) << at;
    }
}

TEST(LargeMemoryTest, SizesThatDoNotFitGiveNone) {
    for (const std::size_t size : {std::size_t{0}, SIZE_MAX, SIZE_MAX - kLargeMemory, SIZE_MAX / 2}) {
        EXPECT_EQ(LargeAlloc(size), nullptr) << size;
    }
    LargeFree(nullptr, kLargeMemory);
}

TEST(LargeMemoryTest, BuffersOfItsSizeLieInIt) {
    EXPECT_TRUE(IsAtLargePage(AlignedBuffer(kLargeMemory, 512).Data()));
    const AlignedBuffer below[] = {{kLargeMemory - 1, 512}, {kLargeMemory - 1, 512}};
    EXPECT_FALSE(IsAtLargePage(below[0].Data()) && IsAtLargePage(below[1].Data()));
    EXPECT_FALSE(AlignedBuffer(kLargeMemory, 3));
    EXPECT_FALSE(AlignedBuffer(kLargeMemory, 65536));
}

TEST(LargeMemoryTest, ABufferInItMovesAndGoes) {
    AlignedBuffer buffer(kLargeMemory, 512);
    uint8* const memory = buffer.Data();
    AlignedBuffer taken(std::move(buffer));
    EXPECT_EQ(taken.Data(), memory);
    taken = AlignedBuffer(1000, 512);
    EXPECT_FALSE(IsMapped(memory, kLargeMemory));
    taken = AlignedBuffer(kLargeMemory, 512);
    uint8* const other = taken.Data();
    taken.Reset();
    EXPECT_FALSE(IsMapped(other, kLargeMemory));
}

TEST(LargeMemoryTest, PartsOfItGoWithTheLast) {
    AlignedBuffer parts[2];
    ASSERT_TRUE(AlignedBuffer::MakeParts(parts, 2, kLargeMemory / 2, 512));
    uint8* const memory = parts[0].Data();
    EXPECT_TRUE(IsAtLargePage(memory));
    EXPECT_EQ(parts[1].Data(), memory + kLargeMemory / 2);
    parts[0].Reset();
    std::memset(parts[1].Data(), 0xA5, parts[1].Size());
    EXPECT_TRUE(IsMapped(memory, kLargeMemory));
    parts[1].Reset();
    EXPECT_FALSE(IsMapped(memory, kLargeMemory));
}
