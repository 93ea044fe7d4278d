// StretchHead.h - the first bytes of a stretch of a clip on an XDCAM device, which opening it takes off the
// stream.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

class CSoftDataSource;

namespace vxcio {

// OpenXDCAMFtpMXF reads the MXF header of a stretch, and Read goes on behind it. This gives what was read, so
// that head and reads together are the file that the device sent: copies up to `bytes` bytes from `position`
// on, counted from the start of the stretch. The count; 0 behind the head, and where the source has no
// stretch of a device open. The thread that drives the source; until its CloseFile or next open.
VXCSOFTCODECIO_API int StretchHead(const CSoftDataSource& source, uint64 position, uint8* buffer,
                                   uint32 bytes) noexcept;

} // namespace vxcio
