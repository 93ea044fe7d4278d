// Server.h - the plug-in server of one host: its system channel and what was loaded and set up over it.
#pragma once

#include "Handles.h"
#include "HostWatch.h"
#include "Message.h"
#include "Plug.h"
#include "PlugChannel.h"
#include "bridge/ChannelSpaces.h"
#include "bridge/Interacter.h"
#include "frame/Types.h"

#include <atomic>
#include <chrono>
#include <memory>

namespace vxcserver {

// Made and run on the main thread; requests come on the system channel's thread, one after the other.
class Server {
public:
    // `watch` is for the host of that id.
    Server(HostWatch& watch, const wchar_t* id);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Brings the system channel up. Where that fails and the host is there, it is tried again and again: a
    // server that is about to end may still have the name of the reply space. One that hangs is gone within
    // the five seconds.
    bool Begin(std::chrono::milliseconds limit = std::chrono::seconds(5));
    // Serves until the host says so, or ends, or lets go of the channel; then ends everything, the system
    // channel first, so that the host can start another server.
    void Run();

    // Carries out the request of the system channel that stands in the spaces; a whole reply stands there
    // afterwards. On one thread, the system channel's while that is up.
    void Answer(const vxcio::ChannelSpaces& spaces) noexcept;
    // Whether the host has said so.
    bool IsToQuit() const { return m_quit.load(); }

private:
    struct Deleter {
        void operator()(CVXCInteracter* channel) const { DeleteVXCInteratcter(channel); }
    };

    static int Serve(void* server);
    void EndEverything();
    void Dispatch(Request& request, Reply& reply);

    uint32 LoadPlug(CVXCSerialize& arguments, CVXCSerialize& results);
    uint32 FreePlug(CVXCSerialize& arguments);
    uint32 InitChannel(CVXCSerialize& arguments, CVXCSerialize& results);
    uint32 EndChannel(CVXCSerialize& arguments);

    HostWatch& m_watch;
    const wchar_t* const m_id;
    std::unique_ptr<CVXCInteracter, Deleter> m_system;
    std::atomic<bool> m_quit{false};

    // The system channel's thread's; the main thread's when that one has ended.
    HandleTable<Plug, HandleKind::Plug> m_plugs;
    HandleTable<PlugChannel, HandleKind::Channel> m_channels;
};

} // namespace vxcserver
