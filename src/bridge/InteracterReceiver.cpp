// The server's end of a channel: its set-up.
#include "bridge/InteracterImpl.h"
#include "bridge/SpaceMarker.h"
#include "frame/Log.h"
#include "platform/SharedObjects.h"

using namespace vxcio;

int CVXCInteracterImpl::InitReceiver() noexcept {
    if (m_pfnReceiver == nullptr) {
        return Fail(L"Initialize receiver Failed: receivercallback is null");
    }
    if (OpenForReceiver() != 0 || MakeReplySpace() != 0) {
        return -1;
    }
    if (!m_receiverThread.Start(m_pfnReceiver, m_pReceiverContext, m_beginEvent, m_endEvent)) {
        // No signal either: the host waits in vain, and finds out by itself.
        LogError(L"%s", L"Can't Create ReceivDataThread.");
        return 0;
    }
    VXC_SetEvent(HandleOf(m_endEvent));
    return 0;
}

// What the host has made.
int CVXCInteracterImpl::OpenForReceiver() noexcept {
    if (!m_inMap.Open(m_strInMapName)) {
        return FailToOpen(L"Initialize receiver Failed: OpenFileMapping m_hInMapFile failed (%d).\n");
    }
    const bool mapped = m_inMap.Map();
    LogTrace(L"CVXCInteracterImpl::Initialize()-Receive:ptr=[0x%x][0x%x]MapViewOfFile(%s)",
             High32(m_inMap.view), Low32(m_inMap.view), m_strInMapName.c_str());
    if (!mapped && !m_inMap.empty) {
        return Fail(L"Initialize receiver Failed: Can't MapViewOfFile In");
    }
    if (!mapped || !kRequestMarker.StandsIn(m_inMap.view, m_inMap.mapped)) {
        return Fail(L"Initialize receiver Failed: Child Create SMM Failed!");
    }
    if (!Place(m_beginEvent, SharedObjects().openEvent(m_strBeginEventName))) {
        return Fail(L"Can't OpenEvent begin.");
    }
    if (!Place(m_endEvent, SharedObjects().openEvent(m_strEndEventName))) {
        return Fail(L"Can't OpenEvent end.");
    }
    return 0;
}

int CVXCInteracterImpl::MakeReplySpace() noexcept {
    switch (m_outMap.Create(m_strOutMapName)) {
    case MappedSpace::Made::Nothing:
        return Fail(L"Can't create file mapping.");
    case MappedSpace::Made::Taken:
        return Fail(L"Mapping already exists - not created.");
    case MappedSpace::Made::New:
        break;
    }
    if (!m_outMap.Map()) {
        return Fail(L"Can't map view. m_pOutMapSMM");
    }
    kReplyMarker.WriteTo(m_outMap.view, m_outMap.mapped);
    return 0;
}
