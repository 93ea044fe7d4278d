#include "stress/program/Episodes.h"

#include "stress/program/ArrayEpisode.h"
#include "stress/program/SourceEpisode.h"

namespace vxcio::stress {

void LiveOnce(Random& random, Journal& journal, const Media& media, Weather& weather, const Kinds& kinds,
              int thread) {
    const bool isSource = kinds.one || kinds.two;
    if (kinds.array && (!isSource || random.OneIn(4))) {
        ArrayEpisode(random, journal, media, weather, kinds, thread).Run();
    } else {
        SourceEpisode(random, journal, media, weather, kinds, thread).Run();
    }
}

} // namespace vxcio::stress
