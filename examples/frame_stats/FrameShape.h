// FrameShape.h - the planes of a picture of 8 bits as they lie one behind the other in a raw file.
#pragma once

#include "Wire.h"

#include "bridge/Records.h"
#include "frame/Types.h"

namespace frame_stats {

struct FrameShape {
    Format format = FORMAT_420;
    uint32 width = 0; // of luma, in pixels
    uint32 height = 0;

    // 1 to kMostPixels each way.
    bool IsPossible() const noexcept;
    // Bytes of a picture, at the most 512 MiB.
    uint32 Bytes() const noexcept;
    // Tells the plug-in where the planes are.
    SPlugSoftImageBuffer Image() const noexcept;

private:
    uint32 ChromaColumns() const noexcept { return (width + 1) / 2; }
    uint32 ChromaRows() const noexcept { return format == FORMAT_420 ? (height + 1) / 2 : height; }
};

} // namespace frame_stats
