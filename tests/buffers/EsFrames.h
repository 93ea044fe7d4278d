// EsFrames.h - putting and getting frames of a CSoftEsBuffer in a line each.
#pragma once

#include "buffers/EsBuffer.h"
#include "support/counting/AllocationCount.h"

#include <gtest/gtest.h>

#include <string>

namespace vxcio::test {

// Where an output points that GetDate has left alone.
inline unsigned char g_untouchedData;
inline unsigned char g_untouchedExtra;

// What one GetDate gave. Outputs that it left alone are as they begin here.
struct EsGot {
    static constexpr int kUntouched = -77;

    int result = kUntouched;
    int stream = kUntouched;
    unsigned char* data = &g_untouchedData;
    int size = kUntouched;
    unsigned char* extra = &g_untouchedExtra;
    int extraSize = kUntouched;
    PLUG_STREAMSTATE_ state = PLUG_STREAMSTATE_OPEN;

    std::string Data() const { return Text(data, size); }
    std::string Extra() const { return Text(extra, extraSize); }

private:
    static std::string Text(const unsigned char* bytes, int size) {
        return bytes == nullptr || size <= 0
                   ? std::string()
                   : std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
    }
};

inline EsGot Get(CSoftEsBuffer& buffer) {
    EsGot got;
    got.result = buffer.GetDate(got.stream, got.data, got.size, got.extra, got.extraSize, got.state);
    return got;
}

// An empty `extra` is put as null.
inline int Put(CSoftEsBuffer& buffer, int stream, std::string data, std::string extra = {}) {
    return buffer.PutDate(stream, reinterpret_cast<unsigned char*>(data.data()),
                          static_cast<int>(data.size()),
                          extra.empty() ? nullptr : reinterpret_cast<unsigned char*>(extra.data()),
                          static_cast<int>(extra.size()));
}

// Allocations that one put of a frame of stream 0 takes.
inline int TakenByPut(CSoftEsBuffer& buffer, std::string data, std::string extra = {}) {
    const AllocationCount count;
    buffer.PutDate(0, reinterpret_cast<unsigned char*>(data.data()), static_cast<int>(data.size()),
                   reinterpret_cast<unsigned char*>(extra.data()), static_cast<int>(extra.size()));
    return count.Taken();
}

// A frame came, with this content.
inline void ExpectFrame(const EsGot& got, int stream, const std::string& data, PLUG_STREAMSTATE_ state) {
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.stream, stream);
    EXPECT_EQ(got.Data(), data);
    EXPECT_EQ(got.state, state);
}

// No frame came, and the head stays: of `stream`, held back or through.
inline void ExpectNone(const EsGot& got, int stream, PLUG_STREAMSTATE_ state) {
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.stream, stream);
    EXPECT_EQ(got.data, nullptr);
    EXPECT_EQ(got.size, 0);
    EXPECT_EQ(got.state, state);
}

// A head that was taken before is passed over.
inline void ExpectPassedOver(const EsGot& got, int stream, PLUG_STREAMSTATE_ state) {
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.stream, stream);
    EXPECT_NE(got.data, nullptr);
    EXPECT_NE(got.data, &g_untouchedData);
    EXPECT_EQ(got.size, 0);
    EXPECT_EQ(got.state, state);
}

// A queue whose Init was called with a default size of 100.
class EsFrames : public ::testing::Test {
protected:
    EsFrames() { buffer.Init(100); }

    // The last frame of stream 0 goes out too, so that all nodes are taken and the input has ended.
    void TakeAll(int frames) {
        buffer.SetEndOfInput();
        for (int i = 0; i < frames; ++i) {
            ASSERT_EQ(Get(buffer).result, 1);
        }
    }

    CSoftEsBuffer buffer;
};

} // namespace vxcio::test
