// RangePlan.h - how much of a file to ask for next: little behind a jump, as most of it may be for nothing;
// more and more while reading goes on; at last the whole rest. No thread safety.
#pragma once

#include "frame/Types.h"

#include <algorithm>
#include <optional>

namespace vxcio {

class RangePlan {
public:
    static constexpr uint64 kFirst = 64 * 1024; // a request for less costs as much
    // As much as is read while a new request is made. Over a shorter gap reading goes on.
    static constexpr uint64 kGap = 256 * 1024;

    // What came and was wanted.
    void Took(uint64 bytes) { m_inARow += bytes; }

    // The last byte of the range to ask for from `position` on, where `wanted` bytes of the file, which ends
    // at `size`, are needed at once; nothing for the whole rest. `before` is where reading has come to.
    std::optional<uint64> LastByte(uint64 before, uint64 position, uint64 wanted, uint64 size) {
        if (position < before || position - before > kGap) {
            m_inARow = 0;
            m_length = 0;
        }
        if (m_inARow >= kSteady) {
            return std::nullopt;
        }
        m_length = std::max({wanted, kFirst, std::min(2 * m_length, kLargest)});
        return m_length < size - position ? position + m_length - 1 : size - 1;
    }

private:
    static constexpr uint64 kLargest = 1 << 20;
    static constexpr uint64 kSteady = 1 << 20; // who has read so much in a row wants the rest

    uint64 m_inARow = 0;
    uint64 m_length = kFirst; // that of the open
};

} // namespace vxcio
