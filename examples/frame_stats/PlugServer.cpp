#include "PlugServer.h"

#include "PlugError.h"

#include "bridge/ServerProcess.h"
#include "frame/Status.h"

#include <cstdio>
#include <utility>

namespace frame_stats {

PlugServer::PlugServer() {
    if (CreateVXC32ServProcess() != 0) {
        throw PlugError("the plug-in server could not be started");
    }
    m_facts = FindServer();
}

PlugServer::~PlugServer() {
    if (Answers()) {
        DestoryVXC32ServProcess();
    }
}

bool PlugServer::HasEnded() const {
    return m_facts && !IsRunning(m_facts->process);
}

bool PlugServer::Answers() const {
    return !m_givenUp && !HasEnded();
}

void PlugServer::InsistOnAnswers() const {
    if (!Answers()) {
        throw PlugError(Silence());
    }
}

std::string PlugServer::Silence() const {
    return HasEnded() ? "the plug-in server has ended" : "the plug-in server gave no answer in time";
}

LoadedPlug::LoadedPlug(PlugServer& server, const std::wstring& path) : m_server(server) {
    m_server.InsistOnAnswers();
    m_handle = RemoteLoadVXC32Plug(path.c_str());
    if (m_handle == 0) {
        throw PlugError(m_server.Answers() ? "the plug-in server could not load it" : m_server.Silence());
    }
}

LoadedPlug::~LoadedPlug() {
    if (m_handle != 0 && m_server.Answers()) {
        RemoteFreeVXC32Plug(m_handle);
    }
}

void LoadedPlug::Free() {
    m_server.InsistOnAnswers();
    const int status = RemoteFreeVXC32Plug(std::exchange(m_handle, 0));
    if (status == 0) {
        return;
    }
    if (status == static_cast<int>(VXC_STATUS_TIME_OUT)) {
        m_server.GiveUp();
        throw PlugError(m_server.Silence());
    }
    char text[64];
    std::snprintf(text, sizeof text, "the plug-in server did not free it: 0x%08x",
                  static_cast<unsigned>(status));
    throw PlugError(text);
}

} // namespace frame_stats
