// Require.h - what holds for every input of a fuzz program.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace vxcio::fuzz {

// Ends the process with the text where it does not hold; the fuzzer keeps the input then.
inline void Require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "not so: %s\n", what);
        std::abort();
    }
}

} // namespace vxcio::fuzz
