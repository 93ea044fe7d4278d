// XdcamText.h - what the texts of an XDCAM device mean. Any text is safe input. Nothing throws, any thread
// may call, nothing is kept.
#pragma once

#include "frame/Types.h"

#include <string_view>

namespace vxcio {

struct XdcamCodec {
    int type;     // PLUG_VIDEO_TYPE_
    uint32 depth; // bits of a sample of its sound
};

struct XdcamRate {
    uint32 rate; // frames in `scale` seconds
    uint32 scale;
};

// The lines are known by their ends. Any other line has a meaning as well.
XdcamCodec CodecIn(std::wstring_view line) noexcept;
XdcamRate RateIn(std::wstring_view line) noexcept;

// The number behind "others" in a report of space, in the device's unit: up to 29 characters with a blank
// behind them. False where there is none, and *space is left alone.
bool SpaceIn(std::string_view report, uint64* space) noexcept;

} // namespace vxcio
