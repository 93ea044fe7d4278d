// BitsStreamFixture.h - a bit stream over a few bytes, with bytes around them that must stay as they are.
#pragma once

#include "buffers/BitsStream.h"
#include "frame/Types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <vector>

namespace vxcio::test {

class BitsStreamFixture : public ::testing::Test {
protected:
    static constexpr std::size_t kAround = 16;
    static constexpr uint8 kGuard = 0xE7;

    void TearDown() override { EXPECT_TRUE(IsGuardWhole()); }

    // The stream stands at the first bit of these bytes.
    void Over(std::initializer_list<uint8> content) { Over(std::vector<uint8>(content)); }
    void Over(const std::vector<uint8>& content) {
        EXPECT_TRUE(IsGuardWhole());
        m_size = content.size();
        m_memory.assign(m_size + 2 * kAround, kGuard);
        std::copy(content.begin(), content.end(), m_memory.begin() + kAround);
        ASSERT_EQ(bits.InitBuffer(Buffer(), static_cast<uint32>(m_size)), 1);
    }
    void OverZeros(std::size_t size) { Over(std::vector<uint8>(size)); }

    uint8* Buffer() { return m_memory.data() + kAround; }
    // What memory holds.
    std::vector<uint8> Bytes() const {
        const auto begin = m_memory.begin() + kAround;
        return {begin, begin + static_cast<std::ptrdiff_t>(m_size)};
    }
    // As memory is, once what was written last is stored.
    std::vector<uint8> Flushed() {
        bits.Flush();
        return Bytes();
    }
    // The next bits; 0xBAD where they cannot be read.
    uint32 Get(int count) {
        unsigned int value = 0;
        return bits.GetBits(&value, count) == 1 ? value : 0xBADu;
    }
    int GetOne() {
        int bit = -1;
        return bits.GetBit(&bit) == 1 ? bit : -1;
    }

    void ExpectAt(uint32 index, int64 position) {
        EXPECT_EQ(bits.GetCurBytesPos(), index);
        EXPECT_EQ(bits.GetCurBitsPos(), position);
    }
    void ReadAll() {
        while (bits.GetBit(nullptr) == 1) {
        }
    }

    CBitsStream bits;

private:
    bool IsGuardWhole() const {
        return std::all_of(m_memory.begin(), m_memory.begin() + static_cast<std::ptrdiff_t>(Ahead()),
                           [](uint8 byte) { return byte == kGuard; }) &&
               std::all_of(m_memory.end() - static_cast<std::ptrdiff_t>(Ahead()), m_memory.end(),
                           [](uint8 byte) { return byte == kGuard; });
    }
    std::size_t Ahead() const { return m_memory.empty() ? 0 : kAround; }

    std::size_t m_size = 0;
    std::vector<uint8> m_memory;
};

} // namespace vxcio::test
