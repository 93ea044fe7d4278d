#include "buffers/EsBuffer.h"

#include <gtest/gtest.h>

#include <array>

TEST(EsBufferTest, TheFirstOfTwoFramesComesOut) {
    CSoftEsBuffer buffer;
    EXPECT_EQ(buffer.Init(100), 1);
    std::array<unsigned char, 3> bytes{1, 2, 3};
    EXPECT_EQ(buffer.PutDate(0, bytes.data(), 3, nullptr, 0), 1);
    EXPECT_EQ(buffer.PutDate(0, bytes.data(), 2, nullptr, 0), 1);
    int stream = -1;
    unsigned char* data = nullptr;
    int size = 0;
    unsigned char* extra = nullptr;
    int extraSize = -1;
    PLUG_STREAMSTATE_ state = PLUG_STREAMSTATE_OPEN;
    EXPECT_EQ(buffer.GetDate(stream, data, size, extra, extraSize, state), 1);
    EXPECT_EQ(size, 3);
    EXPECT_EQ(data[2], 3);
}
