#include "frame/SystemLayer.h"

#include <cstring>

// The system's copy is the fast one: stores past the cache were measured at half its speed for the blocks
// that are copied here (64 KiB to 8 MiB), more so when the reader takes the bytes next, as it always does.
void VXCSoftMemCopy(void* target, void* source, int bytes) noexcept {
    if (target == nullptr || source == nullptr || bytes <= 0) {
        return;
    }
    std::memcpy(target, source, static_cast<std::size_t>(bytes));
}
