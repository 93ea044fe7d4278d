// Messages.h - requests to the server and their replies, as the library's own calls put them together.
#pragma once

#include "bridge/ChannelSpaces.h"
#include "bridge/Interacter.h"
#include "bridge/Records.h"
#include "bridge/Serialize.h"
#include "frame/Types.h"

namespace vxcio {

// Holds a channel's lock.
class ChannelLock {
public:
    explicit ChannelLock(CVXCInteracter& channel) noexcept : m_channel(channel) { m_channel.Lock(); }
    ~ChannelLock() { m_channel.Unlock(); }
    ChannelLock(const ChannelLock&) = delete;
    ChannelLock& operator=(const ChannelLock&) = delete;

private:
    CVXCInteracter& m_channel;
};

inline void SetUp(CVXCSerialize& stream, unsigned char* space, uint32 bytes, int direction) noexcept {
    stream.m_pBuffer = space;
    stream.m_dwCapacity = bytes;
    stream.m_dwPosition = 0;
    stream.m_nDirection = direction;
    stream.m_nError = VXC_SERIALIZE_OK;
}

// Puts the length of the message into its head, also of one that was cut because it did not fit; its error
// stays.
inline void StoreLength(CVXCSerialize& message) noexcept {
    const int error = message.m_nError;
    message.m_nError = VXC_SERIALIZE_OK;
    message.SetMessageSize(message.m_dwPosition);
    if (message.m_nError == VXC_SERIALIZE_OK) {
        message.m_nError = error;
    }
}

// The spaces of a channel. False when it has not both of them; *status is then what the channel said, which
// may be 0.
bool TakeSpaces(CVXCInteracter& channel, ChannelSpaces& spaces, int& status) noexcept;

// How far a call came.
enum class CallEnd {
    NoSpaces,
    NoAnswer, // the status is the wait's
    Refused,  // the status is the server's
    Done,
};

struct CallResult {
    CallEnd end;
    int status;
};

// Logs why a call of the function `caller` failed; nothing for one that did not.
void LogFailedCall(const wchar_t* caller, const CallResult& call) noexcept;

inline void NoArguments(CVXCSerialize&) noexcept {}
inline void NoResults(CVXCSerialize&) noexcept {}

// One named call on a channel, whose lock is held. `write` puts the arguments behind the leader; `read` takes
// the values behind the reply's leader, also those of a refusal. What it takes is to hold its own value where
// the reply is short.
template <class Write, class Read>
CallResult CallServer(CVXCInteracter& channel, const wchar_t* command, uint32 timeoutMs, Write write,
                      Read read) noexcept {
    ChannelSpaces spaces = {};
    int status = 0;
    if (!TakeSpaces(channel, spaces, status)) {
        return {CallEnd::NoSpaces, status};
    }
    CVXCSerialize request;
    SetUp(request, spaces.request, spaces.requestBytes, VXC_SERIALIZE_STORE);
    SInParamLeader leader;
    leader.commandString = command;
    if (leader.commandString.IsEmpty()) {
        return {CallEnd::NoAnswer, -1}; // no memory for it: nothing is sent
    }
    request << leader;
    write(request);
    StoreLength(request);
    status = channel.RemoteCall(timeoutMs);
    if (status != 0) {
        return {CallEnd::NoAnswer, status};
    }
    CVXCSerialize reply;
    SetUp(reply, spaces.reply, spaces.replyBytes, VXC_SERIALIZE_LOAD);
    SOutParamLeader answer = {};
    reply >> answer;
    read(reply);
    if (answer.result != 0) {
        return {CallEnd::Refused, static_cast<int>(answer.result)};
    }
    return {CallEnd::Done, 0};
}

} // namespace vxcio
