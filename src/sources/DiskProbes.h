// DiskProbes.h - questions about a path before a file is opened. Any thread may call; both may block on a
// dead disk.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

// Bytes per sector of the disk that holds the path: what unbuffered positions and sizes must divide by.
// 512 where the system does not tell, as on network shares.
VXCSOFTCODECIO_API uint32 GetDiskSectorSize(const wchar_t* path);

// VXC_DRIVE_... of the path.
VXCSOFTCODECIO_API uint32 GetDiskDriveType(const wchar_t* path);
