#include "PlugChannel.h"

#include "PlugError.h"
#include "Wire.h"

#include "bridge/ChannelSpaces.h"
#include "bridge/InteractorID.h"
#include "frame/Status.h"

#include <atomic>
#include <cstdio>
#include <string>

namespace frame_stats {

namespace {

// Counts the channels of this process; it shows in their ids.
constinit std::atomic<uint32> g_channels{0};

// The room for an id: it has about 43 characters.
constexpr std::size_t kIdCharacters = 128;

// What came back, in words where there are any.
std::string InWords(int status) {
    switch (status) {
    case kResultUnknownCommand:
        return "the plug-in does not know the command";
    case kResultGarbled:
        return "the plug-in could not read the request";
    case kResultUnknownFormat:
        return "the plug-in does not know the format";
    case kResultWrongSizes:
        return "the plug-in found sizes that do not fit";
    default:
        break;
    }
    char text[64];
    std::snprintf(text, sizeof text, "the call ended with 0x%08x", static_cast<unsigned>(status));
    return text;
}

} // namespace

void PlugChannel::EndChannel::operator()(CVXCInteracter* channel) const {
    if (!server->Answers()) {
        // Setting it up anew for nothing fails at once, and lets go of all that it had without a word to the
        // server, which Release would wait for.
        channel->Initialize(0, L"", 0, 0);
    }
    DeleteVXCInteratcter(channel);
}

PlugChannel::PlugChannel(PlugServer& server, const LoadedPlug& plug, uint32 requestBytes, uint32 replyBytes)
    : m_server(server), m_channel(ConstructVXCInteratcter(VXC_INTERACTER_SENDER), EndChannel{&server}) {
    wchar_t id[kIdCharacters] = {};
    // Statistics are no kind of plug-in that has a letter.
    if (m_channel == nullptr || CreateVXCInteractorID(ENUM_PLUG_TYPE{}, g_channels++, id, sizeof id) != 0) {
        throw PlugError("no channel could be made");
    }
    m_server.InsistOnAnswers();
    Check(m_channel->Initialize(plug.Handle(), id, requestBytes, replyBytes));
    const vxcio::ChannelSpaces spaces = vxcio::UsableSpaces(*m_channel);
    // Success is told also where there was nobody to tell of the channel.
    if (spaces.requestBytes < requestBytes || spaces.replyBytes < replyBytes) {
        throw PlugError("the channel has no room");
    }
}

void PlugChannel::Check(int status) {
    if (status == 0) {
        return;
    }
    if (status == static_cast<int>(VXC_STATUS_TIME_OUT)) {
        m_server.GiveUp();
        throw PlugError(m_server.Silence());
    }
    if (status == -1) {
        throw PlugError("the channel could not be set up");
    }
    throw PlugError(InWords(status));
}

void PlugChannel::CheckFits(const CVXCSerialize& request) {
    if (request.m_nError != VXC_SERIALIZE_OK) {
        throw PlugError("the request does not fit into the channel");
    }
}

void PlugChannel::CheckWhole(const CVXCSerialize& reply) {
    if (reply.m_nError != VXC_SERIALIZE_OK) {
        throw PlugError("the plug-in's reply is not whole");
    }
}

} // namespace frame_stats
