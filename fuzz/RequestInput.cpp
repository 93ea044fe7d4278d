#include "fuzz/RequestInput.h"

#include "fuzz/Require.h"

#include "bridge/Records.h"
#include "server/HostWatch.h"
#include "server/PlugChannel.h"
#include "server/Server.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

namespace vxcio::fuzz {

namespace {

using namespace vxcserver;

constexpr uint32 kLeaderBytes = 15;
constexpr uint32 kClearedBehind = 16;
constexpr unsigned char kOld = 0xEE; // no tag, no value of any reply

// A plug-in that takes whatever comes, by the command's number.
int TakeAnything(void*, uint32 command, const wchar_t* name, CVXCSerialize& request, CVXCSerialize& reply) {
    switch (command % 6) {
    case 0: {
        SPlugFRAMEINFO frame = {};
        request >> frame;
        reply << frame;
        SerilizeFree(frame.append.data);
        return static_cast<int>(*name);
    }
    case 1: {
        unsigned char* bytes = nullptr;
        unsigned int count = 0;
        while (request.ReadBlock(bytes, count, 0) != 0) {
            reply.WriteBlock(bytes, count);
        }
        return 0;
    }
    case 2:
        request >> reply.m_dwPosition; // a stream in an odd state
        return 1;
    case 3:
        request >> reply.m_nDirection >> reply.m_nError >> reply.m_dwCapacity;
        return 1;
    case 4: {
        CVXCString text;
        while (request.m_nError == VXC_SERIALIZE_OK && reply.m_nError == VXC_SERIALIZE_OK) {
            request >> text;
            reply << text;
        }
        return 2;
    }
    default:
        reply << 1ull;
        throw std::runtime_error("any");
    }
}

// Both lie in blocks of exactly their sizes.
struct Spaces {
    Spaces(std::size_t requestBytes, uint32 replyBytes)
        : request(std::max<std::size_t>(requestBytes, 1)), reply(std::max(replyBytes, uint32{1}), kOld) {}

    ChannelSpaces Get() {
        return {request.data(), static_cast<uint32>(request.size()), reply.data(),
                static_cast<uint32>(reply.size())};
    }

    std::vector<unsigned char> request;
    std::vector<unsigned char> reply;
};

void CheckReply(Spaces& spaces) {
    if (spaces.reply.size() < kLeaderBytes) {
        return;
    }
    CVXCSerialize stream;
    stream.m_pBuffer = spaces.reply.data();
    stream.m_dwCapacity = static_cast<uint32>(spaces.reply.size());
    SOutParamLeader leader = {};
    stream >> leader;
    Require(stream.m_nError == VXC_SERIALIZE_OK, "a reply has a leader");
    Require(leader.size >= kLeaderBytes && leader.size <= spaces.reply.size(), "a reply has its true size");
    Require(leader.value2 == 0, "the third value is 0");
    const auto behind = spaces.reply.begin() + leader.size;
    const auto end = behind + std::min<std::ptrdiff_t>(kClearedBehind, spaces.reply.end() - behind);
    Require(std::all_of(behind, end, [](unsigned char byte) { return byte == 0; }),
            "nothing old stands behind");
}

void SetTrueSize(std::vector<unsigned char>& request) {
    for (std::size_t i = 0; i < 4 && i + 1 < request.size(); ++i) {
        request[i + 1] = static_cast<unsigned char>(request.size() >> (8 * i));
    }
}

} // namespace

void FuzzRequest(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return;
    }
    const bool toPlug = (*data & 1) != 0;
    const uint32 small = *data >> 1U;
    const uint32 replyBytes = small == 0 ? 4096 : small;
    ++data;
    --size;
    HostWatch watch(1);
    Server server(watch, L"00000001");
    const auto channel = toPlug ? std::make_shared<PlugChannel>(
                                      std::make_shared<Plug>(TakeAnything, nullptr, nullptr), 1, L"fuzz")
                                : nullptr;
    while (size > 2) {
        const std::size_t head = data[0] | static_cast<std::size_t>(data[1]) << 8U;
        const std::size_t bytes = std::min(head & 0x7FFF, size - 2);
        Spaces spaces(bytes, replyBytes);
        std::copy_n(data + 2, bytes, spaces.request.begin());
        if ((head & 0x8000) == 0) {
            SetTrueSize(spaces.request);
        }
        if (channel != nullptr) {
            channel->Answer(spaces.Get());
        } else {
            server.Answer(spaces.Get());
        }
        CheckReply(spaces);
        data += bytes + 2;
        size -= bytes + 2;
    }
}

} // namespace vxcio::fuzz
