// Clock.h - the one clock of sleeps, limits of waits, ticks and the performance counter.
//
// It is CLOCK_MONOTONIC: setting the wall clock moves nothing. All functions may be called from any thread.
#pragma once

#include "frame/Types.h"

namespace vxcio::sysu {

// A point of time that never comes.
inline constexpr uint64 kNoDeadline = ~uint64{0};

// Nanoseconds since a fixed point in the past.
uint64 MonotonicNanoseconds() noexcept;

// The point of time that lies `milliseconds` after `start`. Not for VXC_INFINITE: who waits without a limit
// need not ask the clock.
uint64 DeadlineAfter(uint64 start, uint32 milliseconds) noexcept;

} // namespace vxcio::sysu
