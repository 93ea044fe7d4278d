// LibInfo.h - what the library says of itself, and of the system under it.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

struct QLLibInfo {
    uint64 InfoVersion;
    const char* LibVersion;
    const char* InterfaceVersion;
    const char* BuildTime;
    const char* BuildDate;
};

// The one record of the process.
VXCSOFTCODECIO_API const QLLibInfo* QLGetLibInfo();

// 1 on an NT 4 system, 0 on later ones and where the system tells no version; a process on a system of
// before NT ends here.
VXCSOFTCODECIO_API int IsRunNT4OS();
