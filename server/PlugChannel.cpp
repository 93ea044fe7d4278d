#include "PlugChannel.h"

#include "CrashReport.h"
#include "Report.h"

#include <utility>

namespace vxcserver {

PlugChannel::PlugChannel(std::shared_ptr<Plug> plug, uint64 plugHandle, const wchar_t* id)
    : m_plug(std::move(plug)), m_plugHandle(plugHandle), m_id(id),
      m_end(ConstructVXCInteratcter(VXC_INTERACTER_RECEIVER)) {}

PlugChannel::~PlugChannel() {
    if (m_closer.joinable()) {
        m_closer.detach(); // it has the channel's last reference then, and is this very thread
    }
    m_end.reset(); // waits for its thread, which uses the rest
}

bool PlugChannel::Begin(uint32 outSize) {
    if (m_end == nullptr) {
        return false;
    }
    m_end->SetReceiverCallback(Serve, this);
    // The host's space is as large as it is found to be.
    return m_end->Initialize(m_plugHandle, m_id.c_str(), 0, outSize) == 0;
}

void PlugChannel::BeginEnd() {
    if (!m_closer.joinable()) {
        const std::lock_guard lock(m_mutex);
        if (!m_closed) {
            m_closer = std::thread([self = shared_from_this()] { self->Close(); });
        }
    }
}

bool PlugChannel::WaitForEnd(std::chrono::steady_clock::time_point limit) {
    {
        std::unique_lock lock(m_mutex);
        if (!m_changed.wait_until(lock, limit, [this] { return m_closed; })) {
            return false;
        }
    }
    if (m_closer.joinable()) {
        m_closer.join(); // so that nothing of the plug-in is in use any more
    }
    return true;
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
    auto* const self = static_cast<PlugChannel*>(channel);
    PrepareForCrashes();
    self->Answer(vxcio::UsableSpaces(*self->m_end));
    return 0;
}

void PlugChannel::Answer(const vxcio::ChannelSpaces& spaces) noexcept {
    Reply reply(spaces);
    try {
        Request request;
        if (TakeRequest(spaces, request)) {
            CarryOut(request, reply);
        } else {
            reply.Refuse(kResultBadRequest);
        }
    } catch (...) {
        reply.Refuse(kResultThrown);
    }
}

void PlugChannel::CarryOut(Request& request, Reply& reply) {
    if (!m_opened) {
        m_instance = m_plug->Open(m_plugHandle, m_id.c_str());
        m_opened = true;
    }
    const int result = m_plug->Call(m_instance, request.leader.command, request.leader.commandString.c_str(),
                                    request.arguments, reply.Results());
    reply.Finish(static_cast<uint32>(result));
}

} // namespace vxcserver
