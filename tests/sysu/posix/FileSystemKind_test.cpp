#include "sysu/posix/FileSystemKind.h"

#include "frame/PlatformTypes.h"
#include "support/TempFolder.h"

#include <filesystem>
#include <gtest/gtest.h>

using namespace vxcio;
using namespace vxcio::sysu;

TEST(FileSystemKindTest, TheMagicNumberNamesTheKind) {
    EXPECT_STREQ(FileSystemOfMagic(0xEF53), "ext4");
    EXPECT_STREQ(FileSystemOfMagic(0x01021994), "tmpfs");
    EXPECT_STREQ(FileSystemOfMagic(0x6969), "nfs");
    EXPECT_STREQ(FileSystemOfMagic(0xFF534D42), "cifs");
    EXPECT_STREQ(FileSystemOfMagic(0xFE534D42), "smb3");
    EXPECT_STREQ(FileSystemOfMagic(0x9660), "iso9660");
    EXPECT_STREQ(FileSystemOfMagic(0x15013346), "udf");
    EXPECT_STREQ(FileSystemOfMagic(0x58465342), "xfs");
    EXPECT_STREQ(FileSystemOfMagic(0x9123683E), "btrfs");
    EXPECT_STREQ(FileSystemOfMagic(0x858458F6), "ramfs");
    EXPECT_STREQ(FileSystemOfMagic(0x517B), "smbfs");
    EXPECT_STREQ(FileSystemOfMagic(0x4D44), "vfat");
    EXPECT_STREQ(FileSystemOfMagic(0x2011BAB0), "exfat");
    EXPECT_STREQ(FileSystemOfMagic(0x5346544E), "ntfs");
    EXPECT_STREQ(FileSystemOfMagic(0x7366746E), "ntfs3");
    EXPECT_STREQ(FileSystemOfMagic(0x65735546), "fuse");
    EXPECT_STREQ(FileSystemOfMagic(0x794C7630), "overlay");
    EXPECT_STREQ(FileSystemOfMagic(0xF2F52010), "f2fs");
    EXPECT_STREQ(FileSystemOfMagic(0x2FC12FC1), "zfs");
    EXPECT_STREQ(FileSystemOfMagic(0x12345), "?");
}

TEST(FileSystemKindTest, TheKindDecidesOnTheDriveTypeBeforeTheDisk) {
    const BlockDevice disk{512, false, false};
    const BlockDevice stick{512, true, false};
    for (const char* kind : {"iso9660", "udf"}) {
        EXPECT_EQ(DriveTypeOf(kind, stick), VXC_DRIVE_CDROM) << kind;
    }
    for (const uint64 magic : {uint64{0x6969}, uint64{0xFF534D42}, uint64{0xFE534D42}, uint64{0x517B}}) {
        EXPECT_EQ(DriveTypeOf(FileSystemOfMagic(magic), {}), VXC_DRIVE_REMOTE) << magic;
    }
    for (const char* kind : {"nfs", "nfs4", "cifs", "smb3", "fuse.sshfs"}) {
        EXPECT_EQ(DriveTypeOf(kind, {}), VXC_DRIVE_REMOTE) << kind;
    }
    for (const char* kind : {"tmpfs", "ramfs"}) {
        EXPECT_EQ(DriveTypeOf(kind, {}), VXC_DRIVE_RAMDISK) << kind;
    }
    EXPECT_EQ(DriveTypeOf("vfat", stick), VXC_DRIVE_REMOVABLE);
    EXPECT_EQ(DriveTypeOf("ext4", disk), VXC_DRIVE_FIXED);
    EXPECT_EQ(DriveTypeOf("?", {}), VXC_DRIVE_FIXED);
    EXPECT_EQ(DriveTypeOf("?", {2048, true, true}), VXC_DRIVE_CDROM);
}

TEST(FileSystemKindTest, OnlyDisksOfThisMachineHaveSectors) {
    for (const char* kind : {"ext4", "xfs", "iso9660", "vfat", "?"}) {
        EXPECT_TRUE(IsOnLocalDisk(kind)) << kind;
    }
    for (const char* kind : {"nfs4", "cifs", "tmpfs", "fuse", "fuse.sshfs", "fuseblk"}) {
        EXPECT_FALSE(IsOnLocalDisk(kind)) << kind;
    }
}

TEST(FileSystemKindTest, APartitionTakesFromItsDiskWhatItDoesNotTell) {
    const test::TempFolder tree;
    tree.Write("disks/stick/removable", "1\n");
    tree.Write("disks/stick/queue/logical_block_size", "4096\n");
    tree.Write("disks/stick/part/partition", "1\n");
    tree.Write("disks/fixed/removable", "0\n");
    tree.Write("disks/fixed/queue/logical_block_size", "512\n");
    std::filesystem::create_directory_symlink("disks/stick", tree.Name("8:0"));
    std::filesystem::create_directory_symlink("disks/stick/part", tree.Name("8:1"));
    std::filesystem::create_directory_symlink("disks/fixed", tree.Name("11:2"));
    for (const uint32 minor : {0u, 1u}) {
        const BlockDevice device = ReadBlockDevice(tree.Path(), 8, minor);
        EXPECT_EQ(device.sectorSize, 4096u);
        EXPECT_TRUE(device.isRemovable);
        EXPECT_FALSE(device.isOptical);
    }
    const BlockDevice optical = ReadBlockDevice(tree.Path(), 11, 2);
    EXPECT_EQ(optical.sectorSize, 512u);
    EXPECT_FALSE(optical.isRemovable);
    EXPECT_TRUE(optical.isOptical);
    const BlockDevice none = ReadBlockDevice(tree.Path(), 0, 30);
    EXPECT_EQ(none.sectorSize, 0u);
    EXPECT_FALSE(none.isRemovable);
}
