// HandleMoves.h - how a sink moves its file handle.
#pragma once

#include "filehandle/SoftFileHandle.h"
#include "frame/ModuleValues.h"
#include "frame/PlatformTypes.h"
#include "frame/Status.h"

#include <cstring>

namespace vxcio {

// To a position from the start of the file. False when the handle tells of a failure.
//
// In thread mode a handle takes no account of what it wrote: it thinks itself where the last move left it,
// and would not move to that place again. A relative move by nothing makes it ask the file.
inline bool MoveTo(CQLSoftFileHandle& file, uint64 position) noexcept {
    if (WriteHandleTimeOut() != VXC_INFINITE) {
        file.SetFilePointer(0, VXC_FILE_CURRENT);
    }
    const int64 moved = file.SetFilePointer(position, VXC_FILE_BEGIN);
    return moved >= 0 && (static_cast<uint32>(moved) != VXC_INVALID_SET_FILE_POINTER ||
                          static_cast<uint64>(moved) == position);
}

// Reads a whole sector; what does not come is zero, not what the memory held before. False when the handle
// tells of a failure.
inline bool ReadSector(CQLSoftFileHandle& file, uint8* sector, uint32 sectorSize) noexcept {
    std::memset(sector, 0, sectorSize);
    uint32 got = 0;
    return file.ReadFile(sector, sectorSize, &got, nullptr) == VXC_STATUS_OK;
}

inline bool WriteOut(CQLSoftFileHandle& file, const uint8* data, uint32 bytes) noexcept {
    uint32 written = 0;
    return file.WriteFile(data, bytes, &written, nullptr) == VXC_STATUS_OK;
}

} // namespace vxcio
