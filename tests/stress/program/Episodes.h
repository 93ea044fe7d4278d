// Episodes.h - what a thread of the stress program does again and again.
#pragma once

#include "stress/program/Journal.h"
#include "stress/program/Media.h"
#include "stress/program/Random.h"
#include "stress/program/Weather.h"

namespace vxcio::stress {

// One life of one source or array, chosen at random.
void LiveOnce(Random& random, Journal& journal, const Media& media, Weather& weather, int thread);

} // namespace vxcio::stress
