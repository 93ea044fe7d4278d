// Blocks: their bytes, their checks, and counts that a peer made up.
#include "bridge/SerializeTesting.h"

#include <gtest/gtest.h>

#include <numeric>

using namespace vxcio;
using namespace vxcio::test;

namespace {

const Bytes kThree = {0x0A, 0x0B, 0x0C};

// What a read of a block left.
struct BlockRead {
    int result = 0;
    unsigned char* data = nullptr;
    unsigned int count = 4711;
};

BlockRead Point(CVXCSerialize& stream) {
    BlockRead read;
    read.result = stream.ReadBlock(read.data, read.count, 0);
    return read;
}

// A read that must leave everything but the position and the error.
void ExpectRefused(CVXCSerialize& stream, int error, unsigned int position) {
    unsigned char room[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    for (const int copy : {0, 1}) {
        CVXCSerialize reader = stream;
        unsigned char* data = room;
        unsigned int count = 4711;
        EXPECT_EQ(reader.ReadBlock(data, count, copy), 0);
        EXPECT_EQ(reader.m_nError, error);
        EXPECT_EQ(reader.m_dwPosition, position);
        EXPECT_EQ(data, room);
        EXPECT_EQ(count, 4711u);
        EXPECT_EQ(room[0], 1);
    }
}

} // namespace

TEST(SerializeBlockTest, ABlockIsItsTagItsCountAndItsBytes) {
    TestStream out(10);
    EXPECT_EQ(out.WriteBlock(kThree.data(), 3), 1);
    EXPECT_EQ(out.Written(), Bytes({0x62, 0x6C, 3, 0, 0, 0, 0x0A, 0x0B, 0x0C}));
    EXPECT_EQ(out.All().back(), kUntouched);
}

TEST(SerializeBlockTest, ABlockThatJustFitsIsWrittenAndOneByteLessIsNot) {
    TestStream fits(9);
    EXPECT_EQ(fits.WriteBlock(kThree.data(), 3), 1);
    for (std::size_t less = 0; less < 9; ++less) {
        TestStream out(less);
        EXPECT_EQ(out.WriteBlock(kThree.data(), 3), 0);
        EXPECT_EQ(out.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_EQ(out.m_dwPosition, 0u);
        EXPECT_TRUE(out.IsUntouched());
    }
}

TEST(SerializeBlockTest, ANullPointerLeavesNoTraceInAnyState) {
    for (const int direction : {0, 1}) {
        for (const int error : {0, 1, 2}) {
            TestStream out(4);
            out.m_nDirection = direction;
            out.m_nError = error;
            EXPECT_EQ(out.WriteBlock(nullptr, 3), 1);
            EXPECT_EQ(out.WriteBlock(nullptr, 0xFFFFFFFF), 1);
            EXPECT_EQ(out.m_nError, error);
            EXPECT_EQ(out.m_dwPosition, 0u);
            EXPECT_TRUE(out.IsUntouched());
        }
    }
}

TEST(SerializeBlockTest, AnEmptyBlockTakesSixBytesAndReadsAsAFailureWithoutAnError) {
    TestStream out(6);
    EXPECT_EQ(out.WriteBlock(kThree.data(), 0), 1);
    EXPECT_EQ(out.All(), Bytes({'b', 'l', 0, 0, 0, 0}));
    TestStream in(out.All());
    ExpectRefused(in, VXC_SERIALIZE_OK, 6);
}

TEST(SerializeBlockTest, TheChecksOfAWriteComeInTheirOrder) {
    TestStream loading(0);
    loading.m_nDirection = VXC_SERIALIZE_LOAD;
    loading.m_nError = VXC_SERIALIZE_WRONG_TAG;
    EXPECT_EQ(loading.WriteBlock(kThree.data(), 3), 0);
    EXPECT_EQ(loading.m_nError, VXC_SERIALIZE_WRONG_DIRECTION);

    TestStream small(8);
    small.m_nError = VXC_SERIALIZE_WRONG_TAG;
    EXPECT_EQ(small.WriteBlock(kThree.data(), 3), 0);
    EXPECT_EQ(small.m_nError, VXC_SERIALIZE_NO_SPACE);

    TestStream failed(9);
    failed.m_nError = VXC_SERIALIZE_WRONG_TAG;
    EXPECT_EQ(failed.WriteBlock(kThree.data(), 3), 0);
    EXPECT_EQ(failed.m_nError, VXC_SERIALIZE_WRONG_TAG);
    EXPECT_TRUE(failed.IsUntouched());
}

TEST(SerializeBlockTest, CountsThatWouldWrapAroundAreRefused) {
    for (const unsigned int count : {0xFFFFFFFFu, 0xFFFFFFFAu, 0xFFFFFFF9u, 0xFFFFFFF0u, 0x80000000u, 21u}) {
        for (const unsigned int position : {0u, 6u, 20u}) {
            TestStream out(26);
            out.m_dwPosition = position;
            EXPECT_EQ(out.WriteBlock(kThree.data(), count), 0);
            EXPECT_EQ(out.m_nError, VXC_SERIALIZE_NO_SPACE);
            EXPECT_TRUE(out.IsUntouched());

            Bytes bytes(position, 0);
            const Bytes block = BlockBytes(count, Bytes(20));
            bytes.insert(bytes.end(), block.begin(), block.end());
            TestStream in(bytes);
            in.m_dwPosition = position;
            ExpectRefused(in, VXC_SERIALIZE_NO_SPACE, position + 6);
        }
    }
}

TEST(SerializeBlockTest, ReadingInPlacePointsIntoTheBuffer) {
    TestStream in(Joined({{0, 0}, BlockBytes(3, kThree)}));
    in.m_dwPosition = 2;
    const BlockRead read = Point(in);
    EXPECT_EQ(read.result, 1);
    EXPECT_EQ(read.data, in.m_pBuffer + 8);
    EXPECT_EQ(read.count, 3u);
    EXPECT_EQ(in.m_dwPosition, 11u);
}

TEST(SerializeBlockTest, ReadingWithACopyFillsTheCallersRoomAndLeavesThePointer) {
    for (const int copy : {1, -1, 256}) {
        TestStream in(BlockBytes(3, kThree));
        unsigned char room[4] = {0, 0, 0, kUntouched};
        unsigned char* data = room;
        unsigned int count = 0;
        EXPECT_EQ(in.ReadBlock(data, count, copy), 1);
        EXPECT_EQ(data, room);
        EXPECT_EQ(count, 3u);
        EXPECT_EQ(Bytes(room, room + 4), Bytes({0x0A, 0x0B, 0x0C, kUntouched}));
        EXPECT_EQ(in.m_dwPosition, 9u);
    }
}

TEST(SerializeBlockTest, AReadRefusesTheWrongDirectionFirstAndTheEndNext) {
    TestStream storing(BlockBytes(3, kThree));
    storing.m_nDirection = VXC_SERIALIZE_STORE;
    storing.m_nError = VXC_SERIALIZE_NO_SPACE;
    ExpectRefused(storing, VXC_SERIALIZE_WRONG_DIRECTION, 0);

    TestStream atEnd(BlockBytes(3, kThree));
    atEnd.m_dwPosition = 9;
    atEnd.m_nError = VXC_SERIALIZE_WRONG_TAG;
    ExpectRefused(atEnd, VXC_SERIALIZE_NO_SPACE, 9);

    TestStream failed(BlockBytes(3, kThree));
    failed.m_nError = VXC_SERIALIZE_WRONG_TAG;
    ExpectRefused(failed, VXC_SERIALIZE_WRONG_TAG, 0);
}

TEST(SerializeBlockTest, AWrongTagIsTakenAndTheCountIsNot) {
    Bytes bytes = BlockBytes(3, kThree);
    bytes[0] = 's';
    TestStream in(bytes);
    ExpectRefused(in, VXC_SERIALIZE_WRONG_TAG, 1);
}

TEST(SerializeBlockTest, AWrongTagOfTheCountIsTakenToo) {
    Bytes bytes = BlockBytes(3, kThree);
    bytes[1] = 'q';
    TestStream in(bytes);
    ExpectRefused(in, VXC_SERIALIZE_WRONG_TAG, 2);
}

TEST(SerializeBlockTest, AWrongTagAsTheLastByteHasNoSpace) {
    TestStream in(Bytes{'x'});
    ExpectRefused(in, VXC_SERIALIZE_NO_SPACE, 1);
}

TEST(SerializeBlockTest, ABlockThatIsCutOffAnywhereHasNoSpace) {
    const Bytes whole = BlockBytes(3, kThree);
    const unsigned int positions[] = {0, 1, 2, 2, 2, 2, 6, 6, 6};
    for (std::size_t kept = 0; kept < whole.size(); ++kept) {
        TestStream in(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(kept)));
        ExpectRefused(in, VXC_SERIALIZE_NO_SPACE, positions[kept]);
    }
}

TEST(SerializeBlockTest, ABlockThatEndsWithTheStreamIsRead) {
    TestStream in(BlockBytes(3, kThree));
    EXPECT_EQ(Point(in).result, 1);
    EXPECT_EQ(in.m_dwPosition, in.m_dwCapacity);
    EXPECT_EQ(in.m_nError, VXC_SERIALIZE_OK);
}

TEST(SerializeBlockTest, WithoutABufferThereIsNoRoomForABlock) {
    CVXCSerialize stream;
    stream.m_dwCapacity = 1000;
    ExpectRefused(stream, VXC_SERIALIZE_NO_SPACE, 0);
    stream.m_nDirection = VXC_SERIALIZE_STORE;
    EXPECT_EQ(stream.WriteBlock(kThree.data(), 3), 0);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
    stream.m_nError = VXC_SERIALIZE_OK;
    EXPECT_EQ(stream.WriteBlock(kThree.data(), 0), 0);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
}

TEST(SerializeBlockTest, ABlockOfTheStreamsOwnBytesMayOverlapItsPlace) {
    TestStream out(64);
    std::iota(out.m_pBuffer, out.m_pBuffer + 64, static_cast<unsigned char>(100));
    const Bytes before = out.All();
    out.m_dwPosition = 10;
    // From behind the head, which is written at 10 to 15: to 16 to 45 from 20 to 49.
    EXPECT_EQ(out.WriteBlock(out.m_pBuffer + 20, 30), 1);
    EXPECT_EQ(Bytes(out.m_pBuffer + 16, out.m_pBuffer + 46), Bytes(before.begin() + 20, before.begin() + 50));

    TestStream ahead(64);
    std::iota(ahead.m_pBuffer, ahead.m_pBuffer + 64, static_cast<unsigned char>(100));
    ahead.m_dwPosition = 4;
    EXPECT_EQ(ahead.WriteBlock(ahead.m_pBuffer, 30), 1);
    // The head stands in what is copied by then.
    EXPECT_EQ(Bytes(ahead.m_pBuffer + 10, ahead.m_pBuffer + 40),
              Joined({{100, 101, 102, 103, 'b', 'l', 30, 0, 0, 0},
                      Bytes(before.begin() + 10, before.begin() + 30)}));
}

TEST(SerializeBlockTest, BlocksFollowEachOtherWithoutPadding) {
    TestStream out(32);
    out.WriteBlock(kThree.data(), 1);
    out.WriteBlock(kThree.data(), 3);
    out << static_cast<unsigned char>(5);
    TestStream in(out.Written());
    EXPECT_EQ(Point(in).count, 1u);
    EXPECT_EQ(Point(in).count, 3u);
    unsigned char last = 0;
    in >> last;
    EXPECT_EQ(last, 5);
    EXPECT_EQ(in.m_nError, VXC_SERIALIZE_OK);
}
