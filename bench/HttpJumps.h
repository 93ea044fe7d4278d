// HttpJumps.h - a reader that jumps about in a file: the same places in every run, multiples of 8.
#pragma once

#include "frame/Types.h"

#include <random>

namespace bench {

inline constexpr int kJumps = 1000;
inline constexpr uint32 kReadAtJump = 64 * 1024;

class JumpPlaces {
public:
    explicit JumpPlaces(uint64 size) : m_places((size - kReadAtJump) / kUnit) {}
    uint64 Next() { return m_random() % m_places * kUnit; }

private:
    static constexpr uint64 kUnit = 8;
    const uint64 m_places;
    std::mt19937_64 m_random{9};
};

} // namespace bench
