// TakeDigest.h - the digest that a source or sink made on the way, as the examples print it.
#pragma once

#include "module/VXCSoftCodecIO.h"

#include <array>
#include <cstdio>
#include <memory>
#include <string>

// Empty where there is none, as of a sink after a byte was written anew.
inline std::string TakeDigest(CSoftDataIO& io) {
    unsigned char* digest = nullptr;
    int length = 0;
    io.GetMD5_check(0, digest, length);
    const std::unique_ptr<unsigned char[]> owned(digest);
    std::string text;
    for (int i = 0; digest != nullptr && i < length; ++i) {
        std::array<char, 3> two{};
        std::snprintf(two.data(), two.size(), "%02x", static_cast<unsigned>(digest[i]));
        text += two.data();
    }
    return text;
}
