// Plain reading over a file that answers as the test says: which pieces it asks for, and when it gives up.
#include "sources/PlainReading.h"
#include "support/Digests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;

namespace {

constexpr uint64 kFar = uint64{1} << 40;
constexpr uint32 kWorkBuffer = 0x100000;

// The n-th read gives the n-th count, the last one over and over; the bytes are zeros.
class ScriptedFile final : public PlainFile {
public:
    explicit ScriptedFile(std::vector<uint32> counts) : m_counts(std::move(counts)) {}

    bool SeekTo(uint64 position) override {
        seeks.push_back(position);
        return true;
    }
    uint32 ReadSome(uint8* buffer, uint32 bytes) override {
        const uint32 count = m_counts[std::min(reads.size(), m_counts.size() - 1)];
        reads.push_back(bytes);
        EXPECT_LE(count, bytes);
        std::memset(buffer, 0, count);
        return count;
    }
    void NoteEmptyRead(const PlainRequest& request) override { empty.push_back(request.want); }

    std::vector<uint64> seeks;
    std::vector<uint32> reads;
    std::vector<uint32> empty;

private:
    const std::vector<uint32> m_counts;
};

PlainShape Buffered(uint32 emptyPieces) {
    return {false, 512, emptyPieces};
}

class PlainReadingTest : public ::testing::Test {
protected:
    uint32 Read(ScriptedFile& file, PlainShape shape, MD5Check* fed, uint64 position, uint32 bytes) {
        return ReadPlain(file, shape, bounce, fed, position, bytesRead, bytes);
    }

    AlignedBuffer bounce;
    const std::shared_ptr<MD5Check> check = MD5Check::Make();
    uint8 bytesRead[64] = {};
};

} // namespace

TEST_F(PlainReadingTest, OnlyPiecesOfNothingInARowEndTheCatchUp) {
    ScriptedFile file({0, 0, 5, 0, 0, 7, 0, 0, 0, 3});
    EXPECT_EQ(Read(file, Buffered(3), check.get(), kFar, 10), 3U);
    EXPECT_EQ(file.reads.size(), 10U); // nine pieces, and the read itself
    EXPECT_THAT(file.seeks, ElementsAre(0U, kFar));
    EXPECT_EQ(check->Position(), 12U);
}

TEST_F(PlainReadingTest, OnlyPiecesOfNothingInARowEndTheDigest) {
    ScriptedFile file({0, 0, 5, 0, 0, 7, 0, 0, 0});
    EXPECT_TRUE(FeedRest(file, Buffered(3), *check, kFar));
    EXPECT_EQ(file.reads, std::vector<uint32>(9, kWorkBuffer));
    EXPECT_THAT(file.seeks, ElementsAre(0U));
    EXPECT_EQ(check->Position(), kFar);
    Digest digest;
    check->Final(digest.data());
    EXPECT_EQ(digest, DigestOf(std::vector<uint8>(12)));
}

TEST_F(PlainReadingTest, AFileIsGivenUpAfterAThousandAndTwentyFourPiecesOfNothing) {
    ScriptedFile file({0});
    EXPECT_EQ(Read(file, {false, 512}, check.get(), kFar, 10), 0U);
    EXPECT_EQ(file.reads.size(), 1025U);
    file.reads.clear();
    EXPECT_TRUE(FeedRest(file, {false, 512}, *check, kFar));
    EXPECT_EQ(file.reads.size(), 1024U);
}

TEST_F(PlainReadingTest, ADigestThatIsFurtherOnIsNotCaughtUp) {
    ScriptedFile file({4});
    check->Feed(bytesRead, 20);
    EXPECT_EQ(Read(file, Buffered(1), check.get(), 10, 4), 4U);
    EXPECT_EQ(Read(file, Buffered(1), check.get(), 20, 4), 4U);
    EXPECT_THAT(file.seeks, ElementsAre(10U, 20U));
    EXPECT_EQ(check->Position(), 24U);
}

TEST_F(PlainReadingTest, TheDigestCatchesUpToTheSectorThatIsRead) {
    ScriptedFile file({512});
    EXPECT_EQ(Read(file, {true, 512}, check.get(), 700, 10), 10U);
    EXPECT_THAT(file.seeks, ElementsAre(0U, 512U));
    EXPECT_THAT(file.reads, ElementsAre(512U, 512U));
    EXPECT_EQ(check->Position(), 1024U);
}

TEST_F(PlainReadingTest, AReadOfNothingIsNotedWithWhatTheFileWasAskedFor) {
    ScriptedFile file({0});
    EXPECT_EQ(Read(file, {true, 512}, nullptr, 700, 10), 0U);
    EXPECT_THAT(file.empty, ElementsAre(512U));
    EXPECT_EQ(Read(file, Buffered(1), nullptr, 700, 0), 0U);
    EXPECT_THAT(file.empty, ElementsAre(512U));
}

TEST_F(PlainReadingTest, WhatIsShortAroundTheCallersBytesTakesNothingFromThem) {
    struct {
        uint32 got;
        uint32 expected;
    } const cases[] = {{512, 10}, {400, 10}, {198, 10}, {197, 9}, {189, 1}, {188, 0}, {0, 0}};
    for (const auto& one : cases) {
        ScriptedFile file({one.got});
        std::memset(bytesRead, 0xEE, sizeof bytesRead);
        EXPECT_EQ(Read(file, {true, 512}, nullptr, 700, 10), one.expected) << one.got;
        EXPECT_THAT(file.seeks, ElementsAre(512U));
        for (uint32 i = 0; i < sizeof bytesRead; ++i) {
            EXPECT_EQ(bytesRead[i], i < one.expected ? 0 : 0xEE) << one.got << " " << i;
        }
    }
}
