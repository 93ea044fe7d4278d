#include "PlugChannel.h"

#include "CrashReport.h"
#include "Message.h"
#include "Report.h"
#include "bridge/ChannelSpaces.h"

#include <thread>
#include <utility>

namespace vxcserver {

PlugChannel::PlugChannel(std::shared_ptr<Plug> plug, uint64 plugHandle, const wchar_t* id)
    : m_plug(std::move(plug)), m_plugHandle(plugHandle), m_id(id),
      m_end(ConstructVXCInteratcter(VXC_INTERACTER_RECEIVER)) {}

PlugChannel::~PlugChannel() = default;

bool PlugChannel::Begin(uint32 outSize) {
    if (m_end == nullptr) {
        return false;
    }
    m_end->SetReceiverCallback(Serve, this);
    // The host's space is as large as it is found to be.
    return m_end->Initialize(m_plugHandle, m_id.c_str(), 0, outSize) == 0;
}

bool PlugChannel::End(std::chrono::milliseconds limit) {
    std::unique_lock lock(m_mutex);
    if (!m_closing) {
        std::thread([self = shared_from_this()] { self->Close(); }).detach();
        m_closing = true;
    }
    return m_changed.wait_for(lock, limit, [this] { return m_closed; });
}

void PlugChannel::Close() {
    PrepareForCrashes();
    if (m_end != nullptr) {
        m_end->Release(); // waits for the call under way
    }
    if (std::exchange(m_opened, false)) {
        try {
            m_plug->Close(m_instance);
        } catch (...) {
            ReportError(L"%s", L"a plug-in threw while its instance was closed");
        }
    }
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    m_changed.notify_all();
}

int PlugChannel::Serve(void* channel) {
    static_cast<PlugChannel*>(channel)->ServeOne();
    return 0;
}

void PlugChannel::ServeOne() {
    const vxcio::ChannelSpaces spaces = vxcio::UsableSpaces(*m_end);
    Reply reply(spaces);
    try {
        Request request;
        if (!TakeRequest(spaces, request)) {
            reply.Refuse(kResultBadRequest);
            return;
        }
        if (!m_opened) {
            PrepareForCrashes();
            m_instance = m_plug->Open(m_plugHandle, m_id.c_str());
            m_opened = true;
        }
        const int result =
            m_plug->Call(m_instance, request.leader.command, request.leader.commandString.c_str(),
                         request.arguments, reply.Results());
        reply.Finish(static_cast<uint32>(result));
    } catch (...) {
        reply.Refuse(kResultThrown);
    }
}

} // namespace vxcserver
