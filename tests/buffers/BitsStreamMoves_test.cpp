#include "buffers/BitsStreamFixture.h"

#include <climits>

using vxcio::test::BitsStreamFixture;

namespace {

class BitsStreamMovesTest : public BitsStreamFixture {};

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
