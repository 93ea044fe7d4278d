// Thread.h - a thread as an object that can be waited for.
#pragma once

#include "frame/PlatformTypes.h"
#include "sysu/posix/WaitObject.h"

#include <pthread.h>

namespace vxcio::sysu {

// Where a thread stands before its entry function.
enum class ThreadGate : uint32 {
    Open,      // it runs, or may
    Suspended, // until VXC_ResumeThread
    Dropped,   // its handle was closed while it was suspended: it ends without having run
};

struct Thread : WaitObject {
    Thread(uint32 (*itsEntry)(void*), void* itsArgument, bool suspended, bool tellsId) noexcept
        : WaitObject(WaitKind::Thread, false), entry(itsEntry), argument(itsArgument), announcesId(tellsId),
          gate(static_cast<uint32>(suspended ? ThreadGate::Suspended : ThreadGate::Open)) {}

    uint32 (*const entry)(void*);
    void* const argument;
    const bool announcesId;
    pthread_t native{}; // for who closes the handle
    std::atomic<uint32> gate;
    std::atomic<uint32> kernelId{0};
    std::atomic<uint32> exitCode{static_cast<uint32>(VXC_STILL_ACTIVE)};
};

// What closing the handle does to the thread itself, beside dropping the reference: one that has ended is
// joined, one that runs goes on unattended, one that is suspended is let go without running.
void ForgetThread(Thread& thread) noexcept;

} // namespace vxcio::sysu
