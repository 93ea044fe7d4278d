// CallTimes.h - the time of each call by itself, and what most of them keep.
#pragma once

#include "frame/Types.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <vector>

namespace bench {

inline int64 Nanoseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return int64{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

class CallTimes {
public:
    CallTimes() { m_all.reserve(std::size_t{1} << 20); }

    // Runs `call` and keeps its time, which is this iteration's.
    template <class Call>
    void Time(benchmark::State& state, Call call) {
        const int64 start = Nanoseconds(CLOCK_MONOTONIC);
        call();
        const int64 taken = Nanoseconds(CLOCK_MONOTONIC) - start;
        m_all.push_back(taken);
        state.SetIterationTime(static_cast<double>(taken) * 1e-9);
    }

    // At the end of the run.
    void Report(benchmark::State& state) {
        std::sort(m_all.begin(), m_all.end());
        state.counters["median_ns"] = Quantile(0.5);
        state.counters["p99_ns"] = Quantile(0.99);
        state.counters["p999_ns"] = Quantile(0.999);
    }

private:
    double Quantile(double part) const {
        const auto place = static_cast<std::size_t>(part * static_cast<double>(m_all.size()));
        return static_cast<double>(m_all[std::min(place, m_all.size() - 1)]);
    }

    std::vector<int64> m_all;
};

} // namespace bench
