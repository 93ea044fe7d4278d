// FtpStretch.h - some frames of a clip on an XDCAM device, as a file of their own.
#pragma once

#include "frame/Types.h"

namespace vxcio::tool {

struct FtpStretch {
    uint32 from;
    uint32 to;        // the first that is not wanted
    uint32 first = 0; // once it is open, the frame with which it begins, as its header tells; modulo 2^32
};

} // namespace vxcio::tool
