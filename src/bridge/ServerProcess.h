// ServerProcess.h - the plug-in server of this process: starting and stopping it, and loading modules in it.
//
// The server is the program VXC32\VXC32ServU.exe in the folder of this library. It ends with the host. Its
// death is not noticed: each call from then on takes its whole time-out and gives VXC_STATUS_TIME_OUT, and
// nothing starts it anew.
//
// Start and stop from one thread at a time, and not from a receiver of the log; load and free from any. The
// times below come on top of the wait for the system channel's lock, which a call of another thread may hold.
#pragma once

#include "frame/Export.h"

// Starts the server, or counts one more start of the one that is up. 0, or -1. May take 30 seconds. Where the
// program is missing it gives -1, and from then on 0 with no server behind it.
VXCSOFTCODECIO_API int CreateVXC32ServProcess() noexcept;

// Counts one start less and stops the server when none is left. The count begins at 0 with the first start,
// so with two starts the first stop ends the server already. 0; or the status of the failure, after up to 10
// seconds: the server counts as up then. Where there was none behind the first start it gives 0, and nothing
// has changed but the count. Release the plug-in channels first. A start that follows at once may give -1,
// since the old server is still letting go of the names.
VXCSOFTCODECIO_API int DestoryVXC32ServProcess() noexcept;

// Loads a module in the server: the handle of the plug-in, or 0. Null counts as the empty path. At most 5
// seconds.
VXCSOFTCODECIO_API unsigned long long RemoteLoadVXC32Plug(const wchar_t* path) noexcept;

// Frees it. 0, or the status of the failure; 0 where there is no server. At most 5 seconds.
VXCSOFTCODECIO_API int RemoteFreeVXC32Plug(unsigned long long handle) noexcept;
