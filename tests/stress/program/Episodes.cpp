#include "stress/program/Episodes.h"

#include "stress/program/SourceEpisode.h"

namespace vxcio::stress {

void LiveOnce(Random& random, Journal& journal, const Media& media, Weather& weather, const Kinds& kinds,
              int thread) {
    SourceEpisode(random, journal, media, weather, kinds, thread).Run();
}

} // namespace vxcio::stress
