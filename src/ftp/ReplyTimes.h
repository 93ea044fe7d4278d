// ReplyTimes.h - how long the lines of an FTP server's replies are waited for; milliseconds.
#pragma once

#include "frame/Types.h"

namespace vxcio {

inline constexpr uint32 kReplyTimeOut = 15000;

} // namespace vxcio
