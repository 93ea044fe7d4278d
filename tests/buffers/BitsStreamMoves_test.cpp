#include "buffers/BitsStreamFixture.h"

#include <climits>

using vxcio::test::BitsStreamFixture;

namespace {

class BitsStreamMovesTest : public BitsStreamFixture {
protected:
    void ExpectAt(uint32 index, int64 position) {
        EXPECT_EQ(bits.GetCurBytesPos(), index);
        EXPECT_EQ(bits.GetCurBitsPos(), position);
    }
    void ReadAll() {
        while (bits.GetBit(nullptr) == 1) {
        }
    }
};

} // namespace

TEST_F(BitsStreamMovesTest, ANewBufferStandsAtItsFirstBit) {
    Over({1, 2, 3});
    EXPECT_EQ(Get(11), 8u);
    EXPECT_EQ(bits.InitBuffer(Buffer() + 1, 2), 1);
    ExpectAt(0, 0);
    EXPECT_EQ(bits.GetBufferSize(), 2u);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 1);
    EXPECT_EQ(bits.IsAligned(), 1);
    EXPECT_EQ(bits.ReFill(), 1);
    EXPECT_EQ(Get(16), 0x0203u);
}

// What was not stored by then belongs to nobody.
TEST_F(BitsStreamMovesTest, ANewBufferDropsWhatWasNotStored) {
    OverZeros(2);
    EXPECT_EQ(bits.PutBits(7, 3), 1);
    EXPECT_EQ(bits.InitBuffer(Buffer(), 2), 1);
    EXPECT_EQ(Flushed(), (std::vector<uint8>{0, 0}));
}

TEST_F(BitsStreamMovesTest, IsAlignedTellsWhetherABitOfTheByteHasPassed) {
    OverZeros(20);
    EXPECT_EQ(bits.IsAligned(), 1);
    EXPECT_EQ(Get(1), 0u);
    EXPECT_EQ(bits.IsAligned(), 0);
    EXPECT_EQ(Get(7), 0u);
    EXPECT_EQ(bits.IsAligned(), 1);
    // Single bits go on to the next byte only when the next is asked for.
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(GetOne(), 0);
    }
    EXPECT_EQ(bits.IsAligned(), 0);
    ExpectAt(1, 16);
    EXPECT_EQ(Get(8), 0u);
    EXPECT_EQ(bits.IsAligned(), 1);
    ExpectAt(3, 24);
}

TEST_F(BitsStreamMovesTest, AddressesOfBytes) {
    Over({1, 2, 3});
    EXPECT_EQ(bits.GetBytePtr(0), Buffer());
    EXPECT_EQ(bits.GetBytePtr(2), Buffer() + 2);
    EXPECT_EQ(bits.GetBytePtr(3), nullptr);
    EXPECT_EQ(bits.GetBytePtr(INT_MAX), nullptr);
    EXPECT_EQ(bits.GetBytePtr(-1), Buffer() - 1);
    EXPECT_EQ(Get(9), 2u);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 1);
}

// ---- By bytes -----------------------------------------------------------------------------------------

TEST_F(BitsStreamMovesTest, SeekBytePtrGoesFromTheFirstByteToTheOneBehindTheLast) {
    Over({0x11, 0x22, 0x33});
    EXPECT_EQ(bits.SeekBytePtr(-1), 0);
    EXPECT_EQ(bits.SeekBytePtr(4), 0);
    EXPECT_EQ(bits.SeekBytePtr(INT_MAX), 0);
    EXPECT_EQ(bits.SeekBytePtr(INT_MIN), 0);
    ExpectAt(0, 0);
    EXPECT_EQ(bits.SeekBytePtr(2), 1);
    ExpectAt(2, 16);
    EXPECT_EQ(bits.SeekBytePtr(0), 1);
    EXPECT_EQ(Get(4), 3u);
    EXPECT_EQ(bits.SeekBytePtr(1), 1);
    ExpectAt(3, 28);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 3);
    EXPECT_EQ(bits.SeekBytePtr(1), 0);
    EXPECT_EQ(bits.SeekBytePtr(-4), 0);
    EXPECT_EQ(bits.SeekBytePtr(-3), 1);
    ExpectAt(0, 4);
}

TEST_F(BitsStreamMovesTest, SetBytePtrPosGoesToBytesOfTheBufferOnly) {
    Over({0x11, 0x22, 0x33});
    for (const int index : {-1, 3, 4, INT_MIN, INT_MAX}) {
        EXPECT_EQ(bits.SetBytePtrPos(index), 0);
    }
    ExpectAt(0, 0);
    EXPECT_EQ(bits.SetBytePtrPos(2), 1);
    ExpectAt(2, 16);
    EXPECT_EQ(Get(8), 0x33u);
    Over({0x11, 0x22, 0x33});
    EXPECT_EQ(bits.SeekBytePtr(3), 1);
    EXPECT_EQ(bits.SetBytePtrPos(1), 1);
    ExpectAt(1, 8);
    EXPECT_EQ(Get(8), 0x22u);
}

TEST_F(BitsStreamMovesTest, AMoveByBytesKeepsTheOffsetInTheByte) {
    Over({0x12, 0x34, 0x56});
    EXPECT_EQ(Get(4), 1u);
    EXPECT_EQ(bits.SeekBytePtr(2), 1);
    ExpectAt(2, 20);
    EXPECT_EQ(bits.IsAligned(), 0);
    EXPECT_EQ(Get(4), 6u);
    Over({0x12, 0x34, 0x56});
    EXPECT_EQ(GetOne(), 0);
    EXPECT_EQ(bits.SetBytePtrPos(1), 1);
    ExpectAt(1, 9);
    EXPECT_EQ(Get(7), 0x34u);
}

TEST_F(BitsStreamMovesTest, EveryMoveStoresWhatWasWritten) {
    const std::vector<uint8> stored{0x80, 0, 0};
    for (int move = 0; move < 4; ++move) {
        OverZeros(3);
        EXPECT_EQ(bits.PutBits(0x4, 3), 1);
        EXPECT_EQ(Bytes()[0], 0);
        EXPECT_EQ(move == 0   ? bits.SeekBytePtr(1)
                  : move == 1 ? bits.SetBytePtrPos(2)
                  : move == 2 ? bits.SeekBitsPtr(5)
                              : bits.SetBitsPtr(0),
                  1);
        EXPECT_EQ(Bytes(), stored) << move;
    }
}

TEST_F(BitsStreamMovesTest, AMoveThatFailsStoresNothing) {
    OverZeros(3);
    EXPECT_EQ(bits.PutBits(0x7, 3), 1);
    EXPECT_EQ(bits.SeekBytePtr(4), 0);
    EXPECT_EQ(bits.SetBytePtrPos(3), 0);
    EXPECT_EQ(bits.SeekBitsPtr(22), 0);
    EXPECT_EQ(bits.SetBitsPtr(3), 0);
    EXPECT_EQ(Bytes(), (std::vector<uint8>{0, 0, 0}));
    ExpectAt(0, 3);
    EXPECT_EQ(Flushed()[0], 0xE0);
}

// The offset is then that of a byte that has passed: none of its bits is left.
TEST_F(BitsStreamMovesTest, AfterTheEndAMoveByBytesLeavesNoBitOfTheByteGoneTo) {
    Over({0x11, 0x22, 0x33});
    ReadAll();
    ExpectAt(3, 24);
    EXPECT_EQ(bits.SetBytePtrPos(0), 1);
    ExpectAt(0, 0);
    EXPECT_EQ(bits.IsAligned(), 0);
    EXPECT_EQ(Get(8), 0x22u);
    ExpectAt(2, 8);

    Over({0x11, 0x22, 0x33});
    ReadAll();
    EXPECT_EQ(bits.SeekBytePtr(-2), 1);
    ExpectAt(1, 8);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 1);
    EXPECT_EQ(Get(8), 0x33u);

    Over({0x11, 0x22, 0x33});
    ReadAll();
    EXPECT_EQ(bits.SetBytePtrPos(2), 1);
    ExpectAt(2, 16);
    EXPECT_EQ(Get(1), 0xBADu);
    ExpectAt(3, 16);
}

// At the end the current byte is still the last one while the index is the size already.
TEST_F(BitsStreamMovesTest, AfterTheEndAMoveByBytesCountsFromTheSize) {
    Over({0x11, 0x22, 0x33});
    ReadAll();
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 2);
    EXPECT_EQ(bits.SeekBytePtr(0), 1);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 3);
    EXPECT_EQ(bits.SeekBytePtr(-3), 1);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer());
}

// ---- By bits ------------------------------------------------------------------------------------------

TEST_F(BitsStreamMovesTest, SeekBitsPtrGoesFromTheFirstBitToTheOneBehindTheLast) {
    Over({0x12, 0x34, 0x56});
    EXPECT_EQ(bits.SeekBitsPtr(-1), 0);
    EXPECT_EQ(bits.SeekBitsPtr(25), 0);
    EXPECT_EQ(bits.SeekBitsPtr(INT_MAX), 0);
    EXPECT_EQ(bits.SeekBitsPtr(INT_MIN), 0);
    ExpectAt(0, 0);
    EXPECT_EQ(bits.SeekBitsPtr(11), 1);
    ExpectAt(1, 11);
    EXPECT_EQ(bits.IsAligned(), 0);
    EXPECT_EQ(Get(5), 0x14u);
    EXPECT_EQ(bits.SeekBitsPtr(-12), 1);
    EXPECT_EQ(Get(4), 2u);
    EXPECT_EQ(bits.SeekBitsPtr(16), 1);
    ExpectAt(3, 24);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 3);
    EXPECT_EQ(bits.IsAligned(), 1);
    EXPECT_EQ(bits.SeekBitsPtr(1), 0);
    EXPECT_EQ(bits.SeekBitsPtr(-24), 1);
    ExpectAt(0, 0);
    EXPECT_EQ(Get(24), 0x123456u);
}

TEST_F(BitsStreamMovesTest, SetBitsPtrGoesBackwardsOnly) {
    Over({0x12, 0x34, 0x56});
    EXPECT_EQ(bits.SetBitsPtr(0), 0);
    EXPECT_EQ(Get(13), 0x246u);
    EXPECT_EQ(bits.SetBitsPtr(14), 0);
    EXPECT_EQ(bits.SetBitsPtr(UINT_MAX), 0);
    EXPECT_EQ(bits.SetBitsPtr(13), 0);
    ExpectAt(1, 13);
    EXPECT_EQ(bits.SetBitsPtr(12), 1);
    ExpectAt(1, 12);
    EXPECT_EQ(Get(4), 4u);
    EXPECT_EQ(bits.SetBitsPtr(0), 1);
    ExpectAt(0, 0);
    EXPECT_EQ(Get(8), 0x12u);
}

TEST_F(BitsStreamMovesTest, AfterTheEndAMoveByBitsReadsOnAsUsual) {
    Over({0x12, 0x34, 0x56});
    ReadAll();
    EXPECT_EQ(bits.SeekBitsPtr(-12), 1);
    ExpectAt(1, 12);
    EXPECT_EQ(Get(12), 0x456u);
    EXPECT_EQ(bits.SetBitsPtr(4), 1);
    EXPECT_EQ(Get(20), 0x23456u);
}

// ---- The byte behind the buffer -----------------------------------------------------------------------

TEST_F(BitsStreamMovesTest, ABitTakenBehindTheBufferIsOneOfTheByteThere) {
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

TEST_F(BitsStreamMovesTest, BitsWrittenBehindTheBufferAreNeverStored) {
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

TEST_F(BitsStreamMovesTest, ASingleBitReadBehindTheBufferSeesTheBitsWrittenThere) {
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

// ---- AlignCurBytes ------------------------------------------------------------------------------------

TEST_F(BitsStreamMovesTest, AlignmentAtBit0ChangesNothing) {
    Over({0x12, 0x34});
    bits.AlignCurBytes();
    ExpectAt(0, 0);
    EXPECT_EQ(bits.IsAligned(), 1);
    EXPECT_EQ(Get(16), 0x1234u);
}

TEST_F(BitsStreamMovesTest, AlignmentDoublesTheIndexAndReadsTheSameByteAgain) {
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

TEST_F(BitsStreamMovesTest, AlignmentStoresNothingAndKeepsWhatWasWritten) {
    OverZeros(14);
    EXPECT_EQ(bits.PutBits(0, 8), 1);
    EXPECT_EQ(bits.PutBits(0x7, 3), 1);
    bits.AlignCurBytes();
    EXPECT_EQ(Bytes(), std::vector<uint8>(14));
    EXPECT_EQ(bits.PutBits(1, 8), 1);
    EXPECT_EQ(Bytes()[1], 0xE1);
}

TEST_F(BitsStreamMovesTest, AfterAnAlignmentWritesStayWhereTheOldIndexWas) {
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

// A move by bytes goes by the index, wherever the current byte has been.
TEST_F(BitsStreamMovesTest, AMoveByBytesAfterAnAlignmentGoesByTheIndex) {
    Over({0x10, 0x21, 0x32, 0x43, 0x54, 0x65, 0x76, 0x87});
    EXPECT_EQ(bits.SeekBytePtr(3), 1);
    bits.AlignCurBytes();
    EXPECT_EQ(bits.SeekBytePtr(-5), 1);
    ExpectAt(1, 8);
    EXPECT_EQ(Get(8), 0x21u);
}

TEST_F(BitsStreamMovesTest, AlignmentAfterTheEndReadsTheLastByteAgain) {
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
TEST_F(BitsStreamMovesTest, AlignmentsWithoutEndWrapTheIndexAndTouchNothingElse) {
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

TEST_F(BitsStreamMovesTest, APositionBeyondTheBufferThatIsBehindTheCursorReadsAsZero) {
    Over({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(bits.SeekBytePtr(7), 1);
    bits.AlignCurBytes();
    bits.AlignCurBytes();
    ExpectAt(28, 224);
    EXPECT_EQ(bits.SetBitsPtr(203), 1);
    ExpectAt(25, 203);
    EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 25);
    EXPECT_EQ(Get(5), 0u);
    EXPECT_EQ(Get(1), 0xBADu);
    EXPECT_EQ(bits.SetBitsPtr(200), 1);
    EXPECT_EQ(bits.PutBits(0x55, 8), 1);
    bits.Flush();
    EXPECT_EQ(bits.SetBitsPtr(8), 1);
    EXPECT_EQ(Get(8), 0xFFu);
}
