// SectorRule.h - which disks tell their sector size.
#pragma once

#include "frame/PlatformTypes.h"
#include "sysu/HostControl.h"

#include <string_view>

namespace vxcio {

// Bytes per sector of a disk; 0 where the question fails, since what lies behind a network or a program, or
// is not known, has no sectors of its own.
inline uint32 SectorsToTell(const DiskFacts& facts) noexcept {
    const std::string_view fileSystem(facts.fileSystem);
    const bool hasNone =
        facts.driveType == VXC_DRIVE_REMOTE || fileSystem == "?" || fileSystem.starts_with("fuse");
    return hasNone ? 0 : facts.sectorSize;
}

} // namespace vxcio
