// AllocationCount.h - how often memory was asked for.
#pragma once

#include "frame/Types.h"

namespace bench {

// Calls of operator new in any form, by the program and by the libraries it uses, on all threads.
uint64 Allocations();

} // namespace bench
