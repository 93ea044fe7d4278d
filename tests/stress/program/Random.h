// Random.h - numbers that are the same again for the same seed, on every machine.
#pragma once

#include "frame/Types.h"

#include <initializer_list>

namespace vxcio::stress {

class Random {
public:
    explicit Random(uint64 seed) : m_state(seed) {}

    // One of a family of seeds.
    static uint64 Mix(uint64 seed, uint64 a, uint64 b) {
        Random mix(seed ^ (a * 0x9E3779B97F4A7C15u));
        mix.m_state ^= mix.Next() + b;
        return mix.Next();
    }

    uint64 Next() {
        m_state += 0x9E3779B97F4A7C15u;
        uint64 word = m_state;
        word = (word ^ (word >> 30)) * 0xBF58476D1CE4E5B9u;
        word = (word ^ (word >> 27)) * 0x94D049BB133111EBu;
        return word ^ (word >> 31);
    }
    // 0 to limit - 1.
    uint32 Below(uint32 limit) { return static_cast<uint32>(Next() % limit); }
    // From one to the other, both included.
    int64 Between(int64 least, int64 most) {
        return least + static_cast<int64>(Next() % static_cast<uint64>(most - least + 1));
    }
    bool OneIn(uint32 n) { return Below(n) == 0; }
    template <class T>
    T Of(std::initializer_list<T> all) {
        return all.begin()[Below(static_cast<uint32>(all.size()))];
    }

private:
    uint64 m_state;
};

} // namespace vxcio::stress
