// MessageSpaces.h - two spaces of memory as a channel has them, each with nothing behind it that may be
// touched.
#pragma once

#include "bridge/ChannelSpaces.h"
#include "bridge/Records.h"
#include "bridge/Serialize.h"
#include "frame/Types.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace vxcio::test {

// The request and the reply lie in blocks of their own of exactly their sizes, so that the sanitizer sees who
// goes beyond them.
class MessageSpaces {
public:
    explicit MessageSpaces(uint32 requestBytes = 4096, uint32 replyBytes = 4096)
        : m_request(new unsigned char[requestBytes]()), m_reply(new unsigned char[replyBytes]),
          m_requestBytes(requestBytes), m_replyBytes(replyBytes) {
        std::fill_n(m_reply.get(), replyBytes, kOld);
    }

    // What an older reply has left.
    static constexpr unsigned char kOld = 0x71;

    ChannelSpaces Spaces() const { return {m_request.get(), m_requestBytes, m_reply.get(), m_replyBytes}; }
    unsigned char* Request() const { return m_request.get(); }
    unsigned char* Reply() const { return m_reply.get(); }

    void PutRequest(const std::vector<unsigned char>& bytes) const {
        std::copy_n(bytes.begin(), std::min<std::size_t>(bytes.size(), m_requestBytes), m_request.get());
    }

    // A request with its length; `write` puts the arguments.
    template <class Write>
    uint32 Put(uint32 command, const wchar_t* name, Write write) const {
        CVXCSerialize stream;
        stream.m_pBuffer = m_request.get();
        stream.m_dwCapacity = m_requestBytes;
        stream.m_nDirection = VXC_SERIALIZE_STORE;
        SInParamLeader leader;
        leader.command = command;
        leader.commandString = name;
        stream << leader;
        write(stream);
        stream.SetMessageSize(stream.m_dwPosition);
        return stream.m_dwPosition;
    }
    uint32 Put(uint32 command, const wchar_t* name) const {
        return Put(command, name, [](CVXCSerialize&) {});
    }

    // The reply as a host reads it.
    CVXCSerialize ReadReply(SOutParamLeader& leader) const {
        CVXCSerialize stream;
        stream.m_pBuffer = m_reply.get();
        stream.m_dwCapacity = m_replyBytes;
        leader = {};
        stream >> leader;
        return stream;
    }
    SOutParamLeader Leader() const {
        SOutParamLeader leader = {};
        ReadReply(leader);
        return leader;
    }
    // Whether so many bytes behind the reply are cleared, as far as there are so many.
    bool IsClearedBehind(uint32 bytes = 16) const {
        const uint32 size = Leader().size;
        const uint32 end = std::min(m_replyBytes, size + bytes);
        return size <= end && std::all_of(m_reply.get() + size, m_reply.get() + end,
                                          [](unsigned char byte) { return byte == 0; });
    }

private:
    const std::unique_ptr<unsigned char[]> m_request;
    const std::unique_ptr<unsigned char[]> m_reply;
    const uint32 m_requestBytes;
    const uint32 m_replyBytes;
};

} // namespace vxcio::test
