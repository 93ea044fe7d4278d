// DirectNeeds.h - what the system tells about a file and its direct transfers.
//
// May block on a dead disk; may throw std::bad_alloc.
#pragma once

#include "frame/Types.h"
#include "sysu/posix/FileSystemKind.h"

#include <string>

namespace vxcio::sysu {

struct FileFacts {
    uint32 major = 0; // of the device that the file lies on, or that it is
    uint32 minor = 0;
    uint64 mountId = 0; // 0 where not told
    bool isBlockDevice = false;
    bool isDirectTold = false; // whether the next two are known
    uint32 directMemory = 0;
    uint32 directOffset = 0; // 0: the file takes no direct transfers
};

// Fills *facts for a name, or for an open file with an empty path. 0, or the system's error.
int ReadFileFacts(int descriptor, const std::string& path, FileFacts* facts) noexcept;

// The block device of the file; all zero when it is on none.
BlockDevice DeviceOf(const FileFacts& facts);

// What direct transfers of an open file must divide by. Memory: an unknown need counts as a page. Offset: 0
// where nothing is known or asked for, as on memory and FUSE file systems.
struct DirectNeeds {
    uint32 memory = 1;
    uint32 offset = 0;
};
DirectNeeds DirectNeedsOf(int descriptor);

} // namespace vxcio::sysu
