#include "bridge/InteracterImpl.h"

#include "frame/Log.h"
#include "frame/Status.h"
#include "platform/Process.h"
#include "platform/SharedObjects.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <new>
#include <typeinfo>

using namespace vxcio;

namespace {

// Until Initialize tells another one.
constexpr uint32 kFirstInSize = 524288;

bool IsWhole(const CVXCString& text, std::size_t characters) noexcept {
    return static_cast<std::size_t>(text.GetLength()) == characters;
}

// False where memory lacks.
bool MakeName(CVXCString& name, const CVXCString& id, const wchar_t* suffix) noexcept {
    name = id + suffix;
    return IsWhole(name, static_cast<std::size_t>(id.GetLength()) + std::wcslen(suffix));
}

} // namespace

CVXCInteracter::CVXCInteracter() noexcept = default;
CVXCInteracter::CVXCInteracter(const CVXCInteracter&) noexcept = default;
CVXCInteracter& CVXCInteracter::operator=(const CVXCInteracter&) noexcept = default;
CVXCInteracter::~CVXCInteracter() = default;

CVXCInteracterImpl::CVXCInteracterImpl(int role)
    : m_nRole(role), m_lock(Ref<RecursiveLock>::Adopt(new RecursiveLock)) {
    m_inMap.size = kFirstInSize;
}

CVXCInteracterImpl::~CVXCInteracterImpl() {
    Release();
    // What a failed release has left open stays so, as the spaces do: the server may be using it.
    InteracterEvent::Keep(m_beginEvent);
    InteracterEvent::Keep(m_endEvent);
    m_lock->Close();
}

void CVXCInteracterImpl::Assign(unsigned long long plugHandle, const wchar_t* id, unsigned int inSize,
                                unsigned int outSize) noexcept {
    m_strID = id;
    m_nPlugHandle = plugHandle;
    m_outMap.size = outSize;
    m_inMap.size = inSize;
    const bool whole = IsWhole(m_strID, id == nullptr ? 0 : std::wcslen(id)) &&
                       MakeName(m_strInMapName, m_strID, L"_InMap") &&
                       MakeName(m_strBeginEventName, m_strID, L"_EvtBegin") &&
                       MakeName(m_strOutMapName, m_strID, L"_OutMap") &&
                       MakeName(m_strEndEventName, m_strID, L"_EvtEnd");
    if (!whole) {
        // A name cut short might be that of somebody else's object.
        for (CVXCString* const name :
             {&m_strInMapName, &m_strBeginEventName, &m_strOutMapName, &m_strEndEventName}) {
            *name = CVXCString();
        }
    }
}

int CVXCInteracterImpl::Initialize(unsigned long long plugHandle, const wchar_t* id, unsigned int inSize,
                                   unsigned int outSize) noexcept {
    Assign(plugHandle, id, inSize, outSize);
    LogTrace(L"%s ID: %s [thread:%d]", m_nRole != 0 ? L"Sender" : L"Receiver", m_strID.c_str(),
             Process().threadId());
    return m_nRole != 0 ? InitSender() : InitReceiver();
}

void CVXCInteracterImpl::Release() noexcept {
    if (m_nPlugHandle != 0 && m_nRole != 0 && m_nRemoteHandle != 0 && !TellServerOfRelease()) {
        return;
    }
    if (!m_receiverThread.Stop()) {
        LogError(L"%s", L"Release() failed : the receiver thread does not end");
        return;
    }
    m_outMap.Unmap();
    m_inMap.Unmap();
    m_inMap.CloseMapping();
    m_outMap.CloseMapping();
    m_beginEvent.Reset();
    m_endEvent.Reset();
}

int CVXCInteracterImpl::GetInteractorID(wchar_t* buffer, unsigned int bufferBytes) noexcept {
    const std::size_t bytes = (static_cast<std::size_t>(m_strID.GetLength()) + 1) * sizeof(wchar_t);
    if (buffer == nullptr || bytes > bufferBytes) {
        return -1;
    }
    std::memcpy(buffer, m_strID.c_str(), bytes);
    return 0;
}

int CVXCInteracterImpl::SetReceiverCallback(PFN_RECEIVER_CALLBACK callback, void* context) noexcept {
    m_pfnReceiver = callback;
    m_pReceiverContext = context;
    return 0;
}

int CVXCInteracterImpl::ObtainSMMSpaceAddress(void** inSpace, unsigned int* inSize, void** outSpace,
                                              unsigned int* outSize) noexcept {
    if (inSpace != nullptr) {
        *inSpace = m_inMap.view;
    }
    if (inSize != nullptr) {
        *inSize = m_inMap.size;
    }
    if (outSpace != nullptr) {
        *outSpace = m_outMap.view;
    }
    if (outSize != nullptr) {
        *outSize = m_outMap.size;
    }
    return 0;
}

int CVXCInteracterImpl::RemoteCall(unsigned int timeoutMs) noexcept {
    // Discards the late signal of a call that was given up.
    VXC_ResetEvent(HandleOf(m_endEvent));
    VXC_SetEvent(HandleOf(m_beginEvent));
    if (VXC_WaitForSingleObject(HandleOf(m_endEvent), timeoutMs) != VXC_WAIT_OBJECT_0) {
        LogTrace(L"%s", L"Wait for Child Process function's return, but time is out!");
        return static_cast<int>(VXC_STATUS_TIME_OUT);
    }
    return 0;
}

void CVXCInteracterImpl::Lock() noexcept {
    const Ref<RecursiveLock> lock = m_lock;
    lock->Enter();
}

void CVXCInteracterImpl::Unlock() noexcept {
    const Ref<RecursiveLock> lock = m_lock;
    lock->Leave();
}

ChannelSpaces CVXCInteracterImpl::Usable() const noexcept {
    ChannelSpaces spaces = {m_inMap.view, m_inMap.Usable(), m_outMap.view, m_outMap.Usable()};
    if (m_nRole == 0 && m_inMap.view != nullptr) {
        // The host made it, and its length is not told to this end.
        spaces.requestBytes = static_cast<uint32>(std::min<uint64>(m_inMap.mapped, 0xFFFFFFFFu));
    }
    return spaces;
}

bool CVXCInteracterImpl::IsRequestSpaceShared() const noexcept {
    return m_inMap.mapping != nullptr && SharedObjects().hasOthers(m_inMap.mapping) != 0;
}

int CVXCInteracterImpl::Fail(const wchar_t* text) noexcept {
    LogError(L"%s", text);
    return -1;
}

int CVXCInteracterImpl::FailReleased(const wchar_t* text) noexcept {
    Fail(text);
    Release();
    return -1;
}

int CVXCInteracterImpl::FailToOpen(const wchar_t* format) noexcept {
    LogError(format, VXC_GetLastError());
    return -1;
}

bool CVXCInteracterImpl::Place(Ref<InteracterEvent>& event, void* made) noexcept {
    event = InteracterEvent::Take(made);
    return static_cast<bool>(event);
}

ChannelSpaces vxcio::HeldAgainst(CVXCInteracter& channel, const ChannelSpaces& told) noexcept {
    return typeid(channel) == typeid(CVXCInteracterImpl) ? static_cast<CVXCInteracterImpl&>(channel).Usable()
                                                         : told;
}

ChannelSpaces vxcio::UsableSpaces(CVXCInteracter& channel) noexcept {
    void* request = nullptr;
    void* reply = nullptr;
    ChannelSpaces told = {};
    channel.ObtainSMMSpaceAddress(&request, &told.requestBytes, &reply, &told.replyBytes);
    told.request = static_cast<unsigned char*>(request);
    told.reply = static_cast<unsigned char*>(reply);
    return HeldAgainst(channel, told);
}

int vxcio::HasPeer(CVXCInteracter& channel) noexcept {
    return typeid(channel) == typeid(CVXCInteracterImpl) &&
                   static_cast<CVXCInteracterImpl&>(channel).IsRequestSpaceShared()
               ? 1
               : 0;
}

CVXCInteracter* ConstructVXCInteratcter(int role) noexcept {
    try {
        return new (std::nothrow) CVXCInteracterImpl(role);
    } catch (...) {
        return nullptr;
    }
}

int DeleteVXCInteratcter(CVXCInteracter* channel) noexcept {
    delete channel;
    return 0;
}
