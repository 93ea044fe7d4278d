#include "bridge/Messages.h"

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
    spaces = UsableSpaces(channel);
    return true;
}

} // namespace vxcio
