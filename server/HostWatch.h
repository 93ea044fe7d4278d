// HostWatch.h - whether the host still lives.
#pragma once

#include "frame/Types.h"

#include <chrono>

namespace vxcserver {

// Watches the process that has the number when this is made, whatever has it later. One thread at a time.
class HostWatch {
public:
    explicit HostWatch(uint32 processId) noexcept;
    ~HostWatch();
    HostWatch(const HostWatch&) = delete;
    HostWatch& operator=(const HostWatch&) = delete;

    // Whether the process has ended. Waits for that, at most so long, and at most until WakeUp.
    bool HasEnded(std::chrono::milliseconds limit) noexcept;
    // Ends a wait, this one or the next. Any thread.
    void WakeUp() noexcept;

private:
    bool EndedByItsFacts() const noexcept;

    const uint32 m_processId;
    int m_process; // descriptor of the process, or -1
    int m_wake;    // descriptor that WakeUp signals
    uint64 m_startTime;
};

} // namespace vxcserver
