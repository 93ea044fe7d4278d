// PlugChannel.h - a channel to a plug-in of the server, and the calls over it.
#pragma once

#include "PlugServer.h"

#include "bridge/Interacter.h"
#include "bridge/RemoteCall.h"
#include "bridge/Serialize.h"
#include "frame/Types.h"

#include <memory>

namespace frame_stats {

// Any thread may call; the calls take place one after the other.
class PlugChannel {
public:
    // With room for a request and a reply of so many bytes, their leaders included. Server and plug-in
    // outlive the channel. Throws PlugError, at once where the server is not to be asked any more.
    PlugChannel(PlugServer& server, const LoadedPlug& plug, uint32 requestBytes, uint32 replyBytes);

    // One call, by a name with command 0, or by another command without a name. `write` puts the arguments
    // on the request, `read` takes the results from the reply. Throws PlugError when the request does not
    // fit, no answer comes within the time, the plug-in gives a result that is not 0, or the reply is short;
    // at once where the server is not to be asked any more.
    template <class Write, class Read>
    void Call(uint32 command, const wchar_t* name, uint32 timeoutMs, Write write, Read read) {
        CVXCInteracter* const channel = m_channel.get();
        const ChannelLock lock(channel);
        // Behind the lock: the call that held it may be the one without an answer, and its late reply would
        // be taken for this one's.
        m_server.InsistOnAnswers();
        CVXCSerialize request;
        Check(RemoteCall_In(channel, static_cast<EVXC32_RCALL_CMD>(command), name, kCaller, request));
        write(request);
        CheckFits(request);
        CVXCSerialize reply;
        Check(RemoteCall_Out(channel, timeoutMs, kCaller, request, reply));
        read(reply);
        CheckWhole(reply);
    }

private:
    static constexpr const wchar_t* kCaller = L"FrameStatistics";

    // From filling the request to the end of reading the reply.
    class ChannelLock {
    public:
        explicit ChannelLock(CVXCInteracter* channel) : m_locked(channel) { m_locked->Lock(); }
        ~ChannelLock() { m_locked->Unlock(); }
        ChannelLock(const ChannelLock&) = delete;
        ChannelLock& operator=(const ChannelLock&) = delete;

    private:
        CVXCInteracter* const m_locked;
    };

    struct EndChannel {
        PlugServer* server;
        void operator()(CVXCInteracter* channel) const;
    };

    void Check(int status);
    static void CheckFits(const CVXCSerialize& request);
    static void CheckWhole(const CVXCSerialize& reply);

    PlugServer& m_server;
    std::unique_ptr<CVXCInteracter, EndChannel> m_channel;
};

} // namespace frame_stats
