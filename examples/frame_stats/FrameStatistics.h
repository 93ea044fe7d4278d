// FrameStatistics.h - the plug-in as its host sees it: an object that counts the luma of frames, somewhere
// else.
#pragma once

#include "FrameShape.h"
#include "LumaStatistics.h"
#include "PlugChannel.h"
#include "PlugServer.h"

#include "frame/Types.h"

#include <string>
#include <vector>

namespace frame_stats {

// Every call waits `timeoutMs` at the most for its answer, and before that for the calls of other threads,
// one after the other. The constructor waits up to 5 s for the plug-in to be loaded, and up to 2 s and 30 s
// for the two steps of setting up the channel. All of them throw PlugError.
class FrameStatistics {
public:
    // Has the server load the plug-in and sets up a channel with room for such frames. The server outlives
    // it. `mostEcho` is the most that Echo is asked for, and not above what a frame has.
    FrameStatistics(PlugServer& server, const std::wstring& plug, const FrameShape& shape, uint32 timeoutMs,
                    uint32 mostEcho = 0);

    // Counts one frame, whose planes lie one behind the other in shape.Bytes() bytes.
    LumaStatistics Count(uint32 frame, const SPlugLinearTimeCode& timeCode, const uint8* picture);
    // All frames since the beginning or the last reset.
    LumaStatistics Total();
    void Reset();
    // Has the bytes come back as they are, for measuring. True when they are the same in number; look into
    // `back` for the rest.
    bool Echo(const std::vector<uint8>& bytes, std::vector<uint8>& back);

private:
    const FrameShape m_shape;
    const uint32 m_timeoutMs;
    LoadedPlug m_plug;
    PlugChannel m_channel;
};

// What there is to say of a frame or of all of them, without its histogram:
// "00:00:01:05  min 16  max 235  average 112.43".
std::string InWords(const LumaStatistics& statistics);

} // namespace frame_stats
