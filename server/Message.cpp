#include "Message.h"

#include <algorithm>
#include <cstring>

namespace vxcserver {

namespace {

// A head with no name in it is the shortest message.
constexpr uint32 kShortestRequest = 16;

// Three values with their tags.
constexpr uint32 kLeaderBytes = 15;

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

Reply::Reply(const vxcio::ChannelSpaces& spaces)
    : m_space(spaces.reply), m_bytes(spaces.reply == nullptr ? 0 : spaces.replyBytes) {
    Begin();
}

// Sets up everything: a plug-in may have had its hands on the stream.
void Reply::Begin() {
    m_stream.m_pBuffer = m_space;
    m_stream.m_dwCapacity = m_bytes;
    m_stream.m_dwPosition = 0;
    m_stream.m_nDirection = VXC_SERIALIZE_STORE;
    m_stream.m_nError = VXC_SERIALIZE_OK;
    SOutParamLeader leader = {};
    m_stream << leader;
}

bool Reply::IsInOrder() const {
    return m_stream.m_nError == VXC_SERIALIZE_OK && m_stream.m_nDirection == VXC_SERIALIZE_STORE &&
           m_stream.m_pBuffer == m_space && m_stream.m_dwPosition >= kLeaderBytes &&
           m_stream.m_dwPosition <= m_bytes;
}

void Reply::Finish(uint32 result) {
    if (!IsInOrder()) {
        Refuse(kResultNoRoom);
        return;
    }
    const uint32 size = m_stream.m_dwPosition;
    m_stream.m_dwCapacity = m_bytes;
    m_stream.m_dwPosition = 0;
    SOutParamLeader leader = {size, result, 0};
    m_stream << leader;
    m_stream.m_dwPosition = size;
    std::memset(m_space + size, 0, std::min(kClearedBehind, m_bytes - size));
}

void Reply::Refuse(uint32 result) {
    Begin();
    if (m_stream.m_nError == VXC_SERIALIZE_OK) { // else there is no room for a reply at all
        Finish(result);
    }
}

} // namespace vxcserver
