#include "buffers/BitsStreamFixture.h"

#include <climits>

using vxcio::test::BitsStreamFixture;

using BitsStreamReadTest = BitsStreamFixture;

TEST_F(BitsStreamReadTest, TheFirstBitOfAByteIsItsHighest) {
    Over({0xA1});
    for (const int bit : {1, 0, 1, 0, 0, 0, 0, 1}) {
        EXPECT_EQ(GetOne(), bit);
    }
}

TEST_F(BitsStreamReadTest, AFieldHasItsHighestBitFirst) {
    Over({0xB4, 0x5F, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(Get(3), 5u);
    EXPECT_EQ(Get(7), 0x51u);
    EXPECT_EQ(Get(6), 0x1Fu);
}

TEST_F(BitsStreamReadTest, BytesWordsAndDoubleWordsAreBigEndianAnywhere) {
    Over({0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0});
    unsigned char byte = 0;
    unsigned short word = 0;
    unsigned int dword = 0;
    EXPECT_EQ(bits.GetBYTE(&byte), 1);
    EXPECT_EQ(byte, 0x12);
    EXPECT_EQ(bits.GetWORD(&word), 1);
    EXPECT_EQ(word, 0x3456);
    EXPECT_EQ(Get(4), 7u);
    EXPECT_EQ(bits.GetDWORD(&dword), 1);
    EXPECT_EQ(dword, 0x89ABCDEFu);
    EXPECT_EQ(bits.GetCurBitsPos(), 60);
}

TEST_F(BitsStreamReadTest, AFieldOf32BitsLiesInFiveBytes) {
    Over({0xF1, 0x23, 0x45, 0x67, 0x8F});
    EXPECT_EQ(Get(4), 15u);
    EXPECT_EQ(Get(32), 0x12345678u);
    EXPECT_EQ(Get(4), 15u);
    Over({0xF1, 0x23, 0x45, 0x67, 0x8F, 0, 0, 0, 0, 0});
    EXPECT_EQ(Get(4), 15u);
    EXPECT_EQ(Get(32), 0x12345678u);
    EXPECT_EQ(bits.GetCurBytesPos(), 4u);
    EXPECT_EQ(bits.GetCurBitsPos(), 36);
}

TEST_F(BitsStreamReadTest, ACountBelow1FailsAndLeavesEverything) {
    Over({0xFF, 0xFF});
    unsigned int value = 77;
    for (const int count : {0, -1, -32, INT_MIN}) {
        EXPECT_EQ(bits.GetBits(&value, count), 0);
        EXPECT_EQ(value, 77u);
    }
    EXPECT_EQ(Get(8), 0xFFu);
    // It does not even go on to the next byte where one was read by single bits.
    Over({0xFF, 0xFF});
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(GetOne(), 1);
    }
    EXPECT_EQ(bits.GetBits(&value, 0), 0);
    EXPECT_EQ(bits.GetCurBytesPos(), 0u);
    EXPECT_EQ(bits.IsAligned(), 0);
}

TEST_F(BitsStreamReadTest, FarFromTheEndACountBelow1FailsAsWell) {
    Over(std::vector<uint8>(20, 0xFF));
    unsigned int value = 77;
    for (const int count : {0, -1, -32, INT_MIN}) {
        EXPECT_EQ(bits.GetBits(&value, count), 0);
        EXPECT_EQ(value, 77u);
        EXPECT_EQ(bits.GetCurBitsPos(), 0);
    }
}

TEST_F(BitsStreamReadTest, AFieldReplacesWhatTheValueHeld) {
    for (const std::size_t size : {std::size_t{4}, std::size_t{20}}) {
        Over(std::vector<uint8>(size, 0x11));
        unsigned int value = 0xFFFFFFFF;
        EXPECT_EQ(bits.GetBits(&value, 12), 1);
        EXPECT_EQ(value, 0x111u);
    }
}

TEST_F(BitsStreamReadTest, AFieldAfterSingleBitsIsThatOfTheNextByte) {
    Over({0xFF, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0, 0x12, 0x34, 0x56});
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(GetOne(), 1);
    }
    EXPECT_EQ(Get(12), 0x123u);
    EXPECT_EQ(bits.GetCurBitsPos(), 20);
    EXPECT_EQ(bits.GetCurBytesPos(), 2u);
}

TEST_F(BitsStreamReadTest, AWholeBufferIsReadBitByBitAndTheNextBitFails) {
    Over({0x5A, 0xC3, 0x0F});
    std::vector<uint8> read(3);
    for (unsigned i = 0; i < 24; ++i) {
        const int bit = GetOne();
        ASSERT_GE(bit, 0);
        read[i / 8] = static_cast<uint8>(read[i / 8] << 1 | bit);
    }
    EXPECT_EQ(read, Bytes());
    EXPECT_EQ(bits.GetCurBytesPos(), 2u);
    for (int i = 0; i < 3; ++i) {
        int bit = 5;
        EXPECT_EQ(bits.GetBit(&bit), 0);
        EXPECT_EQ(bit, 5);
        EXPECT_EQ(bits.GetCurBytesPos(), 3u);
        EXPECT_EQ(bits.GetCurBitsPos(), 24);
        EXPECT_EQ(bits.GetCurBytePtr(), Buffer() + 2);
    }
}

TEST_F(BitsStreamReadTest, TheFieldThatEndsWithTheBufferSucceedsAndTheNextFails) {
    Over({0x12, 0x34, 0x56});
    EXPECT_EQ(Get(5), 2u);
    EXPECT_EQ(Get(19), 0x23456u);
    EXPECT_EQ(bits.GetCurBytesPos(), 3u);
    EXPECT_EQ(bits.GetCurBitsPos(), 24);
    unsigned int value = 77;
    EXPECT_EQ(bits.GetBits(&value, 1), 0);
    EXPECT_EQ(value, 77u);
    EXPECT_EQ(bits.GetCurBytesPos(), 3u);
}

TEST_F(BitsStreamReadTest, AFieldCutByTheEndHasItsBitsAtTheirPlace) {
    Over({0xFF, 0xAB});
    EXPECT_EQ(Get(8), 0xFFu);
    unsigned int value = 77;
    EXPECT_EQ(bits.GetBits(&value, 20), 0);
    EXPECT_EQ(value, 0xAB000u);
    EXPECT_EQ(bits.GetCurBitsPos(), 16);
    EXPECT_EQ(bits.GetCurBytesPos(), 2u);
    unsigned int dword = 77;
    EXPECT_EQ(bits.GetDWORD(&dword), 0);
    EXPECT_EQ(dword, 77u);
}

TEST_F(BitsStreamReadTest, BytesAndWordsThatFailLeaveTheValueAlone) {
    Over({0xFF, 0xFF});
    EXPECT_EQ(Get(9), 0x1FFu);
    unsigned char byte = 3;
    EXPECT_EQ(bits.GetBYTE(&byte), 0);
    EXPECT_EQ(byte, 3);
    Over({0xFF});
    unsigned short word = 4;
    EXPECT_EQ(bits.GetWORD(&word), 0);
    EXPECT_EQ(word, 4);
    EXPECT_EQ(bits.GetCurBitsPos(), 8);
}

TEST_F(BitsStreamReadTest, NullSkipsBits) {
    Over({0xF0, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF1, 0x23, 0x45, 0x67});
    EXPECT_EQ(bits.GetBit(nullptr), 1);
    EXPECT_EQ(bits.GetBits(nullptr, 3), 1);
    EXPECT_EQ(bits.GetCurBitsPos(), 4);
    EXPECT_EQ(bits.GetBYTE(nullptr), 1);
    EXPECT_EQ(bits.GetWORD(nullptr), 1);
    EXPECT_EQ(bits.GetDWORD(nullptr), 1);
    EXPECT_EQ(bits.GetCurBitsPos(), 60);
    EXPECT_EQ(Get(8), 0xEFu);
    EXPECT_EQ(bits.GetBits(nullptr, 32), 0);
    EXPECT_EQ(bits.GetCurBytesPos(), 12u);
}

// There is room in a value for the last 32 bits alone.
TEST_F(BitsStreamReadTest, OfMoreThan32BitsTheLast32AreGiven) {
    Over({0xFF, 0x12, 0x34, 0x56, 0x78, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(Get(40), 0x12345678u);
    EXPECT_EQ(bits.GetCurBitsPos(), 40);
    EXPECT_EQ(bits.SeekBitsPtr(-40), 1);
    EXPECT_EQ(Get(35), 0xF891A2B3u);
    EXPECT_EQ(bits.SeekBitsPtr(-35), 1);
    unsigned int value = 77;
    EXPECT_EQ(bits.GetBits(&value, 0x7FFFFFFF), 0);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(bits.GetCurBitsPos(), 14 * 8);
}

TEST_F(BitsStreamReadTest, AReadOfSeveralBitsForgetsWhatWasWrittenToTheByteAndNotStored) {
    for (const std::size_t size : {std::size_t{2}, std::size_t{20}}) { // close to the end, and far from it
        OverZeros(size);
        EXPECT_EQ(bits.PutBits(0xF, 4), 1);
        EXPECT_EQ(Get(2), 0u);
        EXPECT_EQ(Flushed()[0], 0);

        OverZeros(size);
        EXPECT_EQ(bits.PutBits(0xF, 4), 1);
        bits.Flush();
        EXPECT_EQ(Get(2), 0u);
        EXPECT_EQ(Flushed()[0], 0xF0);
    }
}

// The copy is taken anew only after the bits were cut out of it.
TEST_F(BitsStreamReadTest, AReadGivesTheBitsOfTheCopyThatItForgets) {
    for (const std::size_t size : {std::size_t{2}, std::size_t{20}}) {
        OverZeros(size);
        EXPECT_EQ(bits.PutBits(0x3, 4), 1);
        EXPECT_EQ(bits.PutBits(0x1, 1), 1);
        EXPECT_EQ(bits.SeekBitsPtr(-3), 1); // stores it
        EXPECT_EQ(Bytes()[0], 0x38);
        Buffer()[0] = 0;
        EXPECT_EQ(Get(3), 7u); // of the copy, which is older
        EXPECT_EQ(Flushed()[0], 0);
    }
}

TEST_F(BitsStreamReadTest, ASingleBitAndASkipKeepWhatWasWrittenAndNotStored) {
    OverZeros(20);
    EXPECT_EQ(bits.PutBits(3, 2), 1);
    EXPECT_EQ(GetOne(), 0);
    EXPECT_EQ(bits.GetBits(nullptr, 2), 1);
    EXPECT_EQ(Bytes()[0], 0);
    EXPECT_EQ(Flushed()[0], 0xC0);
    // A skip stores it when it leaves the byte.
    EXPECT_EQ(bits.PutBits(1, 1), 1);
    EXPECT_EQ(bits.GetBits(nullptr, 12), 1);
    EXPECT_EQ(Bytes()[0], 0xC4);
}

// The copy of the current byte is stored on reading as well.
TEST_F(BitsStreamReadTest, ABitReadAfterTheCallerChangedItsByteIsThatOfTheCopy) {
    Over({0x00, 0xFF});
    EXPECT_EQ(GetOne(), 0);
    Buffer()[0] = 0xFF;
    for (int i = 1; i < 8; ++i) {
        EXPECT_EQ(GetOne(), 0);
    }
    EXPECT_EQ(Bytes()[0], 0xFF);
    EXPECT_EQ(GetOne(), 1);
    EXPECT_EQ(Bytes()[0], 0);
}
