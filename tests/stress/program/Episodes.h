// Episodes.h - what a thread of the stress program does again and again.
#pragma once

#include "stress/program/Journal.h"
#include "stress/program/Media.h"
#include "stress/program/Random.h"
#include "stress/program/Weather.h"

namespace vxcio::stress {

// Which kinds of reading take part.
struct Kinds {
    bool one = true;   // one file
    bool two = true;   // two copies of one clip
    bool array = true; // lists of files
};

// One life of one source or array of those kinds, chosen at random.
void LiveOnce(Random& random, Journal& journal, const Media& media, Weather& weather, const Kinds& kinds,
              int thread);

} // namespace vxcio::stress
