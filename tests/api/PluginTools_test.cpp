// The tools for plug-ins as a plug-in has them: every operation, through the shared library.
#include "module/VXCSoftCodecIO.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

TEST(PluginToolsTest, TheByteRing) {
    CSoftStreamBuffer first;
    CSoftStreamBuffer withoutThreads(0);
    withoutThreads = first;
    CSoftStreamBuffer ring(withoutThreads);
    ASSERT_EQ(ring.Init(0), 0);
    std::array<unsigned char, 4> bytes{1, 2, 3, 4};
    EXPECT_EQ(first.PutData(bytes.data(), 4, PLUG_STREAMSTATE_DATA), 0);
    unsigned char* data = nullptr;
    PLUG_STREAMSTATE_ state = PLUG_STREAMSTATE_OPEN;
    ASSERT_EQ(ring.ShowData(data, 2, &state), 2);
    EXPECT_EQ(data[1], 2);
    ring.SetEndOfInput();
    EXPECT_EQ(ring.PutData(bytes.data(), 4, PLUG_STREAMSTATE_DATA),
              static_cast<int>(VXC_STATUS_PUT_AFTER_END));
    ASSERT_EQ(withoutThreads.GetData(data, 9, &state), 4);
    EXPECT_EQ(std::memcmp(data, bytes.data(), 4), 0);
    EXPECT_EQ(state, PLUG_STREAMSTATE_END);
    ring.ReSetEndOfInput();
    EXPECT_EQ(ring.PutData(bytes.data(), 4, PLUG_STREAMSTATE_END), 0);
    EXPECT_EQ(ring.Close(), 0);
}

TEST(PluginToolsTest, TheFrameQueue) {
    CSoftEsBuffer first;
    CSoftEsBuffer assigned;
    assigned = first;
    CSoftEsBuffer queue(assigned);
    EXPECT_EQ(queue.Init(100), 1);
    std::array<unsigned char, 4> bytes{1, 2, 3, 4};
    EXPECT_EQ(first.PutDate(7, bytes.data(), 3, bytes.data() + 3, 1), 1);
    EXPECT_EQ(queue.GetFrameCount(7), 0u);
    queue.SetEndOfInput();
    EXPECT_EQ(assigned.GetFrameCount(7), 1u);
    int stream = 0;
    unsigned char* data = nullptr;
    int size = 0;
    unsigned char* extra = nullptr;
    int extraSize = 0;
    PLUG_STREAMSTATE_ state = PLUG_STREAMSTATE_OPEN;
    ASSERT_EQ(queue.GetDate(stream, data, size, extra, extraSize, state), 1);
    EXPECT_EQ(stream, 7);
    EXPECT_EQ(size, 3);
    EXPECT_EQ(data[2], 3);
    EXPECT_EQ(extraSize, 1);
    EXPECT_EQ(extra[0], 4);
    EXPECT_EQ(state, PLUG_STREAMSTATE_END);
    queue.Close();
}

TEST(PluginToolsTest, TheBitStream) {
    CBitsStream first;
    CBitsStream assigned;
    assigned = first;
    CBitsStream bits(assigned);
    std::array<unsigned char, 16> bytes{};
    EXPECT_EQ(first.InitBuffer(bytes.data(), bytes.size()), 1);
    EXPECT_EQ(bits.ReFill(), 1);
    bits.StartCRC();
    EXPECT_EQ(bits.PutBit(1), 1);
    EXPECT_EQ(bits.PutBits(0x2A, 7), 1);
    EXPECT_EQ(bits.PutBYTE(0x12), 1);
    EXPECT_EQ(bits.PutWORD(0x3456), 1);
    EXPECT_EQ(bits.PutDWORD(0x789ABCDE), 1);
    const unsigned int written = bits.GetCRCResult();
    bits.StopCRC();
    bits.Flush();
    EXPECT_EQ(bits.GetCurBytesPos(), 8u);
    EXPECT_EQ(bits.GetCurBitsPos(), 64);
    EXPECT_EQ(bits.IsAligned(), 1);
    EXPECT_EQ(bits.GetBufferSize(), 16u);
    EXPECT_EQ(bits.SetBytePtrPos(0), 1);
    EXPECT_EQ(bits.GetCurBytePtr(), bytes.data());
    EXPECT_EQ(bits.GetBytePtr(3), bytes.data() + 3);
    bits.StartCRC();
    int bit = 0;
    unsigned int value = 0;
    unsigned char byte = 0;
    unsigned short word = 0;
    EXPECT_EQ(bits.GetBit(&bit), 1);
    EXPECT_EQ(bit, 1);
    EXPECT_EQ(bits.GetBits(&value, 7), 1);
    EXPECT_EQ(value, 0x2Au);
    EXPECT_EQ(bits.GetBYTE(&byte), 1);
    EXPECT_EQ(byte, 0x12);
    EXPECT_EQ(bits.GetWORD(&word), 1);
    EXPECT_EQ(word, 0x3456);
    EXPECT_EQ(bits.GetDWORD(&value), 1);
    EXPECT_EQ(value, 0x789ABCDEu);
    EXPECT_EQ(bits.GetCRCResult(), written);
    EXPECT_EQ(bits.SeekBytePtr(1), 1);
    EXPECT_EQ(bits.SeekBitsPtr(3), 1);
    EXPECT_EQ(bits.SetBitsPtr(8), 1);
    bits.AlignCurBytes();
    EXPECT_EQ(bits.GetCurBytesPos(), 2u);
}
