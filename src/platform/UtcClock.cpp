#include "platform/UtcClock.h"

#include <chrono>

namespace vxcio {

namespace {

int Year() {
    const auto today = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
    return static_cast<int>(std::chrono::year_month_day(today).year());
}

constinit UtcClockTable g_table = {Year};

} // namespace

UtcClockTable& UtcClock() noexcept {
    return g_table;
}

} // namespace vxcio
