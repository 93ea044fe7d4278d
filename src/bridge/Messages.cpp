#include "bridge/Messages.h"

#include "bridge/InteracterImpl.h"
#include "frame/Log.h"

namespace vxcio {

bool TakeSpaces(CVXCInteracter& channel, ChannelSpaces& spaces, int& status) noexcept {
    void* request = nullptr;
    void* reply = nullptr;
    unsigned int requestSize = 0;
    unsigned int replySize = 0;
    status = channel.ObtainSMMSpaceAddress(&request, &requestSize, &reply, &replySize);
    if (status != 0 || request == nullptr || requestSize == 0 || reply == nullptr || replySize == 0) {
        return false;
    }
    spaces = HeldAgainst(channel, {static_cast<unsigned char*>(request), requestSize,
                                   static_cast<unsigned char*>(reply), replySize});
    return true;
}

void LogFailedCall(const wchar_t* caller, const CallResult& call) noexcept {
    switch (call.end) {
    case CallEnd::NoSpaces:
        LogError(L"%s failed : can't ObtainSMMSpaceAddress 0x%08x", caller, call.status);
        break;
    case CallEnd::NoAnswer:
        LogError(L"%s failed : RemoteCall return error 0x%08x", caller, call.status);
        break;
    case CallEnd::Refused:
        LogError(L"%s failed : RemoteCall result 0x%08x", caller, call.status);
        break;
    case CallEnd::Done:
        break;
    }
}

} // namespace vxcio
