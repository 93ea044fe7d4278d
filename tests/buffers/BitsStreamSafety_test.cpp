// Streams without a buffer, copies, and lack of memory.
#include "buffers/BitsStreamFixture.h"

#include "support/MemoryLack.h"

#include <climits>
#include <memory>
#include <type_traits>
#include <utility>

using vxcio::test::BitsStreamFixture;
using vxcio::test::MemoryLack;

namespace {

class BitsStreamSafetyTest : public BitsStreamFixture {
protected:
    // Nothing is read, written or changed.
    static void ExpectNoBits(CBitsStream& stream) {
        int bit = 7;
        unsigned int value = 7;
        unsigned char byte = 7;
        unsigned short word = 7;
        EXPECT_EQ(stream.GetBit(&bit), 0);
        EXPECT_EQ(stream.GetBit(nullptr), 0);
        EXPECT_EQ(stream.GetBits(&value, 1), 0);
        EXPECT_EQ(stream.GetBits(&value, 32), 0);
        EXPECT_EQ(stream.GetBits(nullptr, 1), 0);
        EXPECT_EQ(stream.GetBYTE(&byte), 0);
        EXPECT_EQ(stream.GetWORD(&word), 0);
        EXPECT_EQ(stream.GetDWORD(&value), 0);
        EXPECT_EQ(stream.PutBit(1), 0);
        EXPECT_EQ(stream.PutBits(1, 1), 0);
        EXPECT_EQ(stream.PutBits(1, 0), 0);
        EXPECT_EQ(stream.PutBYTE(1), 0);
        EXPECT_EQ(stream.PutWORD(1), 0);
        EXPECT_EQ(stream.PutDWORD(1), 0);
        stream.Flush();
        EXPECT_EQ(bit, 7);
        EXPECT_EQ(value, 7u);
        EXPECT_EQ(byte, 7);
        EXPECT_EQ(word, 7);
    }
};

} // namespace

static_assert(std::has_virtual_destructor_v<CBitsStream>);
static_assert(sizeof(CBitsStream) == 2 * sizeof(void*));

TEST_F(BitsStreamSafetyTest, BeforeABufferIsGivenThereIsNothingToReadOrWrite) {
    ExpectNoBits(bits);
    EXPECT_EQ(bits.GetCurBytePtr(), nullptr);
    EXPECT_EQ(bits.GetBytePtr(0), nullptr);
    EXPECT_EQ(bits.GetBytePtr(-1), nullptr);
    EXPECT_EQ(bits.GetCurBytesPos(), 0u);
    EXPECT_EQ(bits.GetCurBitsPos(), 0);
    EXPECT_EQ(bits.GetBufferSize(), 0u);
    EXPECT_EQ(bits.SeekBytePtr(1), 0);
    EXPECT_EQ(bits.SetBytePtrPos(0), 0);
    EXPECT_EQ(bits.SeekBitsPtr(1), 0);
    EXPECT_EQ(bits.SetBitsPtr(0), 0);
    bits.AlignCurBytes();
    EXPECT_EQ(bits.GetCurBytesPos(), 0u);
    EXPECT_EQ(bits.IsAligned(), 1);
    EXPECT_EQ(bits.ReFill(), 1);
    bits.StartCRC();
    EXPECT_EQ(bits.GetCRCResult(), 0xFFFFFFFFu);
    ExpectNoBits(bits);
    bits.StopCRC();
}

TEST_F(BitsStreamSafetyTest, AnEmptyBufferIsTakenAndHasNoBit) {
    Over({0xFF});
    EXPECT_EQ(bits.InitBuffer(Buffer(), 0), 1);
    ExpectNoBits(bits);
    EXPECT_EQ(bits.GetBufferSize(), 0u);
    EXPECT_EQ(bits.GetCurBytesPos(), 0u);
    EXPECT_EQ(bits.GetCurBitsPos(), 0);
    EXPECT_EQ(bits.GetBytePtr(0), nullptr);
    EXPECT_EQ(bits.SetBytePtrPos(0), 0);
    EXPECT_EQ(bits.SeekBytePtr(1), 0);
    EXPECT_EQ(bits.SeekBytePtr(0), 1); // to its end
    EXPECT_EQ(bits.SeekBitsPtr(0), 1);
    ExpectNoBits(bits);
    EXPECT_EQ(Bytes()[0], 0xFF);
    EXPECT_EQ(bits.InitBuffer(Buffer(), 1), 1);
    EXPECT_EQ(Get(8), 0xFFu);
}

TEST_F(BitsStreamSafetyTest, ANullBufferIsTakenAndHasNoBit) {
    EXPECT_EQ(bits.InitBuffer(nullptr, 10), 1);
    ExpectNoBits(bits);
    EXPECT_EQ(bits.GetBufferSize(), 10u);
    EXPECT_EQ(bits.SeekBytePtr(10), 1);
    EXPECT_EQ(bits.GetCurBytesPos(), 10u);
    ExpectNoBits(bits);
    EXPECT_EQ(bits.SetBytePtrPos(3), 1);
    EXPECT_EQ(bits.SeekBitsPtr(5), 1);
    EXPECT_EQ(bits.SetBitsPtr(4), 1);
    bits.AlignCurBytes();
    ExpectNoBits(bits);
    EXPECT_EQ(bits.GetCurBytePtr(), nullptr);
    EXPECT_EQ(bits.GetBytePtr(3), nullptr);
    EXPECT_EQ(bits.GetBytePtr(-1), nullptr);
    EXPECT_EQ(bits.InitBuffer(nullptr, 0), 1);
    ExpectNoBits(bits);
}

TEST_F(BitsStreamSafetyTest, ABufferThatFollowsANullOneIsNotTouchedThroughTheOldCursor) {
    Over({0x12, 0x34});
    EXPECT_EQ(Get(12), 0x123u);
    EXPECT_EQ(bits.PutBits(0xF, 2), 1);
    EXPECT_EQ(bits.InitBuffer(nullptr, 2), 1);
    bits.Flush();
    EXPECT_EQ(Bytes(), (std::vector<uint8>{0x12, 0x34}));
    EXPECT_EQ(bits.InitBuffer(Buffer(), 2), 1);
    EXPECT_EQ(Get(16), 0x1234u);
}

TEST_F(BitsStreamSafetyTest, AFailedReadOfAnEmptyBufferFeedsNoCrcButAWriteDoes) {
    bits.StartCRC();
    EXPECT_EQ(Get(8), 0xBADu);
    EXPECT_EQ(GetOne(), -1);
    EXPECT_EQ(bits.PutBit(1), 0);
    EXPECT_EQ(bits.GetCRCResult(), 0xFFFFFFFFu);
    for (uint8 digit = 0x31; digit <= 0x39; ++digit) {
        EXPECT_EQ(bits.PutBYTE(digit), 0);
    }
    EXPECT_EQ(bits.GetCRCResult(), 0x0376E6E7u);
}

// ---- Copies -------------------------------------------------------------------------------------------

TEST_F(BitsStreamSafetyTest, CopiesShareOneCursorAndOneCrc) {
    Over({0x12, 0x34, 0x56});
    CBitsStream copy(bits);
    CBitsStream assigned;
    assigned = copy;
    bits.StartCRC();
    EXPECT_EQ(Get(4), 1u);
    unsigned int value = 0;
    EXPECT_EQ(copy.GetBits(&value, 8), 1);
    EXPECT_EQ(value, 0x23u);
    EXPECT_EQ(assigned.GetBits(&value, 8), 1);
    EXPECT_EQ(value, 0x45u);
    EXPECT_EQ(bits.GetCurBitsPos(), 20);
    EXPECT_EQ(copy.GetCRCResult(), bits.GetCRCResult());
    EXPECT_NE(copy.GetCRCResult(), 0xFFFFFFFFu);
}

TEST_F(BitsStreamSafetyTest, CopiesAreDestroyedInAnyOrder) {
    for (int order = 0; order < 2; ++order) {
        Over({0x12, 0x34});
        auto first = std::make_unique<CBitsStream>();
        EXPECT_EQ(first->InitBuffer(Buffer(), 2), 1);
        auto second = std::make_unique<CBitsStream>(*first);
        auto third = std::make_unique<CBitsStream>(*second);
        (order == 0 ? first : third).reset();
        unsigned int value = 0;
        EXPECT_EQ(second->GetBits(&value, 8), 1);
        EXPECT_EQ(value, 0x12u);
        second.reset();
        CBitsStream& left = order == 0 ? *third : *first;
        EXPECT_EQ(left.GetBits(&value, 8), 1);
        EXPECT_EQ(value, 0x34u);
    }
}

TEST_F(BitsStreamSafetyTest, AnAssignedStreamLeavesItsOwnAndKeepsItselfWhenItIsItsOwnSource) {
    Over({0x12, 0x34});
    CBitsStream target;
    uint8 own = 0x99;
    EXPECT_EQ(target.InitBuffer(&own, 1), 1);
    const CBitsStream keeper(target);
    target = bits;
    EXPECT_EQ(target.GetBufferSize(), 2u);
    EXPECT_EQ(CBitsStream(keeper).GetBufferSize(), 1u);
    CBitsStream& same = target;
    target = same;
    unsigned int value = 0;
    EXPECT_EQ(target.GetBits(&value, 12), 1);
    EXPECT_EQ(value, 0x123u);
    CBitsStream moved(std::move(target)); // a copy as well
    EXPECT_EQ(moved.GetCurBitsPos(), 12);
}

// ---- Lack of memory -----------------------------------------------------------------------------------

TEST_F(BitsStreamSafetyTest, WithoutMemoryEveryOperationFails) {
    Over({0x12, 0x34});
    MemoryLack lack(1);
    CBitsStream stream;
    ASSERT_TRUE(lack.Came());
    EXPECT_EQ(stream.InitBuffer(Buffer(), 2), 1);
    ExpectNoBits(stream);
    EXPECT_EQ(stream.ReFill(), 1);
    EXPECT_EQ(stream.GetCurBytePtr(), nullptr);
    EXPECT_EQ(stream.GetBytePtr(0), nullptr);
    EXPECT_EQ(stream.GetCurBytesPos(), 0u);
    EXPECT_EQ(stream.GetCurBitsPos(), 0);
    EXPECT_EQ(stream.GetBufferSize(), 0u);
    EXPECT_EQ(stream.SeekBytePtr(0), 0);
    EXPECT_EQ(stream.SetBytePtrPos(0), 0);
    EXPECT_EQ(stream.SeekBitsPtr(0), 0);
    EXPECT_EQ(stream.SetBitsPtr(0), 0);
    stream.AlignCurBytes();
    EXPECT_EQ(stream.IsAligned(), 0);
    stream.StartCRC();
    stream.StopCRC();
    EXPECT_EQ(stream.GetCRCResult(), 0u);
    CBitsStream copy(stream);
    ExpectNoBits(copy);
    copy = bits;
    EXPECT_EQ(copy.GetBufferSize(), 2u);
    copy = stream;
    ExpectNoBits(copy);
    EXPECT_EQ(Bytes(), (std::vector<uint8>{0x12, 0x34}));
}

// The object and its CRC are made once; fields and a CRC begun anew take no memory that could lack.
TEST_F(BitsStreamSafetyTest, ACrcTakesNoMemory) {
    OverZeros(20);
    MemoryLack lack(1);
    for (int i = 0; i < 3; ++i) {
        bits.StartCRC();
        EXPECT_EQ(bits.PutDWORD(1), 1);
    }
    EXPECT_FALSE(lack.Came());
}
