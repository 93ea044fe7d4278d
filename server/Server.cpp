#include "Server.h"

#include "CrashReport.h"
#include "Report.h"
#include "bridge/ChannelSpaces.h"

#include <chrono>
#include <string_view>
#include <thread>

using namespace std::chrono_literals;

namespace vxcserver {

namespace {

// Of each of the system channel's spaces.
constexpr uint32 kSystemSpaceBytes = 1048576;

// What a host may ask for.
constexpr uint32 kMostReplyBytes = uint32{256} << 20;
constexpr std::size_t kMostIdCharacters = 200;

// The host waits five seconds for the end of a channel or a plug-in, and has to hear of it.
constexpr auto kEndLimit = 4000ms;

// How often the server looks whether its host has let go of it.
constexpr auto kLookEvery = 500ms;

// A plug-in that does not come back is left behind.
constexpr auto kExitLimit = 3000ms;

} // namespace

Server::Server(HostWatch& watch, const wchar_t* id)
    : m_watch(watch), m_id(id), m_system(ConstructVXCInteratcter(VXC_INTERACTER_RECEIVER)) {}

Server::~Server() = default;

bool Server::Begin() {
    if (m_system == nullptr) {
        return false;
    }
    m_system->SetReceiverCallback(Serve, this);
    return m_system->Initialize(0, m_id, kSystemSpaceBytes, kSystemSpaceBytes) == 0;
}

void Server::Run() {
    while (!m_quit.load() && !m_watch.HasEnded(kLookEvery) && vxcio::HasPeer(*m_system) != 0) {
    }
    std::thread([] {
        std::this_thread::sleep_for(kExitLimit);
        EndAtOnce(0);
    }).detach();
    m_system->Release();
    for (const uint64 handle : m_channels.Handles()) {
        m_channels.Find(handle)->End(kExitLimit);
        m_channels.Remove(handle);
    }
    for (const uint64 handle : m_plugs.Handles()) {
        m_plugs.Remove(handle);
    }
}

int Server::Serve(void* server) {
    static_cast<Server*>(server)->ServeOne();
    return 0;
}

void Server::ServeOne() {
    PrepareForCrashes(); // modules run code of theirs when they are loaded
    const vxcio::ChannelSpaces spaces = vxcio::UsableSpaces(*m_system);
    Reply reply(spaces);
    try {
        Request request;
        if (!TakeRequest(spaces, request) || request.leader.command != 0) {
            reply.Refuse(kResultBadRequest);
            return;
        }
        Dispatch(request, reply);
    } catch (...) {
        reply.Refuse(kResultThrown);
    }
}

void Server::Dispatch(Request& request, Reply& reply) {
    const std::wstring_view command = request.leader.commandString.c_str();
    CVXCSerialize& arguments = request.arguments;
    if (command == L"Call_LoadPlug") {
        reply.Finish(LoadPlug(arguments, reply.Results()));
    } else if (command == L"Call_FreePlug") {
        reply.Finish(FreePlug(arguments));
    } else if (command == L"Call_InitInteractor") {
        reply.Finish(InitChannel(arguments, reply.Results()));
    } else if (command == L"Call_UnInitInteractor") {
        reply.Finish(EndChannel(arguments));
    } else if (command == L"Call_QuitVXC32Serv") {
        reply.Finish(0);
        m_quit.store(true);
        m_watch.WakeUp();
    } else {
        reply.Refuse(kResultBadRequest);
    }
}

uint32 Server::LoadPlug(CVXCSerialize& arguments, CVXCSerialize& results) {
    CVXCString path;
    arguments >> path;
    unsigned long long handle = 0;
    uint32 result = kResultBadRequest;
    if (arguments.m_nError == VXC_SERIALIZE_OK) {
        const std::shared_ptr<Plug> plug = Plug::Load(path);
        result = plug == nullptr ? kResultNotLoaded : 0;
        handle = plug == nullptr ? 0 : m_plugs.Add(plug);
    }
    results << handle;
    return result;
}

uint32 Server::FreePlug(CVXCSerialize& arguments) {
    unsigned long long handle = 0;
    arguments >> handle;
    if (m_plugs.Find(handle) == nullptr) {
        return kResultBadRequest;
    }
    const auto limit = std::chrono::steady_clock::now() + kEndLimit;
    for (const uint64 channel : m_channels.Handles()) {
        const std::shared_ptr<PlugChannel> end = m_channels.Find(channel);
        if (end->PlugHandle() != handle) {
            continue;
        }
        const auto left = limit - std::chrono::steady_clock::now();
        if (!end->End(std::chrono::duration_cast<std::chrono::milliseconds>(left))) {
            return kResultStillBusy;
        }
        m_channels.Remove(channel);
    }
    m_plugs.Remove(handle);
    return 0;
}

uint32 Server::InitChannel(CVXCSerialize& arguments, CVXCSerialize& results) {
    unsigned long long plugHandle = 0;
    CVXCString id;
    uint32 outSize = 0;
    arguments >> plugHandle >> id >> outSize;
    const std::shared_ptr<Plug> plug = m_plugs.Find(plugHandle);
    if (arguments.m_nError != VXC_SERIALIZE_OK || plug == nullptr) {
        return kResultBadRequest;
    }
    const auto length = static_cast<std::size_t>(id.GetLength());
    if (length == 0 || length > kMostIdCharacters || outSize == 0 || outSize > kMostReplyBytes) {
        return kResultNoRoom;
    }
    const auto channel = std::make_shared<PlugChannel>(plug, plugHandle, id.c_str());
    if (!channel->Begin(outSize)) {
        channel->End(kEndLimit);
        return kResultBadRequest;
    }
    // The channel has signalled its end event by now, ahead of the reply.
    results << static_cast<unsigned long long>(m_channels.Add(channel));
    return 0;
}

uint32 Server::EndChannel(CVXCSerialize& arguments) {
    unsigned long long handle = 0;
    arguments >> handle;
    const std::shared_ptr<PlugChannel> channel = m_channels.Find(handle);
    if (channel == nullptr) {
        return m_channels.IsGone(handle) ? 0 : kResultBadRequest;
    }
    if (!channel->End(kEndLimit)) {
        return kResultStillBusy;
    }
    m_channels.Remove(handle);
    return 0;
}

} // namespace vxcserver
