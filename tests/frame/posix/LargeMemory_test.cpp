// Memory that the system may back with large pages, and the buffers that lie in it.
#include "frame/LargeMemory.h"

#include "frame/AlignedBlock.h"
#include "support/posix/SystemTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sys/mman.h>
#include <sys/resource.h>
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

TEST(LargeMemoryTest, WhereItLacksABufferLiesInOrdinaryMemory) {
    constexpr std::size_t kSize = 4 * kLargeMemory;
    const int result = test::RunInChild([] {
        // Enough for the buffer, but not for what a large beginning takes besides while it is looked for.
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlim_t limit = pages * kPage + kSize + kLargeMemory * 3 / 4;
        const rlimit most = {limit, limit};
        if (pages == 0 || ::setrlimit(RLIMIT_AS, &most) != 0) {
            return 1;
        }
        if (LargeAlloc(kSize) != nullptr) {
            return 2;
        }
        const AlignedBuffer buffer(kSize, 4096);
        if (buffer.Size() != kSize) {
            return 3;
        }
        std::memset(buffer.Data(), 0xA5, kSize);
        return 0;
    });
    EXPECT_EQ(result, 0);
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
