// FileSystemKind.h - what a kind of file system and a block device say about a drive.
//
// Any thread may call. ReadBlockDevice may throw std::bad_alloc.
#pragma once

#include "frame/Types.h"

#include <string>
#include <string_view>

namespace vxcio::sysu {

// A block device as the system's device tree tells it.
struct BlockDevice {
    uint32 sectorSize = 0; // logical block size in bytes; 0 where not told
    bool isRemovable = false;
    bool isOptical = false;
};

// Looks in `tree`, "/sys/dev/block" but for tests. A partition takes from its disk what it does not tell.
// All zero for a number that stands for no block device.
BlockDevice ReadBlockDevice(const std::string& tree, uint32 major, uint32 minor);

// The short name of a kind of file system by the number that statfs(2) gives; "?" when not known.
const char* FileSystemOfMagic(uint64 magic) noexcept;

// VXC_DRIVE_... of a file system of this name on this device.
uint32 DriveTypeOf(std::string_view fileSystem, const BlockDevice& device) noexcept;

// Whether positions and sizes are those of a disk of this machine below it: not so for network and memory
// file systems, and for programs that serve as one.
bool IsOnLocalDisk(std::string_view fileSystem) noexcept;

} // namespace vxcio::sysu
