#include "bridge/Messages.h"

#include "bridge/InteracterImpl.h"

#include <typeinfo>

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
    if (typeid(channel) == typeid(CVXCInteracterImpl)) {
        // No more than is really there.
        spaces = static_cast<CVXCInteracterImpl&>(channel).Usable();
    } else {
        spaces = {static_cast<unsigned char*>(request), requestSize, static_cast<unsigned char*>(reply),
                  replySize};
    }
    return true;
}

} // namespace vxcio
