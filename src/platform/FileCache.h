// FileCache.h - limits of the system's file cache and the privilege they need, behind a table that tests
// replace. Where a system has neither, the privilege is never held and nothing is limited.
#pragma once

#include "frame/Types.h"

namespace vxcio {

// Every function gives nonzero on success. A failure leaves its error for VXC_GetLastError of the thread
// where the system has one; lastError tells it for all.
struct FileCacheTable {
    int (*openProcessToken)(uint32 accessMask, void** token);
    int (*lookupPrivilege)(const wchar_t* name, uint64* luid);
    int (*adjustPrivilege)(void* token, uint64 luid, uint32 attributes);
    void (*closeToken)(void* token);
    int (*setFileCacheSize)(uint64 minimum, uint64 maximum, uint32 flags);
    uint32 (*lastError)();
    // Text of the last error, always terminated.
    void (*lastErrorText)(wchar_t* text, int characters);
};

FileCacheTable& FileCache() noexcept;

} // namespace vxcio
