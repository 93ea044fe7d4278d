#include "frame/MD5Check.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The digest of the check is that of the whole message.
void ExpectDigest(vxcio::MD5Check& check, const void* message, std::size_t size) {
    uint8 digest[16];
    check.Final(digest);
    uint8 expected[16];
    MD5_CTX whole;
    whole.Update(message, static_cast<unsigned int>(size));
    whole.Final(expected);
    EXPECT_EQ(std::memcmp(digest, expected, sizeof digest), 0);
}

} // namespace

TEST(MD5CheckTest, BytesAreFedOnceAndInOrder) {
    const std::string text = "abcdefghij";
    const auto* data = reinterpret_cast<const uint8*>(text.data());
    const auto check = vxcio::MD5Check::Make();
    ASSERT_NE(check, nullptr);
    check->RideAlong(data, 0, 4);     // abcd
    check->RideAlong(data + 2, 2, 4); // cdef: ef is new
    check->RideAlong(data, 0, 3);     // all seen
    check->RideAlong(data + 8, 8, 2); // a gap before it
    EXPECT_EQ(check->Position(), 6U);
    check->RideAlong(data + 6, 6, 4);
    EXPECT_EQ(check->Position(), 10U);
    ExpectDigest(*check, text.data(), text.size());
}

TEST(MD5CheckTest, ALongPieceIsFedWhole) {
    std::vector<uint8> message((std::size_t{2} << 20) + 100);
    for (std::size_t i = 0; i < message.size(); ++i) {
        message[i] = static_cast<uint8>(i ^ (i >> 14));
    }
    const auto check = vxcio::MD5Check::Make();
    ASSERT_NE(check, nullptr);
    check->Feed(message.data(), 1);
    check->Feed(message.data() + 1, message.size() - 1);
    EXPECT_EQ(check->Position(), message.size());
    ExpectDigest(*check, message.data(), message.size());
}

TEST(MD5CheckTest, WhatWasReadBeforeNothingPassedIsFedFromItsStartAlone) {
    const uint8 bytes[4] = {1, 2, 3, 4};
    const auto check = vxcio::MD5Check::Make();
    ASSERT_NE(check, nullptr);
    check->RideAlong(bytes + 1, 1, 3);
    EXPECT_EQ(check->Position(), 0U);
    check->RideAlong(bytes, 0, 0);
    EXPECT_EQ(check->Position(), 0U);
    // The place behind the largest one, where nothing can be read.
    check->RideAlong(bytes, UINT64_MAX, 0);
    EXPECT_EQ(check->Position(), 0U);
    check->RideAlong(bytes, 0, 4);
    EXPECT_EQ(check->Position(), 4U);
    check->RideAlong(bytes, 4, 0);
    EXPECT_EQ(check->Position(), 4U);
    ExpectDigest(*check, bytes, sizeof bytes);
}

TEST(MD5CheckTest, ItsBufferSuitsUnbufferedTransfer) {
    const auto check = vxcio::MD5Check::Make();
    ASSERT_NE(check, nullptr);
    EXPECT_EQ(check->BufferSize(), 1048576U);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(check->Buffer()) % 4096, 0U);
    std::memset(check->Buffer(), 1, check->BufferSize());
}
