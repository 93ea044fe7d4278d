// ReceiverThread.h - the thread of a Receiver: waits for requests and has them carried out, one after the
// other.
#pragma once

#include "bridge/Interacter.h"
#include "frame/Types.h"

#include <atomic>

namespace vxcio {

// Owned by the channel, which starts and ends it on one thread at a time. The thread works on a record of its
// own, so that one that can't be waited for, since it is the caller, is no danger to anybody.
class ReceiverThread {
public:
    ReceiverThread() = default;
    ~ReceiverThread() = default;
    ReceiverThread(const ReceiverThread&) = delete;
    ReceiverThread& operator=(const ReceiverThread&) = delete;

    // Begins to serve; the events stay the channel's and outlive the thread. False where there is no quit
    // event or no thread.
    bool Start(PFN_RECEIVER_CALLBACK callback, void* context, void* beginEvent, void* endEvent) noexcept;
    // Lets a callback under way end, and waits for the thread. False, with the thread told to quit and
    // everything else left for a later Stop, when it is the caller's own.
    bool Stop() noexcept;

private:
    struct Record;
    static uint32 Run(void* record);

    Record* m_record = nullptr; // shared with the thread
    void* m_hThread = nullptr;
    void* m_hQuitEvent = nullptr;
};

} // namespace vxcio
