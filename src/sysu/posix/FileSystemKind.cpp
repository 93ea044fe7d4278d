#include "sysu/posix/FileSystemKind.h"

#include "frame/PlatformTypes.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace vxcio::sysu {

namespace {

// The major number of optical drives.
constexpr uint32 kOpticalMajor = 11;

struct Kind {
    std::string_view name;
    uint32 driveType;
};
constexpr Kind kKinds[] = {
    {"iso9660", VXC_DRIVE_CDROM}, {"udf", VXC_DRIVE_CDROM},         {"nfs", VXC_DRIVE_REMOTE},
    {"nfs4", VXC_DRIVE_REMOTE},   {"cifs", VXC_DRIVE_REMOTE},       {"smb3", VXC_DRIVE_REMOTE},
    {"smbfs", VXC_DRIVE_REMOTE},  {"fuse.sshfs", VXC_DRIVE_REMOTE}, {"tmpfs", VXC_DRIVE_RAMDISK},
    {"ramfs", VXC_DRIVE_RAMDISK},
};

struct Magic {
    uint64 number;
    const char* name;
};
constexpr Magic kMagics[] = {
    {0xEF53, "ext4"},        {0x58465342, "xfs"},  {0x9123683E, "btrfs"}, {0x01021994, "tmpfs"},
    {0x858458F6, "ramfs"},   {0x6969, "nfs"},      {0xFF534D42, "cifs"},  {0xFE534D42, "smb3"},
    {0x517B, "smbfs"},       {0x9660, "iso9660"},  {0x15013346, "udf"},   {0x4D44, "vfat"},
    {0x2011BAB0, "exfat"},   {0x5346544E, "ntfs"}, {0x7366746E, "ntfs3"}, {0x65735546, "fuse"},
    {0x794C7630, "overlay"}, {0xF2F52010, "f2fs"}, {0x2FC12FC1, "zfs"},
};

const Kind* FindKind(std::string_view fileSystem) {
    const auto* const found = std::find_if(std::begin(kKinds), std::end(kKinds),
                                           [&](const Kind& kind) { return kind.name == fileSystem; });
    return found == std::end(kKinds) ? nullptr : found;
}

// The number in a file of the disk's folder, or of the folder above, which is the disk's for a partition.
uint32 ReadDiskNumber(const std::string& folder, const char* name) {
    for (const char* between : {"/", "/../"}) {
        uint32 number = 0;
        if (std::ifstream(folder + between + name) >> number) {
            return number;
        }
    }
    return 0;
}

} // namespace

BlockDevice ReadBlockDevice(const std::string& tree, uint32 major, uint32 minor) {
    const std::string folder = tree + "/" + std::to_string(major) + ":" + std::to_string(minor);
    BlockDevice device;
    device.sectorSize = ReadDiskNumber(folder, "queue/logical_block_size");
    device.isRemovable = ReadDiskNumber(folder, "removable") != 0;
    device.isOptical = major == kOpticalMajor;
    return device;
}

const char* FileSystemOfMagic(uint64 magic) noexcept {
    const auto* const found = std::find_if(std::begin(kMagics), std::end(kMagics),
                                           [&](const Magic& entry) { return entry.number == magic; });
    return found == std::end(kMagics) ? "?" : found->name;
}

uint32 DriveTypeOf(std::string_view fileSystem, const BlockDevice& device) noexcept {
    if (device.isOptical) {
        return VXC_DRIVE_CDROM;
    }
    if (const Kind* kind = FindKind(fileSystem)) {
        return kind->driveType;
    }
    return device.isRemovable ? VXC_DRIVE_REMOVABLE : VXC_DRIVE_FIXED;
}

bool IsOnLocalDisk(std::string_view fileSystem) noexcept {
    const Kind* const kind = FindKind(fileSystem);
    const bool isElsewhere =
        kind != nullptr && (kind->driveType == VXC_DRIVE_REMOTE || kind->driveType == VXC_DRIVE_RAMDISK);
    return !isElsewhere && !fileSystem.starts_with("fuse");
}

} // namespace vxcio::sysu
