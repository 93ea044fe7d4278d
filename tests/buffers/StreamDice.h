// StreamDice.h - random sizes of pieces for the byte ring.
#pragma once

#include "frame/Types.h"

#include <random>

namespace vxcio::test {

// One thread at a time. The same seed gives the same throws.
class Dice {
public:
    explicit Dice(uint64 seed) : m_random(seed) {}
    int Below(int end) { return static_cast<int>(m_random() % static_cast<uint64>(end)); }
    bool OneIn(int count) { return Below(count) == 0; }
    // Of a piece: the corners first of all, up to three times the ring.
    int Size(int ring) {
        switch (Below(40)) {
        case 0:
            return ring - 1 + Below(3);
        case 1:
            return Below(3 * ring);
        case 2:
        case 3:
            return Below(ring);
        case 4:
        case 5:
        case 6:
            return 0;
        case 7:
        case 8:
        case 9:
            return 1;
        case 10:
        case 11:
        case 12:
        case 13:
            return 65536;
        case 14:
        case 15:
        case 16:
        case 17:
            return Below(100000);
        case 18:
            return ring / 4 - 1 + Below(3);
        default:
            return OneIn(2) ? 188 : Below(5000);
        }
    }

private:
    std::mt19937_64 m_random;
};

} // namespace vxcio::test
