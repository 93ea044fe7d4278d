// InsistOn.h - what a benchmark cannot go on without.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace bench {

// Ends the process where something does not do its work. At once, as it may be a copy of another one that has
// to do the cleaning up.
inline void InsistOn(bool isGood, const char* what) {
    if (!isGood) {
        std::fprintf(stderr, "%s failed\n", what);
        std::_Exit(1);
    }
}

} // namespace bench
