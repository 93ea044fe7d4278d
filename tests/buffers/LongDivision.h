// LongDivision.h - the CRC of MPEG-2 systems one bit at a time.
#pragma once

#include "frame/Types.h"

#include <string_view>

namespace vxcio::test {

class LongDivision {
public:
    // The low `bits` bits of value, most significant first.
    void Feed(uint32 value, uint32 bits) {
        for (uint32 place = bits; place-- > 0;) {
            const uint32 out = m_value >> 31 ^ (value >> place & 1);
            m_value = m_value << 1 ^ (out != 0 ? 0x04C11DB7u : 0);
        }
    }
    uint32 Value() const { return m_value; }

    // Of bits that are given as text.
    static uint32 Of(std::string_view text) {
        LongDivision division;
        for (const char bit : text) {
            division.Feed(bit == '1' ? 1 : 0, 1);
        }
        return division.Value();
    }

private:
    uint32 m_value = 0xFFFFFFFFu;
};

} // namespace vxcio::test
