#include "platform/DiskQueries.h"

#include "platform/posix/SectorRule.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>

using namespace vxcio;
using namespace vxcio::test;

namespace {

DiskFacts Facts(uint32 driveType, uint32 sectorSize, const char* fileSystem) {
    DiskFacts facts = {};
    facts.driveType = driveType;
    facts.sectorSize = sectorSize;
    std::strncpy(facts.fileSystem, fileSystem, sizeof facts.fileSystem - 1);
    return facts;
}

} // namespace

TEST(DiskQueriesTest, NamesOnDrivesAndSharesKeepThreeCharacters) {
    const auto rootLength = DiskQueries().rootLength;
    EXPECT_EQ(rootLength(L"D:\\clips\\a.mxf"), 3);
    EXPECT_EQ(rootLength(L"d:/clips/a.mxf"), 3);
    EXPECT_EQ(rootLength(L"D:\\"), 3);
    EXPECT_EQ(rootLength(L"\\\\server\\share\\a.mxf"), 3);
    EXPECT_EQ(rootLength(L"\\\\"), 2);
}

TEST(DiskQueriesTest, OtherNamesAreKeptWhole) {
    const auto rootLength = DiskQueries().rootLength;
    EXPECT_EQ(rootLength(L"/mnt/media/a.mxf"), 16);
    EXPECT_EQ(rootLength(L"a.mxf"), 5);
    EXPECT_EQ(rootLength(L"D:a.mxf"), 7);
    EXPECT_EQ(rootLength(L"D:"), 2);
    EXPECT_EQ(rootLength(L"4:\\a.mxf"), 8);
    EXPECT_EQ(rootLength(L"\u00E4:\\a"), 4);
    EXPECT_EQ(rootLength(L"\\a"), 2);
    EXPECT_EQ(rootLength(L"//server/share"), 14);
    EXPECT_EQ(rootLength(L""), 0);
    EXPECT_EQ(rootLength(nullptr), 0);
}

TEST(DiskQueriesTest, ARealDiskTellsItsSector) {
    const TempFolder folder(TempFolder::Kind::Disk);
    DiskFacts facts = {};
    ASSERT_EQ(QueryDisk(folder.Wide("a").c_str(), &facts), 1);
    uint32 bytes = 0;
    ASSERT_EQ(DiskQueries().getDiskFreeSpace(folder.Wide("a").c_str(), &bytes), 1);
    EXPECT_EQ(bytes, facts.sectorSize);
    EXPECT_TRUE(std::has_single_bit(bytes));
    EXPECT_GE(bytes, 512u);
}

TEST(DiskQueriesTest, ARootThatLeadsNowhereFailsAndSetsNothing) {
    for (const wchar_t* root :
         {L"\\\\s", L"\\\\server\\share", L"\\\\", L"Q:\\", static_cast<const wchar_t*>(nullptr)}) {
        uint32 bytes = 77;
        EXPECT_EQ(DiskQueries().getDiskFreeSpace(root, &bytes), 0);
        EXPECT_EQ(bytes, 77u);
    }
}

TEST(DiskQueriesTest, NetworksProgramsAndTheUnknownHaveNoSectors) {
    EXPECT_EQ(SectorsToTell(Facts(VXC_DRIVE_FIXED, 4096, "ext4")), 4096u);
    EXPECT_EQ(SectorsToTell(Facts(VXC_DRIVE_CDROM, 2048, "iso9660")), 2048u);
    EXPECT_EQ(SectorsToTell(Facts(VXC_DRIVE_REMOTE, 512, "nfs")), 0u);
    EXPECT_EQ(SectorsToTell(Facts(VXC_DRIVE_REMOTE, 512, "fuse.sshfs")), 0u);
    EXPECT_EQ(SectorsToTell(Facts(VXC_DRIVE_FIXED, 512, "fuse")), 0u);
    EXPECT_EQ(SectorsToTell(Facts(VXC_DRIVE_FIXED, 512, "fuseblk")), 0u);
    EXPECT_EQ(SectorsToTell(Facts(VXC_DRIVE_FIXED, 512, "?")), 0u);
    EXPECT_EQ(SectorsToTell(Facts(VXC_DRIVE_FIXED, 0, "ext4")), 0u);
}

TEST(DiskQueriesTest, DriveTypesAreThoseOfTheSystemLayer) {
    const TempFolder disk(TempFolder::Kind::Disk);
    const TempFolder memory(TempFolder::Kind::Memory);
    EXPECT_EQ(DiskQueries().getDriveType(disk.Path().wstring().c_str()), VXC_DRIVE_FIXED);
    EXPECT_EQ(DiskQueries().getDriveType(memory.Path().wstring().c_str()), VXC_DRIVE_RAMDISK);
}
