// TimeCode.h - time codes of frames that are counted from 0, without drops.
#pragma once

#include "bridge/Records.h"
#include "frame/Types.h"

#include <cstdio>
#include <string>

namespace frame_stats {

// A linear time code has two bits for the tens of the frame.
inline constexpr uint32 kMostFramesPerSecond = 30;

inline SPlugLinearTimeCode TimeCodeOf(uint32 frame, uint32 framesPerSecond) {
    const uint32 seconds = frame / framesPerSecond;
    const uint32 frames = frame % framesPerSecond;
    const uint32 minutes = seconds / 60;
    const uint32 hours = minutes / 60 % 24; // a day begins anew
    SPlugLinearTimeCode code = {};
    code.frameUnits = (frames % 10) & 0xFu;
    code.frameTens = (frames / 10) & 0x3u;
    code.secondUnits = (seconds % 10) & 0xFu;
    code.secondTens = (seconds % 60 / 10) & 0x7u;
    code.minuteUnits = (minutes % 10) & 0xFu;
    code.minuteTens = (minutes % 60 / 10) & 0x7u;
    code.hourUnits = (hours % 10) & 0xFu;
    code.hourTens = (hours / 10) & 0x3u;
    return code;
}

inline std::string InDigits(const SPlugLinearTimeCode& code) {
    char text[64];
    std::snprintf(text, sizeof text, "%u%u:%u%u:%u%u:%u%u", code.hourTens + 0u, code.hourUnits + 0u,
                  code.minuteTens + 0u, code.minuteUnits + 0u, code.secondTens + 0u, code.secondUnits + 0u,
                  code.frameTens + 0u, code.frameUnits + 0u);
    return text;
}

} // namespace frame_stats
