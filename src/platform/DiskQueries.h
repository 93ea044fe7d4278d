// DiskQueries.h - the direct disk questions of the library, behind a table that tests replace.
#pragma once

#include "frame/Types.h"

namespace vxcio {

struct DiskQueryTable {
    // Bytes per sector of the disk with this root. 0 on failure; then *bytesPerSector is untouched.
    int (*getDiskFreeSpace)(const wchar_t* root, uint32* bytesPerSector);
    // VXC_DRIVE_... of the root.
    uint32 (*getDriveType)(const wchar_t* root);
    // How a path is cut down to the root that getDiskFreeSpace is asked for: characters of it to keep.
    int (*rootLength)(const wchar_t* path);
};

// The table in use; the system's functions by default. Replaced only while no other thread uses it.
DiskQueryTable& DiskQueries() noexcept;

} // namespace vxcio
