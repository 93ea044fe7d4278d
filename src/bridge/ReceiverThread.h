// ReceiverThread.h - the thread of a Receiver: waits for requests and has them carried out, one after the
// other.
#pragma once

#include "bridge/Interacter.h"
#include "bridge/InteracterEvent.h"
#include "frame/Counted.h"
#include "frame/Types.h"

namespace vxcio {

// Owned by the channel, which starts and ends it on one thread at a time. The thread works on a record of its
// own, so that one that can't be waited for, since it is the caller, is no danger to anybody.
class ReceiverThread {
public:
    ReceiverThread() = default;
    // Of a thread that could not be stopped lets go; it ends by itself once it was told to quit.
    ~ReceiverThread();
    ReceiverThread(const ReceiverThread&) = delete;
    ReceiverThread& operator=(const ReceiverThread&) = delete;

    // Begins to serve, in place of a thread that did so before. The events are shared with the thread. False
    // where there is no quit event or no thread, and nothing is left of it then.
    bool Start(PFN_RECEIVER_CALLBACK callback, void* context, const Ref<InteracterEvent>& beginEvent,
               const Ref<InteracterEvent>& endEvent) noexcept;
    // Lets a callback under way end, and waits for the thread. False when it is the caller's own, which ends
    // behind its callback, or could not be told or waited for; everything else is left for a later Stop.
    bool Stop() noexcept;

private:
    struct Record;
    static uint32 Run(void* record);

    Record* m_record = nullptr; // shared with the thread
    void* m_hThread = nullptr;  // not null while there is a record
};

} // namespace vxcio
