#include "buffers/BitsStreamFixture.h"

#include <climits>

using vxcio::test::BitsStreamFixture;

using BitsStreamWriteTest = BitsStreamFixture;
using Memory = std::vector<uint8>;

TEST_F(BitsStreamWriteTest, MemoryShowsTheBitsAfterAFlush) {
    OverZeros(2);
    EXPECT_EQ(bits.PutBits(0x5, 3), 1);
    EXPECT_EQ(Bytes(), (Memory{0, 0}));
    bits.Flush();
    EXPECT_EQ(Bytes(), (Memory{0xA0, 0}));
}

TEST_F(BitsStreamWriteTest, MemoryShowsTheBitsOnceTheCursorHasLeftTheByte) {
    OverZeros(3);
    EXPECT_EQ(bits.PutBits(0xFF, 8), 1); // goes on at once
    EXPECT_EQ(Bytes(), (Memory{0xFF, 0, 0}));
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(bits.PutBit(1), 1); // goes on when it is called again
    }
    EXPECT_EQ(Bytes(), (Memory{0xFF, 0, 0}));
    EXPECT_EQ(bits.PutBit(1), 1);
    EXPECT_EQ(Bytes(), (Memory{0xFF, 0xFF, 0}));
}

TEST_F(BitsStreamWriteTest, WordsAndDoubleWordsAreBigEndianAnywhere) {
    OverZeros(12);
    EXPECT_EQ(bits.PutBYTE(0x12), 1);
    EXPECT_EQ(bits.GetCurBitsPos(), 8);
    EXPECT_EQ(bits.PutBYTE(0x34), 1);
    EXPECT_EQ(bits.GetCurBitsPos(), 16);
    EXPECT_EQ(bits.SeekBitsPtr(-16), 1);
    EXPECT_EQ(bits.PutWORD(0x1234), 1);
    EXPECT_EQ(Flushed(), (Memory{0x12, 0x34, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(bits.PutDWORD(0x56789ABC), 1);
    EXPECT_EQ(bits.PutBits(0xD, 4), 1);
    EXPECT_EQ(bits.PutBYTE(0xEF), 1);
    EXPECT_EQ(bits.PutWORD(0x0123), 1);
    EXPECT_EQ(bits.PutBits(4, 4), 1);
    EXPECT_EQ(Bytes(), (Memory{0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0, 0x12, 0x34, 0, 0}));
}

TEST_F(BitsStreamWriteTest, ZerosNeverClearWhatIsThere) {
    Over({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(bits.PutBit(0), 1);
    EXPECT_EQ(bits.PutBits(0, 13), 1);
    EXPECT_EQ(bits.PutDWORD(0), 1);
    EXPECT_EQ(bits.PutBits(0, 2), 1);
    EXPECT_EQ(bits.PutBYTE(0), 1);
    EXPECT_EQ(bits.PutWORD(0), 1);
    EXPECT_EQ(Flushed(), Memory(10, 0xFF));
}

TEST_F(BitsStreamWriteTest, EveryValueBut0IsABitOf1) {
    OverZeros(1);
    for (const int bit : {1, 0, -1, 0, 2, 256, 0, INT_MIN}) {
        EXPECT_EQ(bits.PutBit(bit), 1);
    }
    EXPECT_EQ(Flushed(), (Memory{0xAD}));
    OverZeros(1);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(bits.PutBit(0), 1);
    }
    EXPECT_EQ(Flushed(), (Memory{0}));
}

TEST_F(BitsStreamWriteTest, ACountBelow1WritesNothingAndSucceeds) {
    OverZeros(2);
    for (const int count : {0, -1, INT_MIN}) {
        EXPECT_EQ(bits.PutBits(0xFFFFFFFF, count), 1);
    }
    EXPECT_EQ(bits.GetCurBitsPos(), 0);
    EXPECT_EQ(Flushed(), (Memory{0, 0}));
    // It goes on to the next byte as any write, and fails where there is none.
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(bits.PutBit(0), 1);
    }
    EXPECT_EQ(bits.PutBits(0, 0), 1);
    EXPECT_EQ(bits.GetCurBytesPos(), 1u);
    EXPECT_EQ(bits.IsAligned(), 1);
    EXPECT_EQ(bits.PutBYTE(0), 1);
    EXPECT_EQ(bits.PutBits(0, 0), 0);
}

TEST_F(BitsStreamWriteTest, BitsAboveTheFieldLandOnThoseBeforeItInItsFirstByteOnly) {
    for (const std::size_t size : {std::size_t{3}, std::size_t{20}}) { // close to the end, and far from it
        OverZeros(size);
        EXPECT_EQ(bits.PutBits(0, 12), 1);
        EXPECT_EQ(bits.PutBits(0xFFFFFFFD, 2), 1);
        EXPECT_EQ(Flushed()[0], 0);
        EXPECT_EQ(Bytes()[1], 0xF4);

        OverZeros(size);
        EXPECT_EQ(bits.PutBits(0, 14), 1);
        EXPECT_EQ(bits.PutBits(0x3F, 4), 1); // it begins with the last two bits of the byte
        EXPECT_EQ(Flushed()[0], 0);
        EXPECT_EQ(Bytes()[1], 0x0F);
        EXPECT_EQ(Bytes()[2], 0xC0);
    }
}

TEST_F(BitsStreamWriteTest, OfMoreThan32BitsThoseBeforeTheLast32AreZero) {
    OverZeros(12);
    EXPECT_EQ(bits.PutBits(0xFFFFFFFF, 35), 1);
    EXPECT_EQ(bits.GetCurBitsPos(), 35);
    EXPECT_EQ(Flushed(), (Memory{0x1F, 0xFF, 0xFF, 0xFF, 0xE0, 0, 0, 0, 0, 0, 0, 0}));
    OverZeros(12);
    EXPECT_EQ(bits.PutBits(0x81000001, 64), 1);
    EXPECT_EQ(Flushed(), (Memory{0, 0, 0, 0, 0x81, 0, 0, 1, 0, 0, 0, 0}));
    EXPECT_EQ(bits.PutBits(0xFFFFFFFF, INT_MAX), 0);
    EXPECT_EQ(bits.GetCurBitsPos(), 96);
    EXPECT_EQ(Flushed(), (Memory{0, 0, 0, 0, 0x81, 0, 0, 1, 0, 0, 0, 0}));
}

TEST_F(BitsStreamWriteTest, AFieldCutByTheEndIsThereAsFarAsItGoes) {
    OverZeros(2);
    EXPECT_EQ(bits.PutBits(0, 4), 1);
    EXPECT_EQ(bits.PutBits(0xABCDE, 20), 0);
    EXPECT_EQ(Bytes(), (Memory{0x0A, 0xBC}));
    EXPECT_EQ(bits.GetCurBytesPos(), 2u);
    EXPECT_EQ(bits.GetCurBitsPos(), 16);
    EXPECT_EQ(bits.PutBit(1), 0);
    EXPECT_EQ(bits.PutBYTE(0xFF), 0);
    EXPECT_EQ(bits.PutDWORD(0xFFFFFFFF), 0);
    EXPECT_EQ(Flushed(), (Memory{0x0A, 0xBC}));
}

TEST_F(BitsStreamWriteTest, TheLastFieldIsInPlaceAndTheNextWriteFails) {
    OverZeros(2);
    EXPECT_EQ(bits.PutWORD(0xBEEF), 1);
    EXPECT_EQ(Bytes(), (Memory{0xBE, 0xEF}));
    EXPECT_EQ(bits.GetCurBytesPos(), 2u);
    EXPECT_EQ(bits.PutWORD(0xFFFF), 0);
    EXPECT_EQ(bits.GetCurBytesPos(), 2u);
    // Single bits: the last byte is stored by the call that finds the end.
    OverZeros(1);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(bits.PutBit(1), 1);
    }
    EXPECT_EQ(bits.GetCurBytesPos(), 0u);
    EXPECT_EQ(Bytes(), (Memory{0}));
    EXPECT_EQ(bits.PutBit(1), 0);
    EXPECT_EQ(bits.GetCurBytesPos(), 1u);
    EXPECT_EQ(Bytes(), (Memory{0xFF}));
}

// Whoever writes a field may have given what follows it to another, as long as it does not reach into it.
TEST_F(BitsStreamWriteTest, BytesBehindAFieldStayAsTheCallerMadeThem) {
    for (int count = 1; count <= 32; ++count) {
        for (int ahead = 0; ahead < 8; ++ahead) {
            OverZeros(16);
            EXPECT_EQ(bits.PutBits(0, ahead), 1);
            EXPECT_EQ(bits.PutBits(0xFFFFFFFFu >> (32 - count), count), 1);
            const auto current = static_cast<std::ptrdiff_t>((ahead + count) / 8);
            const Memory before = Bytes();
            EXPECT_TRUE(
                std::all_of(before.begin() + current, before.end(), [](uint8 byte) { return byte == 0; }))
                << count << " bits from bit " << ahead;
            // The current byte was taken up when the cursor came to it; the others were not.
            std::fill(Buffer() + current + 1, Buffer() + 16, uint8{0xFF});
            EXPECT_EQ(bits.PutBits(0, 8 - (ahead + count) % 8), 1);
            const Memory bytes = Bytes();
            EXPECT_TRUE(std::all_of(bytes.begin() + current + 1, bytes.end(),
                                    [](uint8 byte) { return byte == 0xFF; }))
                << count << " bits from bit " << ahead;
            EXPECT_EQ(bits.GetCurBytesPos(), static_cast<uint32>(current) + 1);
        }
    }
}

TEST_F(BitsStreamWriteTest, AByteTheCallerChangedSinceTheCursorCameIsOverwrittenByTheCopy) {
    for (const std::size_t size : {std::size_t{3}, std::size_t{20}}) {
        OverZeros(size);
        EXPECT_EQ(bits.PutBits(1, 4), 1);
        Buffer()[0] = 0xFF;
        Buffer()[1] = 0x80;
        EXPECT_EQ(bits.PutBits(0x21, 8), 1);
        EXPECT_EQ(Bytes()[0], 0x12);
        EXPECT_EQ(Flushed()[1], 0x90);
        OverZeros(size);
        Buffer()[0] = 0xFF;
        EXPECT_EQ(bits.PutBYTE(0x21), 1);
        EXPECT_EQ(Bytes()[0], 0x21);
    }
}
