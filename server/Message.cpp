#include "Message.h"

#include <algorithm>
#include <cstring>

namespace vxcserver {

namespace {

// A head with no name in it is the shortest message.
constexpr uint32 kShortestRequest = 16;

// Behind a reply so much is cleared, so that a host that asks for more than was answered finds nothing there:
// the last reply's bytes least of all.
constexpr uint32 kClearedBehind = 16;

} // namespace

bool TakeRequest(const vxcio::ChannelSpaces& spaces, Request& request) {
    CVXCSerialize& stream = request.arguments;
    stream.m_pBuffer = spaces.request;
    stream.m_dwCapacity = spaces.requestBytes;
    stream.m_nDirection = VXC_SERIALIZE_LOAD;
    stream >> request.leader;
    const uint32 size = request.leader.size;
    if (stream.m_nError != VXC_SERIALIZE_OK || size < kShortestRequest || size > spaces.requestBytes ||
        stream.m_dwPosition > size) {
        return false;
    }
    stream.m_dwCapacity = size;
    return true;
}

Reply::Reply(const vxcio::ChannelSpaces& spaces) {
    m_stream.m_pBuffer = spaces.reply;
    m_stream.m_dwCapacity = spaces.replyBytes;
    m_stream.m_nDirection = VXC_SERIALIZE_STORE;
    Begin();
}

void Reply::Begin() {
    m_stream.m_dwPosition = 0;
    m_stream.m_nError = VXC_SERIALIZE_OK;
    SOutParamLeader leader = {};
    m_stream << leader;
}

void Reply::Finish(uint32 result) {
    // A plug-in has had its hands on the stream.
    if (m_stream.m_nError != VXC_SERIALIZE_OK || m_stream.m_nDirection != VXC_SERIALIZE_STORE ||
        m_stream.m_dwPosition > m_stream.m_dwCapacity) {
        Refuse(kResultNoRoom);
        return;
    }
    const uint32 size = m_stream.m_dwPosition;
    m_stream.m_dwPosition = 0;
    SOutParamLeader leader = {size, result, 0};
    m_stream << leader;
    m_stream.m_dwPosition = std::max(size, m_stream.m_dwPosition);
    const uint32 behind = std::min(kClearedBehind, m_stream.m_dwCapacity - m_stream.m_dwPosition);
    if (behind != 0) {
        std::memset(m_stream.m_pBuffer + m_stream.m_dwPosition, 0, behind);
    }
}

void Reply::Refuse(uint32 result) {
    m_stream.m_nDirection = VXC_SERIALIZE_STORE;
    Begin();
    if (m_stream.m_nError == VXC_SERIALIZE_OK) { // else there is no room for a reply at all
        Finish(result);
    }
}

} // namespace vxcserver
