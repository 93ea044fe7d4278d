#include "bridge/LargeCopy.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using vxcio::CopyChoice;

std::vector<unsigned char> Pattern(std::size_t bytes) {
    std::vector<unsigned char> pattern(bytes);
    for (std::size_t i = 0; i < bytes; ++i) {
        pattern[i] = static_cast<unsigned char>(i * 31 + i / 251);
    }
    return pattern;
}

constexpr std::size_t kMiB = std::size_t{1} << 20;
constexpr uint64 kFast = kMiB / CopyChoice::kBytesPerNanosecond - 1;
constexpr uint64 kSlow = kMiB;

TEST(LargeCopyTest, PastTheCacheBringsEveryByteAndNoOther) {
    const std::vector<unsigned char> source = Pattern(1024);
    for (std::size_t to = 0; to < 65; to += 7) {
        for (const unsigned int bytes : {0U, 1U, 15U, 63U, 64U, 65U, 127U, 200U, 511U}) {
            std::vector<unsigned char> target(1024, 0xEE);
            std::vector<unsigned char> expected = target;
            if (!vxcio::CopyPastTheCache(target.data() + to, source.data() + 3, bytes)) {
                return; // this processor has no such stores, and nobody takes this way
            }
            std::memcpy(expected.data() + to, source.data() + 3, bytes);
            ASSERT_EQ(target, expected) << to << " " << bytes;
        }
    }
}

TEST(LargeCopyTest, LargePiecesMayOverlapEitherWay) {
    const std::vector<unsigned char> source = Pattern(kMiB);
    std::vector<unsigned char> up = source;
    vxcio::CopyForAnotherCore(up.data() + 10, up.data(), kMiB - 10);
    EXPECT_EQ(std::memcmp(up.data() + 10, source.data(), kMiB - 10), 0);
    std::vector<unsigned char> down = source;
    vxcio::CopyForAnotherCore(down.data(), down.data() + 10, kMiB - 10);
    EXPECT_EQ(std::memcmp(down.data(), source.data() + 10, kMiB - 10), 0);
}

TEST(LargeCopyTest, EveryCopyIsWholeWhicheverWayItGoes) {
    const std::vector<unsigned char> source = Pattern(kMiB);
    std::vector<unsigned char> target(kMiB);
    for (std::size_t i = 0; i < 8; ++i) {
        std::memset(target.data(), 0, target.size());
        vxcio::CopyForAnotherCore(target.data() + i, source.data(), kMiB - i);
        ASSERT_EQ(std::memcmp(target.data() + i, source.data(), kMiB - i), 0);
    }
}

TEST(LargeCopyTest, OneSlowCopyChangesNothing) {
    CopyChoice choice;
    choice.Took(kMiB, kSlow);
    EXPECT_FALSE(choice.Next());
    choice.Took(kMiB, kFast);
    choice.Took(kMiB, kSlow);
    EXPECT_FALSE(choice.Next());
}

TEST(LargeCopyTest, TwoSlowCopiesInARowSendTheNextOnesPastTheCache) {
    CopyChoice choice;
    choice.Took(kMiB, kSlow);
    choice.Took(kMiB, kSlow);
    for (uint32 i = 0; i < CopyChoice::kTryAgain; ++i) {
        ASSERT_TRUE(choice.Next());
    }
    EXPECT_FALSE(choice.Next()); // a try
}

TEST(LargeCopyTest, ATryThatIsSlowIsNotRepeatedAtOnceAndOneThatIsFastStays) {
    CopyChoice choice;
    choice.Took(kMiB, kSlow);
    choice.Took(kMiB, kSlow);
    while (choice.Next()) {
    }
    choice.Took(kMiB, kSlow);
    EXPECT_TRUE(choice.Next());
    while (choice.Next()) {
    }
    choice.Took(kMiB, kFast);
    EXPECT_FALSE(choice.Next());
    choice.Took(kMiB, kSlow);
    EXPECT_FALSE(choice.Next());
}

} // namespace
