// The host's end of a channel: its set-up, and what the server is told of it.
#include "bridge/InteracterImpl.h"
#include "bridge/Messages.h"
#include "bridge/SpaceMarker.h"
#include "bridge/SystemSender.h"
#include "frame/Log.h"
#include "platform/SharedObjects.h"

using namespace vxcio;

namespace {

// Milliseconds.
constexpr uint32 kInitTimeOut = 2000;
constexpr uint32 kReleaseTimeOut = 5000;
constexpr uint32 kServerStartTimeOut = 30000;

} // namespace

int CVXCInteracterImpl::InitSender() noexcept {
    CVXCInteracter* const server = ObtainSysSender();
    if (server == nullptr) {
        return Fail(L"Initialize Failed: Can't Obtain SysInteracter");
    }
    if (InitSenderFirst() != 0) {
        return Fail(L"Initialize Failed: Can't InitSenderFirst");
    }
    bool goesOn = false;
    if (const int result = TellServerOfChannel(*server, goesOn); !goesOn) {
        return result;
    }
    const int result = InitSenderEnd();
    if (result != 0) {
        LogError(L"Initialize failed : InitSenderEnd return 0x%08x", result);
    }
    return result;
}

int CVXCInteracterImpl::TellServerOfChannel(CVXCInteracter& server, bool& goesOn) noexcept {
    const ChannelLock lock(server);
    const auto write = [this](CVXCSerialize& request) {
        // From here on a handle of a former set-up is none of this one's, and no short reply brings it back.
        m_nRemoteHandle = 0;
        request << static_cast<unsigned long long>(m_nPlugHandle) << m_strID << m_outMap.size;
    };
    const auto read = [this](CVXCSerialize& reply) {
        unsigned long long handle = 0;
        reply >> handle;
        m_nRemoteHandle = handle;
    };
    const CallResult call = CallServer(server, L"Call_InitInteractor", kInitTimeOut, write, read);
    if (call.end == CallEnd::NoSpaces) {
        // Nothing has happened on the far side, and success is told all the same.
        LogError(L"Initialize Failed: can't ObtainSMMSpaceAddress 0x%08x", call.status);
        return 0;
    }
    if (call.end != CallEnd::Done) {
        LogFailedCall(L"Initialize", call);
        return call.status;
    }
    if (m_nRemoteHandle == 0) {
        return Fail(L"Initialize failed : RemoteCall receive is null");
    }
    goesOn = true;
    return 0;
}

int CVXCInteracterImpl::InitSenderFirst() noexcept {
    switch (m_inMap.Create(m_strInMapName)) {
    case MappedSpace::Made::Nothing:
        return FailReleased(L"Can't create file mapping.");
    case MappedSpace::Made::Taken:
        return FailReleased(L"Mapping already exists - not created.");
    case MappedSpace::Made::New:
        break;
    }
    const bool mapped = m_inMap.Map();
    LogTrace(L"CVXCInteracterImpl::InitSenderFirst():ptr=[0x%x][0x%x]MapViewOfFile(%s)", High32(m_inMap.view),
             Low32(m_inMap.view), m_strInMapName.c_str());
    if (!mapped) {
        return FailReleased(L"Can't create file mapping.");
    }
    kRequestMarker.WriteTo(m_inMap.view, m_inMap.mapped);
    if (!Place(m_beginEvent, SharedObjects().createEvent(m_strBeginEventName))) {
        return FailReleased(L"Can't create begin event.");
    }
    if (!Place(m_endEvent, SharedObjects().createEvent(m_strEndEventName))) {
        return FailReleased(L"Can't create end event.");
    }
    return 0;
}

int CVXCInteracterImpl::InitSenderEnd() noexcept {
    AwaitReceiver();
    return OpenReplySpace();
}

void CVXCInteracterImpl::AwaitReceiver() noexcept {
    // Whether the server was there in time shows by what it has made.
    VXC_WaitForSingleObject(HandleOf(m_endEvent), kServerStartTimeOut);
}

int CVXCInteracterImpl::OpenReplySpace() noexcept {
    if (!m_outMap.Open(m_strOutMapName)) {
        FailToOpen(L"OpenFileMapping hOutMapFile failed (%d).\n");
        Release();
        return -1;
    }
    const bool isMapped = m_outMap.Map();
    if (!isMapped && !m_outMap.empty) {
        return FailReleased(L"Can't MapViewOfFile Out");
    }
    if (!isMapped || !kReplyMarker.StandsIn(m_outMap.view, m_outMap.mapped)) {
        return FailReleased(L"Child Create SMM Failed!");
    }
    return 0;
}

// True when the server has let go of its end.
bool CVXCInteracterImpl::TellServerOfRelease() noexcept {
    CVXCInteracter* const server = ObtainSysSender();
    if (server == nullptr) {
        LogFailedCall(L"Release()", {CallEnd::NoSpaces, 0});
        return false;
    }
    const ChannelLock lock(*server);
    const auto write = [this](CVXCSerialize& request) {
        request << static_cast<unsigned long long>(m_nRemoteHandle);
    };
    const CallResult call = CallServer(*server, L"Call_UnInitInteractor", kReleaseTimeOut, write, NoResults);
    if (call.end != CallEnd::Done) {
        LogFailedCall(L"Release()", call);
        return false;
    }
    m_nRemoteHandle = 0;
    return true;
}
