// Bounded.h - waiting of a test that ends in a failure instead of a hang when what it waits for never comes.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace vxcio::test {

// Far beyond what any step of a test takes, also under a sanitizer on a busy machine.
inline constexpr std::chrono::seconds kHangLimit{30};

// True when `ready` became true, false when the limit passed. The deadline is one of the system clock as the
// thread sanitizer does not follow waits on the steady one.
template <class Ready>
[[nodiscard]] bool WaitBounded(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                               Ready ready) {
    return changed.wait_until(lock, std::chrono::system_clock::now() + kHangLimit, ready);
}

} // namespace vxcio::test
