#include "stress/program/Episodes.h"

#include "stress/program/SourceEpisode.h"

namespace vxcio::stress {

void LiveOnce(Random& random, Journal& journal, const Media& media, Weather& weather, int thread) {
    SourceEpisode(random, journal, media, weather, thread).Run();
}

} // namespace vxcio::stress
