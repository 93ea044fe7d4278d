// Digests.h - what the digest of known bytes is, and what a source says that it is. For tests of the logic,
// whose MD5 the shared library does not give out.
#pragma once

#include "frame/MD5.h"
#include "frame/SoftDataIO.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <vector>

namespace vxcio::test {

using Digest = std::array<uint8, 16>;

inline Digest DigestOf(const std::vector<uint8>& bytes) {
    MD5_CTX md5;
    md5.Update(bytes.data(), static_cast<unsigned int>(bytes.size()));
    Digest digest;
    md5.Final(digest.data());
    return digest;
}

// That of a source or sink; all zeros where it gave none.
inline Digest DigestOf(CSoftDataIO& io) {
    uint8* bytes = nullptr;
    int length = 0;
    Digest digest = {};
    EXPECT_EQ(io.GetMD5_check(1, bytes, length), 0);
    if (bytes != nullptr) {
        EXPECT_EQ(length, 16);
        std::memcpy(digest.data(), bytes, digest.size());
        delete[] bytes;
    }
    return digest;
}

} // namespace vxcio::test
