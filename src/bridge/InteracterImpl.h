// InteracterImpl.h - the one implementation of a channel's end, host's and server's.
//
//   object          name            made by    opened by
//   request space   <id>_InMap      Sender     Receiver
//   reply space     <id>_OutMap     Receiver   Sender
//   begin event     <id>_EvtBegin   Sender     Receiver
//   end event       <id>_EvtEnd     Sender     Receiver
//
// A marker in each space tells that it was made for this: the Sender writes one to the request space before
// anybody hears of it, the Receiver one to the reply space before it signals end for the first time.
//
// The sizes of the spaces are those that were asked for, and are handed out so. Beside each view stands the
// length of the section that is really there; the library's own streams never go beyond that.
#pragma once

#include "bridge/ChannelSpaces.h"
#include "bridge/Interacter.h"
#include "bridge/InteracterEvent.h"
#include "bridge/MappedSpace.h"
#include "bridge/ReceiverThread.h"
#include "bridge/RecursiveLock.h"
#include "frame/Counted.h"
#include "frame/VXCString.h"

namespace vxcio {

// Of the told spaces of a channel what is really there; those of another implementation as they were told.
ChannelSpaces HeldAgainst(CVXCInteracter& channel, const ChannelSpaces& told) noexcept;

} // namespace vxcio

class CVXCInteracterImpl final : public CVXCInteracter {
public:
    // Throws std::bad_alloc.
    explicit CVXCInteracterImpl(int role);
    CVXCInteracterImpl(const CVXCInteracterImpl&) = delete;
    CVXCInteracterImpl& operator=(const CVXCInteracterImpl&) = delete;
    ~CVXCInteracterImpl() override;

    int Initialize(unsigned long long plugHandle, const wchar_t* id, unsigned int inSize,
                   unsigned int outSize) noexcept override;
    void Release() noexcept override;
    int GetInteractorID(wchar_t* buffer, unsigned int bufferBytes) noexcept override;
    int SetReceiverCallback(PFN_RECEIVER_CALLBACK callback, void* context) noexcept override;
    int ObtainSMMSpaceAddress(void** inSpace, unsigned int* inSize, void** outSpace,
                              unsigned int* outSize) noexcept override;
    int RemoteCall(unsigned int timeoutMs) noexcept override;
    int AdjustInSMMSpaceSize(unsigned int size) noexcept override;
    int AdjustOutSMMSpaceSize(unsigned int size) noexcept override;
    void Lock() noexcept override;
    void Unlock() noexcept override;

    // The steps of a Sender's set-up, for the channel that has no other one to tell its server by. Those with
    // a result give 0, or -1 with everything released. InitSenderEnd is the two behind it in one: who shares
    // the channel with other threads already holds its lock for the latter alone, and not while it waits.
    void Assign(unsigned long long plugHandle, const wchar_t* id, unsigned int inSize,
                unsigned int outSize) noexcept;
    int InitSenderFirst() noexcept;
    int InitSenderEnd() noexcept;
    void AwaitReceiver() noexcept;
    int OpenReplySpace() noexcept;

    vxcio::ChannelSpaces Usable() const noexcept;
    bool IsRequestSpaceShared() const noexcept;
    // Whether no thread holds the channel's lock or waits for it.
    bool IsIdle() const noexcept { return m_lock->IsIdle(); }

private:
    int InitSender() noexcept;
    // What Initialize gives, unless the set-up goes on.
    int TellServerOfChannel(CVXCInteracter& server, bool& goesOn) noexcept;
    bool TellServerOfRelease() noexcept;
    int InitReceiver() noexcept;
    int OpenForReceiver() noexcept;
    int MakeReplySpace() noexcept;

    // Log a failure and give -1, the second one with everything released.
    static int Fail(const wchar_t* text) noexcept;
    int FailReleased(const wchar_t* text) noexcept;
    static int FailToOpen(const wchar_t* format) noexcept;
    // Puts an event that was made or opened into its place, where an older one may stand. False for none.
    static bool Place(vxcio::Ref<vxcio::InteracterEvent>& event, void* made) noexcept;

    const int m_nRole;
    CVXCString m_strID;
    uint64 m_nPlugHandle = 0;
    uint64 m_nRemoteHandle = 0; // the server's handle of its end; 0 when it has none
    CVXCString m_strInMapName;  // the four names are empty where memory for one of them lacked
    CVXCString m_strBeginEventName;
    CVXCString m_strOutMapName;
    CVXCString m_strEndEventName;
    vxcio::MappedSpace m_inMap;  // requests; its handle is the m_hInMapFile of the log
    vxcio::MappedSpace m_outMap; // replies; m_hOutMapFile and m_pOutMapSMM
    vxcio::Ref<vxcio::InteracterEvent> m_beginEvent;
    vxcio::Ref<vxcio::InteracterEvent> m_endEvent;
    vxcio::ReceiverThread m_receiverThread;
    PFN_RECEIVER_CALLBACK m_pfnReceiver = nullptr;
    void* m_pReceiverContext = nullptr;
    vxcio::Ref<vxcio::RecursiveLock> m_lock;
};
