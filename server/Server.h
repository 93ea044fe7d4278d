// Server.h - the plug-in server of one host: its system channel and what was loaded and set up over it.
#pragma once

#include "Handles.h"
#include "HostWatch.h"
#include "Message.h"
#include "Plug.h"
#include "PlugChannel.h"
#include "bridge/Interacter.h"
#include "frame/Types.h"

#include <atomic>
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

    // Brings the system channel up.
    bool Begin();
    // Serves until the host says so, or ends, or lets go of the channel; then ends everything, the system
    // channel first, so that the host can start another server.
    void Run();

private:
    struct Deleter {
        void operator()(CVXCInteracter* channel) const { DeleteVXCInteratcter(channel); }
    };

    static int Serve(void* server);
    void ServeOne();
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
