// FtpSeeks.h - a reader that goes forward in leaps: a small read, a seek, a small read, and so on.
#pragma once

#include "frame/Types.h"

#include <random>

namespace bench {

inline constexpr int kSeeks = 1000;
inline constexpr uint32 kReadBetweenSeeks = 2048;

// The distances: multiples of 8 up to the longest, each as often as any other, the same in every run.
class SeekDistances {
public:
    explicit SeekDistances(uint32 longest) : m_steps(longest / kUnit) {}
    int Next() { return static_cast<int>((1 + m_random() % m_steps) * kUnit); }

private:
    static constexpr uint32 kUnit = 8;
    const uint32 m_steps;
    std::mt19937 m_random{20};
};

// How long a file must be for all of them.
inline uint64 EndOfSeeks(uint32 longest) {
    SeekDistances distances(longest);
    uint64 end = kReadBetweenSeeks;
    for (int i = 0; i < kSeeks; ++i) {
        end += static_cast<uint64>(distances.Next()) + kReadBetweenSeeks;
    }
    return end;
}

} // namespace bench
