// Crc.h - the CRC of ISO/IEC 13818-1, taken by a bit stream that goes over the bytes.
#pragma once

#include "module/VXCSoftCodecIO.h"

#include <span>

// Of all the bytes, which must be writable, as CBitsStream asks, but stay as they are.
inline unsigned CrcOf(std::span<unsigned char> bytes) {
    CBitsStream bits;
    bits.InitBuffer(bytes.data(), static_cast<unsigned>(bytes.size()));
    bits.StartCRC();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bits.GetBYTE(nullptr); // skipped, but fed
    }
    return bits.GetCRCResult();
}
