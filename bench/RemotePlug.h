// RemotePlug.h - the plug-in for benchmarks in a server, and a channel to it.
#pragma once

#include "InsistOn.h"
#include "bridge/Interacter.h"
#include "bridge/InteractorID.h"
#include "bridge/RemoteCall.h"
#include "bridge/Serialize.h"
#include "bridge/ServerProcess.h"
#include "frame/Types.h"
#include "plug/BenchCommands.h"

namespace bench {

inline constexpr uint32 kPayload = uint32{1} << 20;

// One for a program: it starts the server and stops it. Whatever does not work ends the program.
class RemotePlug {
public:
    RemotePlug() : m_channel(ConstructVXCInteratcter(VXC_INTERACTER_SENDER)) {
        wchar_t id[64];
        InsistOn(CreateVXC32ServProcess() == 0, "starting the server");
        m_plug = RemoteLoadVXC32Plug(L"" VXC_BENCH_PLUG);
        InsistOn(m_plug != 0, "loading the plug-in");
        InsistOn(CreateVXCInteractorID(PLUG_TYPE_VIDEO_DECODER, 0, id, sizeof id) == 0, "making an id");
        InsistOn(m_channel != nullptr && m_channel->Initialize(m_plug, id, 2 * kPayload, 2 * kPayload) == 0,
                 "setting up the channel");
    }
    ~RemotePlug() {
        DeleteVXCInteratcter(m_channel);
        RemoteFreeVXC32Plug(m_plug);
        DestoryVXC32ServProcess();
    }
    RemotePlug(const RemotePlug&) = delete;
    RemotePlug& operator=(const RemotePlug&) = delete;

    // One call as a proxy makes it. `write` puts the arguments, `read` takes the results.
    template <class Write, class Read>
    void Call(uint32 command, Write write, Read read) {
        m_channel->Lock();
        CVXCSerialize request;
        CVXCSerialize reply;
        const auto number = static_cast<EVXC32_RCALL_CMD>(command);
        InsistOn(RemoteCall_In(m_channel, number, nullptr, nullptr, request) == 0, "a call");
        write(request);
        InsistOn(RemoteCall_Out(m_channel, kLimit, nullptr, request, reply) == 0, "a call");
        read(reply);
        InsistOn(request.m_nError == 0 && reply.m_nError == 0, "a call");
        m_channel->Unlock();
    }
    void Call(uint32 command) {
        Call(
            command, [](CVXCSerialize&) {}, [](CVXCSerialize&) {});
    }

    uint32 ServerProcess() {
        uint32 process = 0;
        Call(
            kProcessId, [](CVXCSerialize&) {}, [&process](CVXCSerialize& reply) { reply >> process; });
        return process;
    }

private:
    static constexpr uint32 kLimit = 5000; // milliseconds

    CVXCInteracter* const m_channel;
    unsigned long long m_plug = 0;
};

// Started when it is first asked for, stopped at the end of the program.
inline RemotePlug& TheRemotePlug() {
    static RemotePlug plug;
    return plug;
}

} // namespace bench
