// Buffers whose bits are more than 32 bits can count, and whose bytes are more than an int can. Their memory
// is there in name only, save for the pages that are used.
#include "buffers/BitsStreamCalls.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <string>

#include <sys/mman.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

constexpr uint32 kMiB = 1024 * 1024;

class BitsStreamLargeTest : public ::testing::Test {
protected:
    ~BitsStreamLargeTest() override {
        if (buffer != nullptr) {
            munmap(buffer, mapped);
        }
    }
    // The buffer, and a page that can be read behind it.
    void Reserve(uint32 bytes) {
        mapped = std::size_t{bytes} + 4096;
        void* const memory =
            mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        ASSERT_NE(memory, MAP_FAILED);
        buffer = static_cast<uint8*>(memory);
        size = bytes;
        ASSERT_EQ(bits.InitBuffer(buffer, size), 1);
    }
    // Moves by any number of bits, in steps that an int can have.
    void SeekBits(int64 delta) {
        while (delta != 0) {
            const int step = delta > INT_MAX ? INT_MAX : static_cast<int>(delta);
            ASSERT_EQ(bits.SeekBitsPtr(step), 1);
            delta -= step;
        }
    }

    uint8* buffer = nullptr;
    uint32 size = 0;
    std::size_t mapped = 0;
    CBitsStream bits;
};

} // namespace

TEST_F(BitsStreamLargeTest, BitsAreSoughtBeyondWhat32BitsCount) {
    Reserve(600 * kMiB);
    const int64 all = int64{size} * 8;
    SeekBits(all - 20);
    EXPECT_EQ(bits.GetCurBitsPos(), all - 20);
    EXPECT_EQ(bits.GetCurBytesPos(), size - 3);
    EXPECT_EQ(bits.PutBits(0xABCDE, 20), 1);
    EXPECT_EQ(bits.GetCurBytesPos(), size);
    EXPECT_EQ(bits.PutBit(1), 0);
    EXPECT_EQ(buffer[size - 3], 0x0A);
    EXPECT_EQ(buffer[size - 2], 0xBC);
    EXPECT_EQ(buffer[size - 1], 0xDE);
    EXPECT_EQ(buffer[size], 0);

    EXPECT_EQ(bits.SeekBitsPtr(1), 0);
    EXPECT_EQ(bits.SeekBitsPtr(-20), 1);
    unsigned int value = 0;
    EXPECT_EQ(bits.GetBits(&value, 20), 1);
    EXPECT_EQ(value, 0xABCDEu);
}

TEST_F(BitsStreamLargeTest, APositionBelowTheCursorIsOneOf32Bits) {
    Reserve(600 * kMiB);
    buffer[536870911] = 0x03;
    SeekBits(int64{size} * 8 - 1);
    EXPECT_EQ(bits.SetBitsPtr(UINT_MAX - 1), 1);
    EXPECT_EQ(bits.GetCurBytesPos(), 536870911u);
    EXPECT_EQ(bits.GetCurBitsPos(), int64{UINT_MAX} - 1);
    unsigned int value = 0;
    EXPECT_EQ(bits.GetBits(&value, 2), 1);
    EXPECT_EQ(value, 3u);
    EXPECT_EQ(bits.GetCurBitsPos(), int64{1} << 32);
    EXPECT_EQ(bits.GetCurBytesPos(), 536870912u);
}

TEST_F(BitsStreamLargeTest, BytesAreSoughtBeyondWhatAnIntCounts) {
    Reserve(3072 * kMiB);
    EXPECT_EQ(bits.SeekBytePtr(INT_MAX), 1);
    EXPECT_EQ(bits.SeekBytePtr(1000), 1);
    const uint32 index = uint32{INT_MAX} + 1000;
    EXPECT_EQ(bits.GetCurBytesPos(), index);
    EXPECT_EQ(bits.GetCurBitsPos(), int64{index} * 8);
    EXPECT_EQ(bits.GetCurBytePtr(), buffer + index);
    EXPECT_EQ(bits.PutDWORD(0x12345678), 1);
    bits.Flush();
    EXPECT_EQ(buffer[index], 0x12);
    EXPECT_EQ(buffer[index + 3], 0x78);

    EXPECT_EQ(bits.SeekBytePtr(-3), 1);
    unsigned char byte = 0;
    EXPECT_EQ(bits.GetBYTE(&byte), 1);
    EXPECT_EQ(byte, 0x34);

    EXPECT_EQ(bits.SetBytePtrPos(5), 1);
    EXPECT_EQ(bits.GetCurBitsPos(), 40);
    EXPECT_EQ(bits.GetCurBytePtr(), buffer + 5);
    EXPECT_EQ(bits.GetBytePtr(INT_MAX), buffer + INT_MAX);
}

TEST_F(BitsStreamLargeTest, TheEndOfTheLargestBufferIsAnEndAsAnyOther) {
    Reserve(UINT_MAX);
    EXPECT_EQ(bits.SeekBytePtr(INT_MAX), 1);
    EXPECT_EQ(bits.SeekBytePtr(INT_MAX), 1);
    EXPECT_EQ(bits.GetCurBytesPos(), size - 1);
    EXPECT_EQ(bits.PutBYTE(0x96), 1);
    EXPECT_EQ(bits.GetCurBytesPos(), size);
    EXPECT_EQ(bits.GetCurBitsPos(), int64{size} * 8);
    EXPECT_EQ(buffer[size - 1], 0x96);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(bits.PutBit(1), 0);
        EXPECT_EQ(bits.GetCurBytesPos(), size);
    }
    EXPECT_EQ(bits.SeekBytePtr(1), 0);
    EXPECT_EQ(bits.SeekBytePtr(INT_MIN), 1);
    EXPECT_EQ(bits.GetCurBytesPos(), size - (uint32{1} << 31));
    EXPECT_EQ(bits.SeekBytePtr(INT_MIN), 0);
    EXPECT_EQ(buffer[0], 0);
}

TEST_F(BitsStreamLargeTest, AlignmentsThatLeaveTheBufferTellTheWrappedIndexAndTouchNothing) {
    Reserve(3072 * kMiB);
    EXPECT_EQ(bits.SeekBytePtr(1200 * kMiB), 1);
    bits.AlignCurBytes();
    EXPECT_EQ(bits.GetCurBytesPos(), 2400u * kMiB); // more than an int has, and still in the buffer
    EXPECT_EQ(bits.GetCurBitsPos(), int64{2400} * kMiB * 8);
    EXPECT_EQ(bits.GetCurBytePtr(), buffer + 1200 * kMiB);
    EXPECT_EQ(bits.PutBYTE(0x77), 1);
    EXPECT_EQ(buffer[1200 * kMiB], 0x77);
    EXPECT_EQ(bits.GetCurBytePtr(), buffer + 1200 * kMiB + 1);

    EXPECT_EQ(bits.SeekBytePtr(-1), 1); // the index counts from here on
    EXPECT_EQ(bits.GetCurBytePtr(), buffer + 2400u * std::size_t{kMiB});
    bits.AlignCurBytes();
    const uint32 wrapped = 4800u * kMiB;
    EXPECT_EQ(bits.GetCurBytesPos(), wrapped);
    EXPECT_EQ(bits.GetCurBitsPos(), int64{wrapped} * 8);
}

// Close to the end, where the numbers are the largest, any calls are the model's too. The model's memory
// holds the end alone; both see the same bytes there.
TEST_F(BitsStreamLargeTest, FieldsAtTheEndAreTheModelsOfTheSameBytes) {
    Reserve(2100 * kMiB);
    constexpr uint32 kBytes = 4096;
    std::vector<uint8> memory(kBytes + 1);
    BitsModel model;
    model.InitBuffer(memory.data(), kBytes);
    const uint32 start = size - kBytes;
    SeekBits(int64{start} * 8);
    stress::Random random(7);
    while (true) {
        const auto count = static_cast<int>(1 + random.Below(32));
        const auto value = static_cast<uint32>(random.Next() & ((uint64{1} << count) - 1));
        const int result = model.PutBits(value, count);
        ASSERT_EQ(bits.PutBits(value, count), result);
        ASSERT_EQ(bits.GetCurBytesPos(), start + model.GetCurBytesPos());
        ASSERT_EQ(bits.GetCurBitsPos(), int64{start} * 8 + model.GetCurBitsPos());
        if (result == 0) {
            break;
        }
    }
    EXPECT_TRUE(std::equal(memory.begin(), memory.end(), buffer + start));
}
