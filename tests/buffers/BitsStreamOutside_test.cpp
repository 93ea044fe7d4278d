// Cursors that have left the buffer: at the byte behind it, and after AlignCurBytes.
#include "buffers/BitsStreamFixture.h"

#include <climits>

using vxcio::test::BitsStreamFixture;

namespace {

class BitsStreamOutsideTest : public BitsStreamFixture {};

} // namespace

// ---- The byte behind the buffer -----------------------------------------------------------------------

TEST_F(BitsStreamOutsideTest, ABitTakenBehindTheBufferIsOneOfTheByteThere) {
    Over({0x12, 0x34, 0xA5, 0x77});
    EXPECT_EQ(bits.InitBuffer(Buffer(), 2), 1);
    EXPECT_EQ(bits.SeekBytePtr(2), 1);
    EXPECT_EQ(GetOne(), 1);
    EXPECT_EQ(Get(3), 2u);
    EXPECT_EQ(GetOne(), 0);
    EXPECT_EQ(Get(3), 5u);
    ExpectAt(2, 24);
    // And there it ends.
    EXPECT_EQ(Get(1), 0xBADu);
    EXPECT_EQ(GetOne(), -1);
    EXPECT_EQ(bits.SeekBitsPtr(-4), 0); // the end has passed
    EXPECT_EQ(bits.SeekBitsPtr(-8), 1);
    EXPECT_EQ(Get(12), 0xBADu);
    EXPECT_EQ(bits.SetBitsPtr(17), 1);
    EXPECT_EQ(Get(4), 4u);
}

TEST_F(BitsStreamOutsideTest, BitsWrittenBehindTheBufferAreNeverStored) {
    Over({0x12, 0x34, 0x81, 0x77});
    EXPECT_EQ(bits.InitBuffer(Buffer(), 2), 1);
    EXPECT_EQ(bits.SeekBitsPtr(16), 1);
    EXPECT_EQ(bits.PutBits(3, 4), 1);
    bits.Flush();
    EXPECT_EQ(bits.PutBit(1), 1);
    EXPECT_EQ(bits.SetBitsPtr(16), 1);
    EXPECT_EQ(bits.PutBits(0xF, 4), 1);
    EXPECT_EQ(bits.PutBits(0xFF, 5), 0);
    EXPECT_EQ(bits.SeekBytePtr(-1), 1);
    EXPECT_EQ(bits.SeekBytePtr(1), 1);
    EXPECT_EQ(bits.PutDWORD(0xFFFFFFFF), 0);
    EXPECT_EQ(bits.SetBytePtrPos(0), 1);
    bits.Flush();
    EXPECT_EQ(Bytes(), (std::vector<uint8>{0x12, 0x34, 0x81, 0x77}));
}

TEST_F(BitsStreamOutsideTest, ASingleBitReadBehindTheBufferSeesTheBitsWrittenThere) {
    Over({0x12, 0x34, 0x81, 0x77});
    EXPECT_EQ(bits.InitBuffer(Buffer(), 2), 1);
    EXPECT_EQ(bits.SeekBytePtr(2), 1);
    EXPECT_EQ(bits.PutBits(0x7F, 4), 1); // also on bits of the byte that are to come
    EXPECT_EQ(bits.PutBits(0xF, 2), 1);
    EXPECT_EQ(bits.GetBit(nullptr), 1);
    EXPECT_EQ(GetOne(), 1); // the byte's own
    EXPECT_EQ(bits.SeekBitsPtr(-8), 1);
    EXPECT_EQ(Get(8), 0x81u);
}

// As that of every byte, its copy is taken anew by a field and kept by a single bit.
TEST_F(BitsStreamOutsideTest, TheByteBehindTheBufferIsLookedAtWhenAFieldIsReadAndNotByEveryBit) {
    Over({0x12, 0x00});
    EXPECT_EQ(bits.InitBuffer(Buffer(), 1), 1);
    EXPECT_EQ(bits.SeekBytePtr(1), 1);
    EXPECT_EQ(GetOne(), 0);
    Buffer()[1] = 0xFF;
    EXPECT_EQ(GetOne(), 0);
    EXPECT_EQ(Get(1), 0u);
    Buffer()[1] = 0x00;
    EXPECT_EQ(GetOne(), 1);
    EXPECT_EQ(Get(1), 1u);
    EXPECT_EQ(Get(3), 0u);
}

TEST_F(BitsStreamOutsideTest, BitsWrittenBehindTheBufferJoinThoseOfTheByteThere) {
    Over({0x12, 0x05});
    EXPECT_EQ(bits.InitBuffer(Buffer(), 1), 1);
    EXPECT_EQ(bits.SeekBytePtr(1), 1);
    EXPECT_EQ(bits.PutBits(0xA, 4), 1);
    bits.AlignCurBytes(); // the copy from its first bit again
    for (const int bit : {1, 0, 1, 0, 0, 1, 0, 1}) {
        EXPECT_EQ(GetOne(), bit);
    }
    EXPECT_EQ(Flushed(), (std::vector<uint8>{0x12, 0x05}));
}

TEST_F(BitsStreamOutsideTest, ANewBufferForgetsThatTheCursorWasBehindTheOldOne) {
    Over({0x00, 0x00});
    EXPECT_EQ(bits.InitBuffer(Buffer(), 1), 1);
    EXPECT_EQ(bits.SeekBytePtr(1), 1);
    EXPECT_EQ(bits.InitBuffer(Buffer(), 1), 1);
    Buffer()[0] = 0xFF;
    EXPECT_EQ(GetOne(), 0); // the copy was taken before
    EXPECT_EQ(Get(1), 0u);
    EXPECT_EQ(GetOne(), 1);
}

// ---- AlignCurBytes ------------------------------------------------------------------------------------

TEST_F(BitsStreamOutsideTest, AlignmentAtBit0ChangesNothing) {
    Over({0x12, 0x34});
    bits.AlignCurBytes();
    ExpectAt(0, 0);
    EXPECT_EQ(bits.IsAligned(), 1);
    EXPECT_EQ(Get(16), 0x1234u);
}

TEST_F(BitsStreamOutsideTest, AlignmentDoublesTheIndexAndReadsTheSameByteAgain) {
    Over({0x10, 0x21, 0x32, 0x43, 0x54, 0x65, 0x76, 0x87, 0x98, 0xA9, 0xBA, 0xCB, 0xDC, 0xED});
    EXPECT_EQ(bits.SeekBytePtr(3), 1);
    EXPECT_EQ(Get(5), 8u);
    bits.AlignCurBytes();
    ExpectAt(6, 48);
    EXPECT_EQ(bits.IsAligned(), 1);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 3);
    // On from the old place in memory, with the new index.
    EXPECT_EQ(Get(8), 0x43u);
    ExpectAt(7, 56);
    EXPECT_EQ(Get(12), 0x546u);
    ExpectAt(8, 68);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 5);
    // The index ends first.
    EXPECT_EQ(bits.SeekBytePtr(3), 1);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 11);
}

TEST_F(BitsStreamOutsideTest, AlignmentStoresNothingAndKeepsWhatWasWritten) {
    OverZeros(14);
    EXPECT_EQ(bits.PutBits(0, 8), 1);
    EXPECT_EQ(bits.PutBits(0x7, 3), 1);
    bits.AlignCurBytes();
    EXPECT_EQ(Bytes(), std::vector<uint8>(14));
    EXPECT_EQ(bits.PutBits(1, 8), 1);
    EXPECT_EQ(Bytes()[1], 0xE1);
}

TEST_F(BitsStreamOutsideTest, AfterAnAlignmentWritesStayWhereTheOldIndexWas) {
    OverZeros(40);
    EXPECT_EQ(bits.SeekBytePtr(10), 1);
    bits.AlignCurBytes();
    ExpectAt(20, 160);
    EXPECT_EQ(bits.PutBYTE(0x11), 1);
    EXPECT_EQ(bits.PutDWORD(0x22334455), 1);
    EXPECT_EQ(Get(32), 0u);
    ExpectAt(29, 232);
    std::vector<uint8> wanted(40);
    for (uint8 i = 0; i < 5; ++i) {
        wanted[10u + i] = static_cast<uint8>(0x11 * (i + 1));
    }
    EXPECT_EQ(Flushed(), wanted);
}

// However much memory there still is.
TEST_F(BitsStreamOutsideTest, AfterAnAlignmentTheIndexEndsFirst) {
    Over(std::vector<uint8>(20, 0x0F));
    EXPECT_EQ(bits.SeekBytePtr(10), 1);
    bits.AlignCurBytes();
    ExpectAt(20, 160);
    EXPECT_EQ(bits.PutBYTE(0xF0), 1);
    ExpectAt(20, 168);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 10);
    EXPECT_EQ(Bytes()[10], 0xFF);
    EXPECT_EQ(bits.PutBYTE(0xF0), 0);

    Over(std::vector<uint8>(20, 0x0F));
    EXPECT_EQ(bits.SeekBytePtr(9), 1);
    bits.AlignCurBytes();
    unsigned int value = 0;
    EXPECT_EQ(bits.GetBits(&value, 24), 0);
    EXPECT_EQ(value, 0x0F0F00u);
    ExpectAt(20, 160);
    EXPECT_EQ(bits.PutBits(0xFFFFFF, 24), 0);
    EXPECT_EQ(Flushed(), std::vector<uint8>(20, 0x0F));
}

// A move by bytes goes by the index, wherever the current byte has been.
TEST_F(BitsStreamOutsideTest, AMoveByBytesAfterAnAlignmentGoesByTheIndex) {
    Over({0x10, 0x21, 0x32, 0x43, 0x54, 0x65, 0x76, 0x87});
    EXPECT_EQ(bits.SeekBytePtr(3), 1);
    bits.AlignCurBytes();
    EXPECT_EQ(bits.SeekBytePtr(-5), 1);
    ExpectAt(1, 8);
    EXPECT_EQ(Get(8), 0x21u);
}

TEST_F(BitsStreamOutsideTest, AlignmentAfterTheEndReadsTheLastByteAgain) {
    Over({0x10, 0x21, 0x32});
    ReadAll();
    bits.AlignCurBytes();
    ExpectAt(6, 48);
    EXPECT_EQ(Get(8), 0x32u);
    ExpectAt(6, 56);
    EXPECT_EQ(Get(1), 0xBADu);
    EXPECT_EQ(bits.SeekBytePtr(-2), 0);
    EXPECT_EQ(bits.SeekBytePtr(-6), 1);
    ExpectAt(0, 8); // as the field that was read twice
}

// The index doubles until it wraps; then it is below 0 in every sum, and back at 0 in the end.
TEST_F(BitsStreamOutsideTest, AlignmentsWithoutEndWrapTheIndexAndTouchNothingElse) {
    std::vector<uint8> content(16);
    for (uint8 i = 0; i < 16; ++i) {
        content[i] = static_cast<uint8>(0xF0 + i);
    }
    Over(content);
    EXPECT_EQ(bits.SeekBytePtr(8), 1);
    uint32 index = 8;
    for (int i = 0; i < 27; ++i) {
        bits.AlignCurBytes();
        index *= 2;
        ExpectAt(index, int64{index} * 8);
        EXPECT_EQ(bits.SeekBytePtr(0), index <= 16 ? 1 : 0);
    }
    bits.AlignCurBytes();
    ExpectAt(0x80000000u, int64{INT_MIN} * 8);
    EXPECT_EQ(bits.SeekBitsPtr(0), 0);
    EXPECT_EQ(bits.SetBitsPtr(0), 0);
    EXPECT_EQ(bits.SeekBytePtr(INT_MAX), 0);
    bits.AlignCurBytes();
    ExpectAt(0, 0);

    // With an index at the start and the current byte at the end the cursor runs out of the buffer: zeros.
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 16);
    EXPECT_EQ(bits.PutDWORD(0xFFFFFFFF), 1);
    EXPECT_EQ(Get(32), 0u);
    EXPECT_EQ(bits.PutBYTE(0xFF), 1);
    bits.Flush();
    ExpectAt(9, 72);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 25);
    EXPECT_EQ(Bytes(), content);
    EXPECT_EQ(bits.SetBytePtrPos(1), 1);
    EXPECT_EQ(Get(8), 0xF1u);
}

TEST_F(BitsStreamOutsideTest, ACursorThatRanOutOfTheBufferReadsZerosThereAndWritesNothing) {
    Over(std::vector<uint8>(16, 0xFF));
    EXPECT_EQ(bits.SeekBytePtr(8), 1);
    for (int i = 0; i < 29; ++i) {
        bits.AlignCurBytes();
    }
    ExpectAt(0, 0);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 8);
    EXPECT_EQ(Get(32), 0xFFFFFFFFu);
    EXPECT_EQ(Get(32), 0xFFFFFFFFu);
    ExpectAt(8, 64);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 16);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(GetOne(), 0);
        EXPECT_EQ(Get(3), 0u);
        EXPECT_EQ(bits.PutBits(5, 3), 1);
        EXPECT_EQ(Get(2), 0u);
    }
    EXPECT_EQ(bits.PutDWORD(0x12345678), 1);
    bits.Flush();
    ExpectAt(15, 123);
    EXPECT_EQ(Get(8), 0xBADu);
    EXPECT_EQ(Bytes(), std::vector<uint8>(16, 0xFF));
}

// Whoever comes from beyond has not gone to the byte behind the buffer, and need not have one.
TEST_F(BitsStreamOutsideTest, TheByteBehindTheBufferIsNotReadByOneWhoComesFromBeyondIt) {
    Over({0xFF, 0xFF});
    EXPECT_EQ(bits.SetBytePtrPos(1), 1);
    bits.AlignCurBytes();
    bits.AlignCurBytes();
    ExpectAt(4, 32);
    EXPECT_EQ(bits.SetBitsPtr(17), 1);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 2);
    EXPECT_EQ(Get(3), 0u);
    EXPECT_EQ(GetOne(), 0);
    EXPECT_EQ(bits.SeekBitsPtr(-5), 1);
    EXPECT_EQ(Get(4), 0xEu) << "one who went there by a seek reads it";
}

TEST_F(BitsStreamOutsideTest, APositionBeyondTheBufferThatIsBehindTheCursorReadsAsZero) {
    Over({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(bits.SeekBytePtr(7), 1);
    bits.AlignCurBytes();
    bits.AlignCurBytes();
    ExpectAt(28, 224);
    EXPECT_EQ(bits.SetBitsPtr(99), 1);
    ExpectAt(12, 99);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 12);
    EXPECT_EQ(Get(5), 0u);
    EXPECT_EQ(Get(1), 0xBADu);
    EXPECT_EQ(bits.SetBitsPtr(96), 1);
    EXPECT_EQ(bits.PutBits(0x55, 8), 1);
    bits.Flush();
    EXPECT_EQ(bits.SetBitsPtr(8), 1);
    EXPECT_EQ(Get(8), 0xFFu);
}
