#include "bridge/RemoteCall.h"

#include "bridge/Messages.h"
#include "frame/Log.h"
#include "frame/Status.h"

using namespace vxcio;

namespace {

// Whether the channel can carry the call; otherwise what the caller gets.
bool HasSpaces(CVXCInteracter* channel, const wchar_t* name, ChannelSpaces& spaces, int& status) noexcept {
    status = -1;
    if (channel != nullptr && TakeSpaces(*channel, spaces, status)) {
        return true;
    }
    LogFailedCall(name, {CallEnd::NoSpaces, status});
    return false;
}

} // namespace

int RemoteCall_In(CVXCInteracter* channel, EVXC32_RCALL_CMD command, const wchar_t* commandString,
                  const wchar_t* callerName, CVXCSerialize& request) noexcept {
    const wchar_t* const name = callerName != nullptr ? callerName : L"RemoteCall_In";
    SInParamLeader leader;
    leader.command = static_cast<uint32>(command);
    if (command == VXC32_RCALL_NAMED) {
        if (commandString == nullptr) {
            LogError(L"%s failed : lpszCMDString is NULL", name);
            return static_cast<int>(VXC_STATUS_NO_COMMAND);
        }
        if (*commandString == 0) {
            LogError(L"%s failed : lpszCMDString is Empty", name);
            return static_cast<int>(VXC_STATUS_NO_COMMAND);
        }
        leader.commandString = commandString;
        if (leader.commandString.IsEmpty()) {
            return -1; // no memory for it, and a call without its name is another one
        }
    }
    ChannelSpaces spaces = {};
    int status = 0;
    if (!HasSpaces(channel, name, spaces, status)) {
        return status;
    }
    SetUp(request, spaces.request, spaces.requestBytes, VXC_SERIALIZE_STORE);
    request << leader;
    return 0;
}

int RemoteCall_Out(CVXCInteracter* channel, unsigned int timeoutMs, const wchar_t* callerName,
                   CVXCSerialize& request, CVXCSerialize& reply) noexcept {
    const wchar_t* const name = callerName != nullptr ? callerName : L"RemoteCall_Out";
    StoreLength(request);
    ChannelSpaces spaces = {};
    int status = 0;
    if (!HasSpaces(channel, name, spaces, status)) {
        return status;
    }
    status = channel->RemoteCall(timeoutMs);
    if (status != 0) {
        LogFailedCall(name, {CallEnd::NoAnswer, status});
        return status;
    }
    SetUp(reply, spaces.reply, spaces.replyBytes, VXC_SERIALIZE_LOAD);
    SOutParamLeader leader = {};
    reply >> leader;
    return static_cast<int>(leader.result);
}
