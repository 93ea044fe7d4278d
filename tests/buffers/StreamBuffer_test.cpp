#include "buffers/StreamBuffer.h"

#include <gtest/gtest.h>

#include <array>

TEST(StreamBufferTest, WhatIsPutComesOut) {
    CSoftStreamBuffer buffer(0);
    EXPECT_EQ(buffer.Init(1000), 0);
    std::array<unsigned char, 3> bytes{1, 2, 3};
    EXPECT_EQ(buffer.PutData(bytes.data(), 3, PLUG_STREAMSTATE_DATA), 0);
    unsigned char* data = nullptr;
    PLUG_STREAMSTATE_ state = PLUG_STREAMSTATE_OPEN;
    ASSERT_EQ(buffer.GetData(data, 3, &state), 3);
    EXPECT_EQ(data[2], 3);
    EXPECT_EQ(state, PLUG_STREAMSTATE_DATA);
    buffer.Close();
}
