// DiskFaultTable.h - which drives have stopped answering, for the life of the process.
//
// One entry for each letter A to Z, upper and lower case alike; everything else counts as healthy. A drive,
// once marked, stays marked. Any thread may call.
#pragma once

#include "frame/Export.h"

// Marks the drive of this letter and logs it; does nothing for other characters. Always 1.
VXCSOFTCODECIO_API int SetDiskError(wchar_t letter);

// 1 when the drive is healthy or the character is no letter; 0, with a log line, when it was marked.
VXCSOFTCODECIO_API int GetDiskStatus(wchar_t letter);
