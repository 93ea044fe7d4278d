// Interacter.h - the channel between a host and the plug-in server: two shared spaces and two events, one
// request and one reply at a time.
//
//   host, Sender                                     server, Receiver
//   Lock
//   fill the request space
//   RemoteCall: signal begin, wait for end    -->    the receiver thread wakes and runs the callback,
//   read the reply space                      <--    which fills the reply space; signal end
//   Unlock
//
// The names, the layout and the order of set-up stand in docs/formats/channel.md.
//
// Results are 0 for success, -1 for a failure, or the status of a remote call; the log tells why.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

// Roles of a channel's end.
inline constexpr int VXC_INTERACTER_RECEIVER = 0;
inline constexpr int VXC_INTERACTER_SENDER = 1;

// Runs on the receiver thread for each request; what it returns is ignored. It must not throw and must not
// release or delete its own channel.
using PFN_RECEIVER_CALLBACK = int (*)(void* context);

// Made by ConstructVXCInteratcter, ended by DeleteVXCInteratcter. Threads of a host share a channel under
// Lock, held from filling the request to the end of reading the reply: RemoteCall, ObtainSMMSpaceAddress and
// the Adjust operations do not lock by themselves. Nothing here throws.
class VXCSOFTCODECIO_API CVXCInteracter {
public:
    CVXCInteracter() noexcept;
    CVXCInteracter(const CVXCInteracter& other) noexcept;
    CVXCInteracter& operator=(const CVXCInteracter& other) noexcept;
    // Releases the channel.
    virtual ~CVXCInteracter();

    // Brings the channel up in its role. `id` makes the names of all its objects; `inSize` and `outSize` are
    // the bytes of the request and the reply space, each below 4 GiB. A Sender needs a server that is up
    // (CreateVXC32ServProcess) and tells it of the channel; plugHandle is the plug-in the channel belongs to.
    // May block for 32 seconds, and ahead of that for the lock of the channel to the server. 0 with half a
    // channel where that one has no server behind it: ObtainSMMSpaceAddress tells. After a failure call
    // Release.
    virtual int Initialize(unsigned long long plugHandle, const wchar_t* id, unsigned int inSize,
                           unsigned int outSize) noexcept = 0;
    // Tears the channel down; may be repeated, and Initialize may follow. A Sender tells the server first;
    // where that fails everything stays open for another try; what the last try, the destructor's, leaves
    // stays to the end of the process. A Receiver waits without limit for a callback under way; called
    // within the callback nothing is torn down, and the thread ends behind it: call it again from elsewhere.
    virtual void Release() noexcept = 0;
    // Copies the id with its terminating zero. -1 for a null buffer or one too small.
    virtual int GetInteractorID(wchar_t* buffer, unsigned int bufferBytes) noexcept = 0;
    // To be called before Initialize as Receiver. 0, always.
    virtual int SetReceiverCallback(PFN_RECEIVER_CALLBACK callback, void* context) noexcept = 0;
    // The two spaces and their told sizes as they stand: addresses and sizes are 0 where there is none. A
    // null argument is left out. 0, always. How much of a space is really there tells ChannelSpaces.h: it
    // may be less, where the far end made it smaller and behind an Adjust that failed.
    virtual int ObtainSMMSpaceAddress(void** inSpace, unsigned int* inSize, void** outSpace,
                                      unsigned int* outSize) noexcept = 0;
    // Sender: one call. 0, or VXC_STATUS_TIME_OUT. After a time-out the receiver may still be at work, and
    // its late reply may be taken for that of the next call.
    virtual int RemoteCall(unsigned int timeoutMs) noexcept = 0;
    // Replace a space by one of another size. The old one stays mapped, and its name taken, until Release; so
    // the end that creates the space gets -1 while the old one lives; a Sender's channel has been released
    // then, and a failed size is told all the same. The end that opens the space keeps its size; a Sender's
    // Adjust of the reply space maps the request space in its place. The far end is not told.
    virtual int AdjustInSMMSpaceSize(unsigned int size) noexcept = 0;
    virtual int AdjustOutSMMSpaceSize(unsigned int size) noexcept = 0;
    // A lock of the owner's own threads; recursive. An Unlock by a thread that does not hold it does nothing.
    virtual void Lock() noexcept = 0;
    virtual void Unlock() noexcept = 0;
};

// The channel to the server of this process, or null while there is none (ServerProcess.h).
VXCSOFTCODECIO_API CVXCInteracter* ObtainSysSender() noexcept;
// Null where memory lacks. Any role but 0 is a Sender.
VXCSOFTCODECIO_API CVXCInteracter* ConstructVXCInteratcter(int role) noexcept;
// 0, always; null is accepted.
VXCSOFTCODECIO_API int DeleteVXCInteratcter(CVXCInteracter* channel) noexcept;
