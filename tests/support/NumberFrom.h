// NumberFrom.h - numbers that whoever runs the tests may give in the environment: seeds and lengths.
#pragma once

#include "frame/Types.h"

#include <cstdlib>

namespace vxcio::test {

// The number that an environment variable holds, in decimal, 0x hexadecimal or 0 octal; `otherwise` where it
// is not set. 0 where its text is no number.
inline uint64 NumberFrom(const char* variable, uint64 otherwise) {
    const char* const text = std::getenv(variable);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 0);
}

} // namespace vxcio::test
