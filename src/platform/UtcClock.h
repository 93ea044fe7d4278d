// UtcClock.h - what time it is, behind a table that tests replace.
#pragma once

#include "frame/Types.h"

namespace vxcio {

struct UtcClockTable {
    // The year now, in UTC.
    int (*year)();
};

UtcClockTable& UtcClock() noexcept;

} // namespace vxcio
