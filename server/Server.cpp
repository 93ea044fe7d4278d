#include "Server.h"

#include "CrashReport.h"
#include "Report.h"

#include <chrono>
#include <exception>
#include <string_view>
#include <thread>
#include <vector>

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

// How often the server tries to come up.
constexpr auto kBeginEvery = 20ms;

// How often the server looks whether its host has let go of it.
constexpr auto kLookEvery = 500ms;

// A plug-in that does not come back is left behind.
constexpr auto kExitLimit = 3000ms;

} // namespace

Server::Server(HostWatch& watch, const wchar_t* id)
    : m_watch(watch), m_id(id), m_system(ConstructVXCInteratcter(VXC_INTERACTER_RECEIVER)) {}

Server::~Server() = default;

bool Server::Begin(std::chrono::milliseconds limit) {
    if (m_system == nullptr) {
        return false;
    }
    m_system->SetReceiverCallback(Serve, this);
    const auto end = std::chrono::steady_clock::now() + limit;
    while (m_system->Initialize(0, m_id, kSystemSpaceBytes, kSystemSpaceBytes) != 0) {
        // Its host waits half a minute for a server, and for no other one.
        if (vxcio::HasPeer(*m_system) == 0 || std::chrono::steady_clock::now() >= end ||
            m_watch.HasEnded(kBeginEvery)) {
            return false;
        }
        m_system->Release();
    }
    return true;
}

void Server::Run() {
    while (!m_quit.load() && !m_watch.HasEnded(kLookEvery) && vxcio::HasPeer(*m_system) != 0) {
    }
    try {
        std::thread([] {
            std::this_thread::sleep_for(kExitLimit);
            EndAtOnce(0);
        }).detach();
        EndEverything();
    } catch (const std::exception&) {
        EndAtOnce(0); // no thread or no memory for an orderly end; the system lets go of everything
    }
}

void Server::EndEverything() {
    m_system->Release();
    const std::vector<uint64> channels = m_channels.Handles();
    for (const uint64 handle : channels) {
        m_channels.Find(handle)->BeginEnd();
    }
    for (const uint64 handle : channels) {
        // No limit but that of the whole.
        m_channels.Find(handle)->WaitForEnd(std::chrono::steady_clock::now() + 2 * kExitLimit);
        m_channels.Remove(handle);
    }
    for (const uint64 handle : m_plugs.Handles()) {
        m_plugs.Remove(handle);
    }
}

int Server::Serve(void* server) {
    auto* const self = static_cast<Server*>(server);
    PrepareForCrashes(); // modules run code of theirs when they are loaded
    self->Answer(vxcio::UsableSpaces(*self->m_system));
    return 0;
}

void Server::Answer(const vxcio::ChannelSpaces& spaces) noexcept {
    Reply reply(spaces);
    try {
        Request request;
        if (TakeRequest(spaces, request) && request.leader.command == 0) {
            Dispatch(request, reply);
        } else {
            reply.Refuse(kResultBadRequest);
        }
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
    std::vector<uint64> ending;
    for (const uint64 channel : m_channels.Handles()) {
        if (m_channels.Find(channel)->PlugHandle() == handle) {
            m_channels.Find(channel)->BeginEnd();
            ending.push_back(channel);
        }
    }
    const auto limit = std::chrono::steady_clock::now() + kEndLimit;
    for (const uint64 channel : ending) {
        if (!m_channels.Find(channel)->WaitForEnd(limit)) {
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
    channel->BeginEnd();
    if (!channel->WaitForEnd(std::chrono::steady_clock::now() + kEndLimit)) {
        return kResultStillBusy;
    }
    m_channels.Remove(handle);
    return 0;
}

} // namespace vxcserver
