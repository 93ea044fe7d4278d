#include "FrameStatistics.h"

#include "TimeCode.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace frame_stats {

namespace {

// For the leader, the two records and the head of the block: 658 bytes with the longest name.
constexpr uint32 kBesidesThePicture = 1024;

// For the leader of the reply and the head of a block.
constexpr uint32 kBesidesTheResults = 64;

void Nothing(CVXCSerialize& /*stream*/) {}

} // namespace

FrameStatistics::FrameStatistics(PlugServer& server, const std::wstring& plug, const FrameShape& shape,
                                 uint32 timeoutMs, uint32 mostEcho)
    : m_shape(shape), m_timeoutMs(timeoutMs), m_plug(server, plug),
      m_channel(server, m_plug, shape.Bytes() + kBesidesThePicture,
                std::max(mostEcho, kStatisticsBytes) + kBesidesTheResults) {}

LumaStatistics FrameStatistics::Count(uint32 frame, const SPlugLinearTimeCode& timeCode,
                                      const uint8* picture) {
    SPlugFRAMEINFO info = {};
    info.value0 = frame;
    info.timeCode = timeCode;
    SPlugSoftImageBuffer image = m_shape.Image();
    LumaStatistics statistics;
    m_channel.Call(
        0, kStatistics, m_timeoutMs,
        [&](CVXCSerialize& request) {
            request << info << image;
            request.WriteBlock(picture, m_shape.Bytes());
        },
        [&](CVXCSerialize& reply) { LoadStatistics(reply, statistics); });
    return statistics;
}

LumaStatistics FrameStatistics::Total() {
    LumaStatistics statistics;
    m_channel.Call(0, kTotal, m_timeoutMs, Nothing,
                   [&](CVXCSerialize& reply) { LoadStatistics(reply, statistics); });
    return statistics;
}

void FrameStatistics::Reset() {
    m_channel.Call(kReset, nullptr, m_timeoutMs, Nothing, Nothing);
}

bool FrameStatistics::Echo(const std::vector<uint8>& bytes, std::vector<uint8>& back) {
    unsigned int count = 0;
    m_channel.Call(
        kEcho, nullptr, m_timeoutMs,
        [&](CVXCSerialize& request) { request.WriteBlock(bytes.data(), static_cast<uint32>(bytes.size())); },
        [&](CVXCSerialize& reply) {
            unsigned char* block = nullptr;
            if (reply.ReadBlock(block, count, 0) != 0) {
                // The count is the other side's word: no more than there is room for.
                std::memcpy(back.data(), block, std::min<std::size_t>(count, back.size()));
            }
        });
    return count == bytes.size();
}

std::string InWords(const LumaStatistics& statistics) {
    char text[128];
    std::snprintf(text, sizeof text, "%s  min %u  max %u  average %g", InDigits(statistics.timeCode).c_str(),
                  statistics.Least(), statistics.Most(), statistics.Average());
    return text;
}

} // namespace frame_stats
