// BitsStreamCalls.h - random calls for a bit stream and its model.
#pragma once

#include "buffers/BitsStreamPair.h"
#include "stress/program/Random.h"

namespace vxcio::test {

// What random calls may be.
struct BitsMix {
    bool writes = true;        // puts, and bytes that the caller changes
    bool readsBehind = true;   // reads of bits of the byte behind the buffer
    bool anyBuffer = true;     // buffers anew, anywhere in the memory, or none
    uint32 alignsOneIn = 60;   // how often AlignCurBytes comes
    uint32 longestBuffer = 40; // where there may be any
};

// Makes `calls` random calls; ends at the first difference, where the test has failed.
void DoRandomCalls(BitsStreamPair& pair, stress::Random& random, const BitsMix& mix, int calls);

// As many as are wanted: fewer where every access to memory is looked at. VXC_RANDOM_SEED gives the first
// seed, VXC_RANDOM_SEQUENCES the count.
struct SeedRange {
    uint64 first;
    uint64 count;
};
SeedRange RandomSeeds(uint64 wanted);

} // namespace vxcio::test
