// Where a stretch of a clip begins, by its MXF header.
#include "ftp/MxfHeader.h"

#include "MxfBytes.h"
#include "stress/program/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using namespace vxcio::test::mxf;
using stress::Random;

namespace {

// In memory of its exact size, so that a step over its end is seen.
int64 OriginOf(const std::string& header) {
    const std::unique_ptr<uint8[]> bytes(new uint8[header.size()]);
    std::copy(header.begin(), header.end(), bytes.get());
    const int64 origin = TrackOrigin(bytes.get(), header.size());
    EXPECT_EQ(origin, ModelOrigin(header));
    return origin;
}

uint64 CountIn(const std::string& head) {
    EXPECT_EQ(head.size(), kPartitionHead);
    const std::unique_ptr<uint8[]> bytes(new uint8[head.size()]);
    std::copy(head.begin(), head.end(), bytes.get());
    return HeaderByteCount(bytes.get());
}

constexpr int64 kMost = std::numeric_limits<int64>::max();
constexpr int64 kLeast = std::numeric_limits<int64>::min();

} // namespace

// ---- The size of the header ---------------------------------------------------------------------------

TEST(MxfHeaderTest, TheSizeOfTheHeaderIsTheBigEndianNumberAt52) {
    for (const uint64 count : {uint64{0}, uint64{1}, uint64{512}, uint64{0x0123456789ABCDEF}, ~uint64{0}}) {
        EXPECT_EQ(CountIn(Head(count)), count);
    }
}

TEST(MxfHeaderTest, WhatStandsAroundTheSizeIsNotLookedAt) {
    std::string head(kPartitionHead, '\xFF');
    head.replace(52, 8, BigEndian(4096, 8));
    EXPECT_EQ(CountIn(head), 4096U);
    head.assign(kPartitionHead, '\0');
    head[51] = '\x7F';
    head[60] = '\x7F';
    EXPECT_EQ(CountIn(head), 0U);
}

// ---- The track ----------------------------------------------------------------------------------------

TEST(MxfHeaderTest, ATrackTellsItsOrigin) {
    EXPECT_EQ(OriginOf(Track(12)), 12);
    EXPECT_EQ(OriginOf(Track(1)), 1);
    EXPECT_EQ(OriginOf(Track(0x0102030405060708)), 0x0102030405060708);
    EXPECT_EQ(OriginOf(Track(kMost)), kMost);
}

TEST(MxfHeaderTest, AHeaderWithoutATrackTellsNone) {
    EXPECT_EQ(OriginOf(Filler(100)), 0);
    EXPECT_EQ(OriginOf(Item(kPartitionKey, Origin(12))), 0);
    EXPECT_EQ(OriginOf(Item(kTrackKey, Tagged(kEditRateTag, "12345678"))), 0);
}

TEST(MxfHeaderTest, EachByteOfTheKeyCounts) {
    for (std::size_t i = 0; i < kTrackKey.size(); ++i) {
        std::string key = kTrackKey;
        key[i] = static_cast<char>(key[i] ^ 1);
        EXPECT_EQ(OriginOf(Item(key, Origin(12))), 0) << i;
    }
}

TEST(MxfHeaderTest, ItemsInFrontOfTheTrackArePassedOver) {
    std::string before;
    for (const std::size_t bytes : {0U, 1U, 19U, 20U, 255U, 256U, 70000U}) {
        before += Filler(bytes);
        EXPECT_EQ(OriginOf(before + Track(12)), 12) << bytes;
    }
}

TEST(MxfHeaderTest, AKeyInsideAnotherItemIsNone) {
    EXPECT_EQ(OriginOf(Item(kFillerKey, Track(5)) + Track(12)), 12);
    EXPECT_EQ(OriginOf("x" + Track(12)), 0);
}

TEST(MxfHeaderTest, TheFirstTrackWithAnOriginCounts) {
    EXPECT_EQ(OriginOf(Track(12) + Track(7)), 12);
    EXPECT_EQ(OriginOf(Track(7) + Filler(3) + Track(12)), 7);
    EXPECT_EQ(OriginOf(Track(0) + Track(7)), 7);
    EXPECT_EQ(OriginOf(Item(kTrackKey, "") + Track(0) + Filler(9) + Track(7) + Track(1)), 7);
}

TEST(MxfHeaderTest, AnOriginOf0OrBelowIsNone) {
    EXPECT_EQ(OriginOf(Track(0)), 0);
    EXPECT_EQ(OriginOf(Track(-1)), 0);
    EXPECT_EQ(OriginOf(Track(kLeast)), 0);
    EXPECT_EQ(OriginOf(Track(-1) + Track(3)), 3);
}

// ---- The items of the set -----------------------------------------------------------------------------

TEST(MxfHeaderTest, ItemsInFrontOfTheOriginArePassedOver) {
    EXPECT_EQ(OriginOf(Item(kTrackKey, Tagged(0x3C0A, std::string(16, 'u')) + Tagged(0x4804, "1234") +
                                           Tagged(0x0000, "") + Origin(12))),
              12);
    EXPECT_EQ(OriginOf(Item(kTrackKey, Tagged(0x1234, std::string(65535, 'v')) + Origin(12))), 12);
    EXPECT_EQ(OriginOf(Item(kTrackKey, Tagged(0x1234, Origin(5)) + Origin(12))), 12);
}

TEST(MxfHeaderTest, NeighboursOfTheTagAreOthers) {
    const std::string number = BigEndian(12, 8);
    for (const uint32 tag : {0x4B01U, 0x4B03U, 0x024BU, 0x4A02U, 0x4C02U}) {
        EXPECT_EQ(OriginOf(Item(kTrackKey, Tagged(tag, number))), 0) << tag;
        EXPECT_EQ(OriginOf(Item(kTrackKey, Tagged(tag, number) + Origin(3))), 3) << tag;
    }
}

TEST(MxfHeaderTest, TheOriginHasEightBytesWhateverItsLengthSays) {
    const std::string number = BigEndian(12, 8);
    for (const uint64 told : {0U, 4U, 7U, 9U, 65535U}) {
        const std::string origin = BigEndian(kOriginTag, 2) + BigEndian(told, 2) + number;
        EXPECT_EQ(OriginOf(Item(kTrackKey, origin)), 12) << told;
    }
}

TEST(MxfHeaderTest, WithTheFirstOriginASetIsAtItsEnd) {
    EXPECT_EQ(OriginOf(Item(kTrackKey, Origin(12) + Origin(7))), 12);
    EXPECT_EQ(OriginOf(Item(kTrackKey, Origin(0) + Origin(7))), 0);
    EXPECT_EQ(OriginOf(Item(kTrackKey, Origin(-5) + Origin(7)) + Track(9)), 9);
}

// ---- Lengths ------------------------------------------------------------------------------------------

TEST(MxfHeaderTest, TheFormOfALengthIsNotLookedAt) {
    for (const char form : {'\x00', '\x04', '\x81', '\x84', '\xFF'}) {
        std::string filler = Filler(300);
        std::string track = Track(12);
        filler[16] = form;
        track[16] = form;
        EXPECT_EQ(OriginOf(filler + track), 12);
    }
}

TEST(MxfHeaderTest, ALengthHasItsThreeBytes) {
    std::string large = Filler(0x10203);
    EXPECT_EQ(large.substr(17, 3), std::string("\x01\x02\x03"));
    EXPECT_EQ(OriginOf(large + Track(12)), 12);
}

// A length of nine bytes has its number where nobody looks.
TEST(MxfHeaderTest, ALengthOfAnotherFormLeadsAstray) {
    const std::string filler = kFillerKey + '\x87' + BigEndian(40, 7) + std::string(40, 'f');
    EXPECT_EQ(OriginOf(filler + Track(12)), 0);
    EXPECT_EQ(OriginOf(kFillerKey + '\x87' + std::string(3, '\0') + Track(12)), 12);
}

TEST(MxfHeaderTest, OneMoreItemIsMetInTheTwentyBytesBehindASet) {
    // The Origin stands so many bytes behind the end of the set.
    for (const std::size_t behind : {0U, 4U, 16U, 19U, 20U, 21U, 24U}) {
        const std::string set = Item(kTrackKey, Tagged(0x1234, std::string(behind, 'z')) + Origin(12), 4);
        EXPECT_EQ(OriginOf(set), behind < 20 ? 12 : 0) << behind;
    }
}

TEST(MxfHeaderTest, ASetOfNoBytesHasTwentyToo) {
    EXPECT_EQ(OriginOf(Item(kTrackKey, Origin(12), 0)), 12);
    EXPECT_EQ(OriginOf(Item(kTrackKey, Tagged(1, std::string(15, 'z')) + Origin(12), 0)), 12);
    EXPECT_EQ(OriginOf(Item(kTrackKey, Tagged(1, std::string(16, 'z')) + Origin(12), 0)), 0);
}

// ---- The end of the header ----------------------------------------------------------------------------

TEST(MxfHeaderTest, NoBytesTellNothing) {
    EXPECT_EQ(TrackOrigin(nullptr, 0), 0);
    EXPECT_EQ(OriginOf(""), 0);
}

TEST(MxfHeaderTest, WhatIsCutOffIsReadAsZeros) {
    const std::string whole = Filler(7) + Track(0x0101010101010101);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        int64 wanted = 0; // so many bytes of the number are there
        const std::size_t number = whole.size() - 8;
        for (std::size_t i = number; i < size; ++i) {
            wanted |= int64{1} << 8 * (7 - (i - number));
        }
        EXPECT_EQ(OriginOf(whole.substr(0, size)), wanted) << size;
    }
}

TEST(MxfHeaderTest, AnItemMayBeginAtTheLastByte) {
    for (const std::string& last : {std::string("\x06"), std::string(1, '\0'), std::string("\xFF")}) {
        EXPECT_EQ(OriginOf(Filler(50) + last), 0);
    }
    // All of the key but the zero at its end: it has a track's key, and no items.
    EXPECT_EQ(OriginOf(Filler(50) + kTrackKey.substr(0, 15)), 0);
}

TEST(MxfHeaderTest, AnItemThatBeginsAtTheEndIsNotRead) {
    const std::string filler = Filler(50);
    const std::string all = filler + Track(12);
    const auto* const bytes = reinterpret_cast<const uint8*>(all.data());
    EXPECT_EQ(TrackOrigin(bytes, filler.size()), 0);
    EXPECT_EQ(TrackOrigin(bytes, all.size()), 12);
    EXPECT_EQ(OriginOf(Item(kFillerKey, Track(12), 44)), 0);
    EXPECT_EQ(OriginOf(Item(kFillerKey, Track(12), 0xFFFFFF)), 0);
}

TEST(MxfHeaderTest, ASetThatGoesFarBeyondTheEndIsReadToTheEnd) {
    EXPECT_EQ(OriginOf(Item(kTrackKey, Tagged(1, "abc") + Origin(12), 0xFFFFFF)), 12);
    EXPECT_EQ(OriginOf(Item(kTrackKey, Tagged(1, "abc"), 0xFFFFFF)), 0);
    EXPECT_EQ(OriginOf(Item(kTrackKey, BigEndian(1, 2) + BigEndian(65535, 2), 0xFFFFFF)), 0);
    EXPECT_EQ(OriginOf(Item(kTrackKey, BigEndian(kOriginTag, 2), 0xFFFFFF)), 0);
    EXPECT_EQ(OriginOf(Item(kTrackKey, "\x4B", 0xFFFFFF)), 0);
}

TEST(MxfHeaderTest, TheLastItemMayFillTheHeader) {
    EXPECT_EQ(OriginOf(Padded(Filler(1000), 4096 - Track(12).size()) + Track(12)), 12);
}

TEST(MxfHeaderTest, ALargeHeaderIsWalkedToItsEnd) {
    constexpr std::size_t kBytes = 3 << 20;
    std::string header = Padded("", kBytes - Track(12).size()) + Track(12);
    ASSERT_EQ(header.size(), kBytes);
    EXPECT_EQ(OriginOf(header), 12);
    EXPECT_EQ(OriginOf(std::string(kBytes, '\0')), 0);
    header.assign(kBytes - Track(12).size(), '\0');
    header.resize(header.size() / 20 * 20);
    EXPECT_EQ(OriginOf(header + Track(12)), 12); // zeros are items of twenty bytes
}

// ---- Anything -----------------------------------------------------------------------------------------

namespace {

// A header that is often nearly right.
std::string RandomHeader(Random& random) {
    std::string header;
    for (uint32 items = random.Below(6); items > 0; --items) {
        std::string value;
        for (uint32 tags = random.Below(5); tags > 0; --tags) {
            const uint32 tag = random.Below(3) == 0 ? kOriginTag : 0x4B00 + random.Below(4);
            const std::string number =
                BigEndian(random.Below(4) == 0 ? 0 : uint64{random.Below(0x10000)} << random.Below(49), 8);
            value += BigEndian(tag, 2) + BigEndian(random.Below(12), 2) + number.substr(random.Below(9));
        }
        const std::string& key = random.Below(2) == 0 ? kTrackKey : kFillerKey;
        const uint64 length = random.Below(3) == 0 ? random.Below(80) : value.size();
        header += Item(key, value, random.Below(20) == 0 ? random.Below(0x1000000) : length);
    }
    for (uint32 changes = random.Below(4); changes > 0 && !header.empty(); --changes) {
        header[random.Below(static_cast<uint32>(header.size()))] = static_cast<char>(random.Below(256));
    }
    header.resize(random.Below(2) == 0 ? header.size()
                                       : random.Below(static_cast<uint32>(header.size()) + 1));
    return header;
}

} // namespace

TEST(MxfHeaderTest, AnyHeaderIsReadAsStepByStep) {
    int found = 0;
    for (uint64 seed = 1; seed <= 20000; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        found += OriginOf(RandomHeader(random)) != 0 ? 1 : 0;
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_GT(found, 2000);
    EXPECT_LT(found, 18000);
}
