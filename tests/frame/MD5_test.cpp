#include "frame/MD5.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Digest = std::array<unsigned char, 16>;

std::string Hex(const Digest& digest) {
    std::string text;
    for (const unsigned char byte : digest) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

Digest Finish(MD5_CTX& md5) {
    Digest digest{};
    md5.Final(digest.data());
    return digest;
}

Digest Whole(const void* data, std::size_t size) {
    MD5_CTX md5;
    md5.Update(data, static_cast<unsigned int>(size));
    return Finish(md5);
}

std::vector<unsigned char> Message(std::size_t size) {
    std::vector<unsigned char> bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<unsigned char>(i * 7 + 3);
    }
    return bytes;
}

} // namespace

TEST(MD5Test, GivesTheDigestsOfTheStandard) {
    const struct {
        std::string_view message;
        const char* digest;
    } vectors[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const auto& vector : vectors) {
        EXPECT_EQ(Hex(Whole(vector.message.data(), vector.message.size())), vector.digest) << vector.message;
    }
}

TEST(MD5Test, NothingFedGivesTheDigestOfTheEmptyMessage) {
    MD5_CTX md5;
    EXPECT_EQ(Hex(Finish(md5)), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(MD5Test, MessagesOfEveryLengthAroundTheBlocksAreRight) {
    // The digest of the 258 digests, one behind the other, worked out with Python's hashlib.
    MD5_CTX all;
    for (std::size_t size = 0; size <= 257; ++size) {
        const std::vector<unsigned char> message = Message(size);
        const Digest digest = Whole(message.data(), message.size());
        all.Update(digest.data(), static_cast<unsigned int>(digest.size()));
    }
    EXPECT_EQ(Hex(Finish(all)), "a5c7d02bf5cb2440616b5349a4efeb58");
}

TEST(MD5Test, HowAMessageIsCutChangesNothing) {
    constexpr std::size_t kPieces[] = {0, 1, 63, 64, 65, 128};
    for (std::size_t size = 0; size <= 257; ++size) {
        const std::vector<unsigned char> message = Message(size);
        const Digest expected = Whole(message.data(), message.size());
        for (const std::size_t first : kPieces) {
            for (const std::size_t second : kPieces) {
                for (const std::size_t third : kPieces) {
                    MD5_CTX md5;
                    std::size_t done = 0;
                    for (const std::size_t piece : {first, second, third, size}) {
                        const std::size_t taken = std::min(piece, size - done);
                        md5.Update(message.data() + done, static_cast<unsigned int>(taken));
                        done += taken;
                    }
                    ASSERT_EQ(Finish(md5), expected)
                        << size << " bytes: " << first << ' ' << second << ' ' << third;
                }
            }
        }
    }
}

TEST(MD5Test, DataMayLieAtAnyAddress) {
    const std::vector<unsigned char> message = Message(200);
    const Digest expected = Whole(message.data(), message.size());
    std::vector<unsigned char> shifted(208);
    for (std::size_t shift = 0; shift < 8; ++shift) {
        const auto start = shifted.begin() + static_cast<std::ptrdiff_t>(shift);
        std::copy(message.begin(), message.end(), start);
        EXPECT_EQ(Whole(&*start, message.size()), expected);
    }
}

TEST(MD5Test, LengthIsCountedInSixtyFourBits) {
    // 1026 MiB of zeros: the first call alone is longer than 2^32 bits, the small ones carry over once more.
    // The digest comes from "head -c 1026M /dev/zero | md5sum".
    constexpr unsigned int kMiB = 1u << 20;
    constexpr unsigned int kHalf = 513;
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };
    const std::unique_ptr<void, Free> zeros(
        std::calloc(kHalf, kMiB)); // pages that nobody writes cost nothing
    ASSERT_NE(zeros, nullptr);
    MD5_CTX md5;
    md5.Update(zeros.get(), kHalf * kMiB);
    for (unsigned int i = 0; i < kHalf; ++i) {
        md5.Update(zeros.get(), kMiB);
    }
    EXPECT_EQ(Hex(Finish(md5)), "99ae6d9d0c1ba1deeba85331e5b5c897");
}

TEST(MD5Test, ZeroBytesMayComeWithoutMemory) {
    MD5_CTX md5;
    md5.Update(nullptr, 0);
    md5.Update("abc", 3);
    md5.Update(nullptr, 0);
    EXPECT_EQ(Hex(Finish(md5)), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(MD5Test, FinalAgainGivesTheSameDigest) {
    for (const std::size_t size : {0u, 3u, 55u, 56u, 64u, 100u}) {
        const std::vector<unsigned char> message = Message(size);
        MD5_CTX md5;
        md5.Update(message.data(), static_cast<unsigned int>(size));
        const Digest first = Finish(md5);
        EXPECT_EQ(Finish(md5), first);
        EXPECT_EQ(Finish(md5), first);
    }
}

TEST(MD5Test, BytesAfterFinalDoNotChangeTheDigest) {
    MD5_CTX md5;
    md5.Update("abc", 3);
    const Digest first = Finish(md5);
    const std::vector<unsigned char> more = Message(200);
    md5.Update(more.data(), static_cast<unsigned int>(more.size()));
    EXPECT_EQ(Finish(md5), first);
}
