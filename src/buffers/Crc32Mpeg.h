// Crc32Mpeg.h - the CRC-32 of ISO/IEC 13818-1 (CRC-32/MPEG-2), fed with any number of bits at a time.
#pragma once

#include "frame/Types.h"

namespace vxcio {

// Polynomial 0x04C11DB7, most significant bit first, nothing reflected, nothing inverted at the end.
//
// Bits are collected and taken into the register 64 at a time; Value takes in what is left.
class Crc32Mpeg {
public:
    void Start() noexcept {
        m_dwRegister = 0xFFFFFFFFu;
        m_nPendingBits = 0;
    }

    // The low `bits` bits of value, 1 to 32, most significant first; those above are not looked at.
    void Feed(uint32 value, uint32 bits) noexcept {
        const uint64 field = uint64{value} & ((uint64{1} << bits) - 1);
        const uint32 room = kWordBits - m_nPendingBits;
        if (bits < room) {
            m_qwPending = m_qwPending << bits | field;
            m_nPendingBits += bits;
            return;
        }
        FeedAcross(field, bits);
    }

    uint32 Value() const noexcept;

private:
    static constexpr uint32 kWordBits = 64;

    void TakeWord(uint64 word) noexcept;
    void FeedAcross(uint64 field, uint32 bits) noexcept;

    uint32 m_dwRegister = 0;
    uint32 m_nPendingBits = 0; // below 64
    uint64 m_qwPending = 0;    // in its low bits; what stands above them is of no account
};

} // namespace vxcio
