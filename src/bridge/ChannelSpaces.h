// ChannelSpaces.h - how much of a channel's spaces is really there.
//
// The sizes of ObtainSMMSpaceAddress are those that were asked for; the peer may have made its space smaller,
// and a failed Adjust leaves a size that belongs to no space. Who reads or writes a space by a serializer
// takes its capacity from here.
#pragma once

#include "bridge/Interacter.h"
#include "frame/Export.h"
#include "frame/Types.h"

namespace vxcio {

struct ChannelSpaces {
    unsigned char* request;
    uint32 requestBytes;
    unsigned char* reply;
    uint32 replyBytes;
};

// Zeros where there is no space. Of a Receiver the request space is told as large as the host made it,
// whatever size Initialize was given. For channels of ConstructVXCInteratcter; of other implementations the
// told sizes. Under the same rule as ObtainSMMSpaceAddress: the caller holds the lock, or is the receiver
// callback.
VXCSOFTCODECIO_API ChannelSpaces UsableSpaces(CVXCInteracter& channel) noexcept;

// Of a Receiver, 1 while the host still has the channel, which it lets go of by Release and when it ends,
// however it does; 0 from then on, and for a channel that is not up or of another implementation.
VXCSOFTCODECIO_API int HasPeer(CVXCInteracter& channel) noexcept;

} // namespace vxcio
