// Buffers at the very edge of memory: a step over it ends the process.
#include "buffers/BitsStreamCalls.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;
using stress::Random;

namespace {

constexpr std::size_t kWatched = 400; // bytes of the page that are compared
constexpr int kCalls = 3000;          // for each seed

// A page between two that nobody may touch.
class LonelyPage {
public:
    LonelyPage() : m_page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        void* const memory = mmap(nullptr, 3 * m_page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory != MAP_FAILED) {
            m_memory = static_cast<uint8*>(memory);
            mprotect(Begin(), m_page, PROT_READ | PROT_WRITE);
        }
    }
    ~LonelyPage() {
        if (m_memory != nullptr) {
            munmap(m_memory, 3 * m_page);
        }
    }
    LonelyPage(const LonelyPage&) = delete;
    LonelyPage& operator=(const LonelyPage&) = delete;

    bool IsThere() const { return m_memory != nullptr; }
    uint8* Begin() const { return m_memory + m_page; }
    uint8* End() const { return m_memory + 2 * m_page; }
    bool Protect(int access) { return mprotect(Begin(), m_page, access) == 0; }

private:
    const std::size_t m_page;
    uint8* m_memory = nullptr;
};

class BitsStreamPagesTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(page.IsThere()); }

    // Calls over one buffer of any size at `place` of `watched`, either its begin or its end.
    enum class Place { Begin, End };
    void Run(uint64 seed, uint8* watched, Place place, const BitsMix& mix) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        BitsStreamPair pair(watched, kWatched);
        const uint32 size = 1 + random.Below(random.OneIn(3) ? 200 : 40);
        const std::size_t offset = place == Place::Begin ? 0 : kWatched - size;
        if (pair.Do({BitsCall::Kind::InitBuffer, false, static_cast<int64>(offset), size})) {
            DoRandomCalls(pair, random, mix, kCalls);
        }
    }
    void Fill(uint64 seed, uint8* watched) {
        Random random(seed);
        for (std::size_t i = 0; i < kWatched; ++i) {
            watched[i] = static_cast<uint8>(seed % 3 == 0 ? 0 : random.Next());
        }
    }

    LonelyPage page;
};

} // namespace

// Whoever goes to the byte behind the buffer touches nothing there, neither by going there, nor by writing,
// nor by leaving; only a read of its bits would.
TEST_F(BitsStreamPagesTest, NothingBehindABufferIsTouchedUnlessItIsRead) {
    const SeedRange range = RandomSeeds(500);
    uint8* const watched = page.End() - kWatched;
    for (uint64 seed = range.first; seed < range.first + range.count && !HasFailure(); ++seed) {
        Fill(seed, watched);
        Run(seed, watched, Place::End, {.readsBehind = false, .anyBuffer = false});
    }
}

TEST_F(BitsStreamPagesTest, NothingAheadOfABufferIsTouched) {
    const SeedRange range = RandomSeeds(300);
    for (uint64 seed = range.first; seed < range.first + range.count && !HasFailure(); ++seed) {
        Fill(seed, page.Begin());
        Run(seed, page.Begin(), Place::Begin, {.anyBuffer = false, .alignsOneIn = 20});
    }
}

TEST_F(BitsStreamPagesTest, WhoOnlyReadsAndMovesMayDoSoInMemoryThatIsWriteProtected) {
    const SeedRange range = RandomSeeds(300);
    for (uint64 seed = range.first; seed < range.first + range.count && !HasFailure(); ++seed) {
        ASSERT_TRUE(page.Protect(PROT_READ | PROT_WRITE));
        Fill(seed, page.Begin());
        ASSERT_TRUE(page.Protect(PROT_READ));
        Run(seed, page.Begin(), Place::Begin, {.writes = false, .anyBuffer = false});
    }
}

TEST_F(BitsStreamPagesTest, ABufferOfOneByteAtTheEndOfMemoryIsReadAndWrittenWhole) {
    uint8* const last = page.End() - 1;
    *last = 0;
    CBitsStream bits;
    EXPECT_EQ(bits.InitBuffer(last, 1), 1);
    EXPECT_EQ(bits.PutBits(0x2D, 7), 1);
    EXPECT_EQ(bits.PutBits(1, 1), 1);
    EXPECT_EQ(*last, 0x5B);
    EXPECT_EQ(bits.PutBits(1, 1), 0);
    EXPECT_EQ(bits.SeekBitsPtr(-8), 1);
    unsigned int value = 0;
    EXPECT_EQ(bits.GetBits(&value, 8), 1);
    EXPECT_EQ(value, 0x5Bu);
    EXPECT_EQ(bits.SeekBitsPtr(-8), 1);
    EXPECT_EQ(bits.SeekBytePtr(1), 1);
    bits.Flush();
    EXPECT_EQ(bits.PutBits(0x3, 2), 1); // it goes nowhere
    bits.Flush();
    EXPECT_EQ(bits.SeekBytePtr(-1), 1);
    EXPECT_EQ(*last, 0x5B);
}
