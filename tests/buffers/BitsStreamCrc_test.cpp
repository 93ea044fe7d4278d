#include "buffers/BitsStreamFixture.h"

#include "buffers/BitsModel.h"
#include "buffers/LongDivision.h"
#include "stress/program/Random.h"

#include <string>
#include <string_view>

using vxcio::test::BitsModel;
using vxcio::test::BitsStreamFixture;
using vxcio::test::LongDivision;

namespace {

constexpr uint32 kNoBits = 0xFFFFFFFFu; // the CRC of nothing

uint32 CrcOf(std::string_view text) {
    return LongDivision::Of(text);
}

class BitsStreamCrcTest : public BitsStreamFixture {
protected:
    void Start(std::initializer_list<uint8> content) {
        Over(content);
        bits.StartCRC();
    }
};

} // namespace

TEST_F(BitsStreamCrcTest, OfTheCheckDigitsAsTheyAreWrittenAndAsTheyAreRead) {
    OverZeros(9);
    bits.StartCRC();
    for (uint8 digit = 0x31; digit <= 0x39; ++digit) {
        EXPECT_EQ(bits.PutBYTE(digit), 1);
    }
    EXPECT_EQ(bits.GetCRCResult(), 0x0376E6E7u);

    EXPECT_EQ(bits.InitBuffer(Buffer(), 9), 1);
    bits.StartCRC();
    EXPECT_EQ(bits.GetCRCResult(), kNoBits);
    for (const int count : {3, 1, 32, 13, 9, 14}) {
        EXPECT_NE(Get(count), 0xBADu);
    }
    EXPECT_EQ(bits.GetCRCResult(), 0x0376E6E7u);
}

TEST_F(BitsStreamCrcTest, IsReadableAfterEveryBit) {
    OverZeros(20);
    bits.StartCRC();
    std::string text;
    for (int i = 0; i < 130; ++i) {
        const bool bit = i % 3 == 0 || i % 7 == 1;
        EXPECT_EQ(bits.PutBit(bit ? 1 : 0), 1);
        text += bit ? '1' : '0';
        EXPECT_EQ(bits.GetCRCResult(), CrcOf(text)) << i;
        EXPECT_EQ(bits.GetCRCResult(), CrcOf(text)) << i; // reading it takes nothing away
    }
}

TEST_F(BitsStreamCrcTest, IsFedByEveryOperationThatPassesBits) {
    Start({0xA5, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    unsigned char byte = 0;
    unsigned short word = 0;
    unsigned int dword = 0;
    EXPECT_EQ(GetOne(), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("1"));
    EXPECT_EQ(Get(7), 0x25u);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("10100101"));
    EXPECT_EQ(bits.GetBYTE(&byte), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("1010010100010010"));
    EXPECT_EQ(bits.GetWORD(&word), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("10100101000100100011010001010110"));
    EXPECT_EQ(bits.GetDWORD(&dword), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("1010010100010010001101000101011001111000100110101011110011011110"));

    bits.StartCRC();
    EXPECT_EQ(bits.PutBit(-3), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("1"));
    EXPECT_EQ(bits.PutBits(0x25, 7), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("10100101"));
    EXPECT_EQ(bits.PutBYTE(0x12), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("1010010100010010"));
    EXPECT_EQ(bits.PutWORD(0x3456), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("10100101000100100011010001010110"));
    EXPECT_EQ(bits.PutDWORD(0x789ABCDE), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("1010010100010010001101000101011001111000100110101011110011011110"));
}

TEST_F(BitsStreamCrcTest, TheHighestBitOfAFieldFeedsItToo) {
    OverZeros(20);
    bits.StartCRC();
    EXPECT_EQ(bits.PutBits(0x80000000, 32), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("1" + std::string(31, '0')));
    EXPECT_EQ(bits.PutBits(0x4000, 15), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("1" + std::string(31, '0') + "1" + std::string(14, '0')));
}

TEST_F(BitsStreamCrcTest, IsNotFedByAMove) {
    Start({0xA5, 0x12, 0x34, 0x56, 0x78});
    EXPECT_EQ(bits.SeekBytePtr(1), 1);
    EXPECT_EQ(bits.SetBytePtrPos(3), 1);
    EXPECT_EQ(bits.SeekBitsPtr(-3), 1);
    EXPECT_EQ(bits.SetBitsPtr(1), 1);
    bits.AlignCurBytes();
    bits.Flush();
    EXPECT_EQ(bits.GetCRCResult(), kNoBits);
}

TEST_F(BitsStreamCrcTest, SkippedBitsFeedItOnlyAsBytesAndWords) {
    Start({0xA5, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0, 0x12, 0x34, 0x56});
    EXPECT_EQ(bits.GetBit(nullptr), 1);
    EXPECT_EQ(bits.GetBits(nullptr, 7), 1);
    EXPECT_EQ(bits.GetDWORD(nullptr), 1);
    EXPECT_EQ(bits.GetCRCResult(), kNoBits);
    EXPECT_EQ(bits.GetBYTE(nullptr), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("10011010"));
    EXPECT_EQ(bits.GetWORD(nullptr), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("100110101011110011011110"));
}

TEST_F(BitsStreamCrcTest, AReadThatFailsFeedsNothing) {
    Start({0xA5, 0x12});
    EXPECT_EQ(Get(4), 0xAu);
    unsigned int value = 0;
    EXPECT_EQ(bits.GetBits(&value, 13), 0);
    EXPECT_EQ(value, 0xA24u);
    EXPECT_EQ(bits.GetBits(&value, 1), 0);
    EXPECT_EQ(GetOne(), -1);
    EXPECT_EQ(bits.GetBYTE(nullptr), 0);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("1010"));
}

TEST_F(BitsStreamCrcTest, AFieldWithoutRoomFeedsItWholeAndABitWithoutRoomDoesNot) {
    Start({0, 0});
    EXPECT_EQ(bits.PutBits(1, 12), 1);
    EXPECT_EQ(bits.PutBits(0x15, 5), 0); // four of them fit
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("00000000000110101"));
    EXPECT_EQ(bits.PutBits(5, 3), 0); // none does
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("00000000000110101101"));
    EXPECT_EQ(bits.PutBYTE(0x81), 0);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("0000000000011010110110000001"));
    EXPECT_EQ(bits.PutBit(1), 0);
    EXPECT_EQ(bits.PutBits(7, 0), 0);
    EXPECT_EQ(bits.PutBits(7, -1), 0);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("0000000000011010110110000001"));
}

TEST_F(BitsStreamCrcTest, BitsAboveAFieldDoNotFeedIt) {
    Start({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(bits.PutBits(0xFFFFFFFA, 3), 1);
    EXPECT_EQ(bits.PutBits(0xFFFFFF01, 8), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("01000000001"));
}

TEST_F(BitsStreamCrcTest, BitsBeforeTheLast32OfALongerFieldFeedItAsZeros) {
    OverZeros(30);
    bits.StartCRC();
    const std::string last = "10000001000000000000000000000011";
    EXPECT_EQ(bits.PutBits(0x81000003, 35), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("000" + last));
    EXPECT_EQ(bits.PutBits(0x81000003, 100), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("000" + last + std::string(68, '0') + last));
    // Of 1s that are read, only the last 32 are in the value.
    Over(std::vector<uint8>(20, 0xFF));
    bits.StartCRC();
    EXPECT_EQ(Get(50), 0xFFFFFFFFu);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf(std::string(18, '0') + std::string(32, '1')));
}

TEST_F(BitsStreamCrcTest, StopKeepsTheResultAndStartBeginsAnew) {
    OverZeros(20);
    EXPECT_EQ(bits.PutBYTE(0xFF), 1);
    bits.StartCRC();
    EXPECT_EQ(bits.PutBits(0x2D, 7), 1);
    bits.StopCRC();
    EXPECT_EQ(bits.PutBits(0x2D, 7), 1);
    EXPECT_EQ(bits.PutBit(1), 1);
    EXPECT_EQ(bits.PutBYTE(1), 1);
    EXPECT_EQ(GetOne(), 0);
    EXPECT_EQ(Get(3), 0u);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("0101101"));
    bits.StopCRC();
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("0101101"));
    bits.StartCRC();
    EXPECT_EQ(bits.GetCRCResult(), kNoBits);
    EXPECT_EQ(bits.PutBits(2, 2), 1);
    bits.StartCRC(); // one that runs begins anew as well
    EXPECT_EQ(bits.PutBits(1, 2), 1);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("01"));
}

TEST_F(BitsStreamCrcTest, Is0BeforeTheFirstStart) {
    EXPECT_EQ(bits.GetCRCResult(), 0u);
    OverZeros(2);
    EXPECT_EQ(bits.PutBYTE(1), 1);
    EXPECT_EQ(bits.GetCRCResult(), 0u);
    bits.StopCRC();
    EXPECT_EQ(bits.PutBit(1), 1);
    EXPECT_EQ(bits.GetCRCResult(), 0u);
}

TEST_F(BitsStreamCrcTest, GoesOnOverANewBuffer) {
    Start({0xA5, 0});
    EXPECT_EQ(Get(4), 0xAu);
    EXPECT_EQ(bits.InitBuffer(Buffer(), 2), 1);
    EXPECT_EQ(Get(4), 0xAu);
    EXPECT_EQ(bits.GetCRCResult(), CrcOf("10101010"));
}

TEST_F(BitsStreamCrcTest, TheModelsCrcIsThatOfTheLongDivision) {
    BitsModel model;
    std::vector<uint8> memory(200);
    model.InitBuffer(memory.data(), 199);
    model.StartCRC();
    vxcio::stress::Random random(11);
    std::string text;
    for (int i = 0; i < 300; ++i) {
        const bool bit = random.OneIn(2);
        text += bit ? '1' : '0';
        EXPECT_EQ(model.PutBit(bit ? 1 : 0), 1);
    }
    EXPECT_EQ(model.GetCRCResult(), CrcOf(text));
}
