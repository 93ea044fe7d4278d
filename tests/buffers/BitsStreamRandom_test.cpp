// Millions of random calls of a bit stream: after every one the result, the value, the cursor, the CRC and
// all memory are what going bit by bit gives.
#include "buffers/BitsStreamCalls.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

using namespace vxcio;
using namespace vxcio::test;
using stress::Random;

namespace {

constexpr int kCalls = 3000; // for each seed

enum class Content { Random, Zero, Ones };

// Calls over memory that is larger than any buffer in it, so that bytes around a buffer are watched.
void Run(uint64 seed, const BitsMix& mix, Content content) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    std::array<uint8, 360> memory{};
    for (uint8& byte : memory) {
        byte = content == Content::Random ? static_cast<uint8>(random.Next())
               : content == Content::Ones ? 0xFF
                                          : 0;
    }
    BitsStreamPair pair(memory.data(), memory.size());
    DoRandomCalls(pair, random, mix, kCalls);
}

void RunAll(uint64 seeds, const BitsMix& mix) {
    const SeedRange range = RandomSeeds(seeds);
    for (uint64 seed = range.first; seed < range.first + range.count && !::testing::Test::HasFailure();
         ++seed) {
        Run(seed, mix, Content{static_cast<int>(seed % 3)});
    }
}

} // namespace

TEST(BitsStreamRandomTest, AnyCallsOnSmallBuffersAreTheModels) {
    RunAll(1000, {});
}

TEST(BitsStreamRandomTest, AnyCallsOnLongerBuffersAreTheModels) {
    RunAll(1000, {.alignsOneIn = 300, .longestBuffer = 320});
}

// The byte index then wraps, and the place in memory has nothing to do with it any more.
TEST(BitsStreamRandomTest, CallsWithManyAlignmentsAreTheModels) {
    RunAll(500, {.alignsOneIn = 4});
}

TEST(BitsStreamRandomTest, ReadsAndMovesAloneAreTheModels) {
    RunAll(500, {.writes = false, .longestBuffer = 100});
}
