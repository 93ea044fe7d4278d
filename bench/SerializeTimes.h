// SerializeTimes.h - how long single operations take that are too short for the clock.
#pragma once

#include "CallTimes.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace vxcbench {

// Runs `operation` in batches of kBatch, and reports what an operation of each batch took on average: the
// counters that CallTimes has of calls. Reading the clock adds to each about a sixteenth of what that takes.
// To be called behind the loop of the run, which no clock disturbs so.
template <class Operation>
void ReportTimes(benchmark::State& state, Operation operation) {
    constexpr std::size_t kBatch = 16;
    constexpr std::size_t kBatches = 10'000;
    std::vector<int64> times(kBatches);
    for (int64& time : times) {
        const int64 start = bench::Nanoseconds(CLOCK_MONOTONIC);
        for (std::size_t i = 0; i < kBatch; ++i) {
            operation();
        }
        time = bench::Nanoseconds(CLOCK_MONOTONIC) - start;
    }
    std::sort(times.begin(), times.end());
    const auto quantile = [&](std::size_t thousandths) {
        return static_cast<double>(times[kBatches * thousandths / 1000]) / static_cast<double>(kBatch);
    };
    state.counters["median_ns"] = quantile(500);
    state.counters["p99_ns"] = quantile(990);
    state.counters["p999_ns"] = quantile(999);
}

} // namespace vxcbench
