// Message.h - requests as they are checked before anything is done for them, and replies that always end
// well.
#pragma once

#include "bridge/ChannelSpaces.h"
#include "bridge/Records.h"
#include "bridge/Serialize.h"
#include "frame/Types.h"

namespace vxcserver {

// Results of the server's own.
inline constexpr uint32 kResultBadRequest =
    0x80000002u; // a message or command that is none, or an unknown handle
inline constexpr uint32 kResultNotLoaded = 0x80000100u; // a module that could not be loaded
inline constexpr uint32 kResultThrown = 0x80000107u;    // the plug-in threw
inline constexpr uint32 kResultNoRoom = 8;      // the reply did not fit, or something is larger than allowed
inline constexpr uint32 kResultStillBusy = 258; // what was to be ended did not end in time

// A request whose head is in order.
struct Request {
    SInParamLeader leader;
    CVXCSerialize arguments; // stands behind the leader and ends with the message
};

// False where the head is out of order or claims more than is there.
bool TakeRequest(const vxcio::ChannelSpaces& spaces, Request& request);

// The reply of one request. Its leader comes first and is completed by Finish; whatever happens in between,
// Finish or Refuse leaves a whole reply.
class Reply {
public:
    explicit Reply(const vxcio::ChannelSpaces& spaces);

    CVXCSerialize& Results() { return m_stream; }
    // Results that do not fit make it a refusal.
    void Finish(uint32 result);
    // Without results, whatever was stored before.
    void Refuse(uint32 result);

private:
    void Begin();

    CVXCSerialize m_stream;
};

} // namespace vxcserver
