// ReadRate.h - a small speed meter over the last reads. One thread at a time.
#pragma once

#include "frame/Types.h"

namespace vxcio {

class SReadRate {
public:
    // Ticks per second; 0 leaves the former value.
    void SetFrequency(uint64 frequency) noexcept {
        if (frequency != 0) {
            qwFrequency = frequency;
        }
    }

    // Adds a sample. Sums beyond 16 MiB start again, so that the meter follows the disk.
    void Add(uint64 bytes, uint64 ticks) noexcept {
        if (qwBytes > kSampleLimit) {
            qwBytes = 0;
            qwTicks = 0;
        }
        qwBytes += bytes;
        qwTicks += ticks;
    }

    // Bytes per second; 0 while nothing was measured.
    uint64 Rate() const noexcept { return qwTicks == 0 ? 0 : qwBytes * qwFrequency / qwTicks; }

private:
    static constexpr uint64 kSampleLimit = 0x1000000;

    uint64 qwFrequency = 0;
    uint64 qwBytes = 0;
    uint64 qwTicks = 0;
};

} // namespace vxcio
