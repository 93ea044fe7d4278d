#include "sysu/posix/Clock.h"

#include "frame/SystemLayer.h"
#include "sysu/LastError.h"

#include <cerrno>
#include <sched.h>
#include <time.h>

namespace vxcio::sysu {

namespace {

constexpr uint64 kNanosecondsPerSecond = 1'000'000'000;
constexpr uint64 kNanosecondsPerMillisecond = 1'000'000;

// The performance counter runs at 10 MHz on every system, so figures of different machines compare.
constexpr int64 kCounterFrequency = 10'000'000;
constexpr uint64 kNanosecondsPerCount = kNanosecondsPerSecond / kCounterFrequency;

// How long one piece of an endless sleep is; any length would do.
constexpr time_t kEndlessPieceSeconds = 1 << 20;

void SleepUntil(uint64 deadline) noexcept {
    timespec until = {};
    until.tv_sec = static_cast<time_t>(deadline / kNanosecondsPerSecond);
    until.tv_nsec = static_cast<long>(deadline % kNanosecondsPerSecond);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
}

} // namespace

uint64 MonotonicNanoseconds() noexcept {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64>(now.tv_sec) * kNanosecondsPerSecond + static_cast<uint64>(now.tv_nsec);
}

uint64 DeadlineAfter(uint64 start, uint32 milliseconds) noexcept {
    return start + milliseconds * kNanosecondsPerMillisecond;
}

} // namespace vxcio::sysu

using namespace vxcio::sysu;

void VXC_Sleep(uint32 milliseconds) noexcept {
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    if (milliseconds != VXC_INFINITE) {
        SleepUntil(DeadlineAfter(MonotonicNanoseconds(), milliseconds));
        return;
    }
    const timespec piece = {kEndlessPieceSeconds, 0};
    for (;;) {
        nanosleep(&piece, nullptr);
    }
}

uint32 VXC_GetTickCount() noexcept {
    // Cut to 32 bits on purpose: it starts again at 0 after 49.7 days, as callers expect.
    return static_cast<uint32>(MonotonicNanoseconds() / kNanosecondsPerMillisecond);
}

int VXC_QueryPerformanceCounter(_VXC_LARGE_INTEGER* counter) noexcept {
    if (counter == nullptr) {
        SetLastError(VXC_ERROR_INVALID_PARAMETER);
        return 0;
    }
    counter->QuadPart = static_cast<int64>(MonotonicNanoseconds() / kNanosecondsPerCount);
    return 1;
}

int VXC_QueryPerformanceFrequency(_VXC_LARGE_INTEGER* frequency) noexcept {
    if (frequency == nullptr) {
        SetLastError(VXC_ERROR_INVALID_PARAMETER);
        return 0;
    }
    frequency->QuadPart = kCounterFrequency;
    return 1;
}
