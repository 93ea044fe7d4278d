// FtpReceiver.h - the thread that does all the receiving of a transfer, so that a socket that hangs never
// keeps the caller.
//
//   caller                                    receiver
//   request filled, Done reset, Go set  --->  waits for Go
//   waits for Done, with its limit            receives until the request is full, or the end, or a failure
//   takes the answer                    <---  Go reset, Done set
//
// One request is in flight at a time. One that is not answered in time is given up for good: nothing is
// written to its target from then on, and the thread and all that it looks at stay until the socket lets go
// of it.
#pragma once

#include "frame/Counted.h"
#include "frame/RingEvent.h"
#include "frame/Types.h"

#include <mutex>

class CFTPSocket;

namespace vxcio {

// Shared by the source, one thread of which uses it at a time, and its own thread; freed by the last. The
// source ends it by Stop or GiveUp before it lets go.
class FtpReceiver final : public Counted<FtpReceiver> {
public:
    // With its thread waiting for requests. None when memory, an event or a thread lacks.
    static Ref<FtpReceiver> Start() noexcept;

    // Has the thread receive `bytes` bytes, or less at the end of the data. True with the count in *got: 0 at
    // the end or after a failure, which drops what came. False when it took longer than this many
    // milliseconds; then only GiveUp may follow.
    bool Receive(CFTPSocket& socket, uint8* target, int bytes, uint32 milliseconds, int* got) noexcept;
    // What the thread has to say about the end of the last request, as text for the caller's status; null for
    // nothing. Lives for ever.
    const wchar_t* Info() const noexcept { return m_info; }

    // Ends the thread and waits for that, with no request in flight; it takes no time.
    void Stop() noexcept;
    // Ends a request that did not come back in time. When this returns its target is not touched any more;
    // its socket may be for as long as the process lives.
    void GiveUp() noexcept;

private:
    friend class Counted<FtpReceiver>;
    FtpReceiver() noexcept = default;
    ~FtpReceiver();

    bool StartThread() noexcept;
    void End() noexcept;
    uint32 Run() noexcept;
    int Fill() noexcept;
    bool Publish(int count) noexcept;

    // Manual-reset, as all that have to do with a thread of the source.
    RingEvent m_hRecvGo;
    RingEvent m_hRecvQuit;
    RingEvent m_hRecvDone;
    void* m_hRecvThread = nullptr;

    std::mutex m_lock;
    bool m_stopped = false;    // guarded by m_lock: the target is not to be touched any more
    bool m_hasRequest = false; // guarded by m_lock: from the caller's order to the thread's answer
    // The request and its answer, in the hands of who owes the next step.
    CFTPSocket* m_pSocket = nullptr;
    uint8* m_pRecvBuffer = nullptr;
    int m_nRecvSize = 0;
    int m_nRecvGot = 0;
    const wchar_t* m_info = nullptr;
};

} // namespace vxcio
