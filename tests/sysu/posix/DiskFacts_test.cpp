#include "sysu/FileTesting.h"

#include "support/TempFolder.h"
#include "support/posix/SystemTesting.h"
#include "sysu/HostControl.h"
#include "sysu/posix/CallHooks.h"
#include "sysu/posix/MountTable.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

using namespace vxcio;
using namespace vxcio::test;

namespace {

DiskFacts Query(const std::wstring& name) {
    DiskFacts facts{};
    EXPECT_EQ(QueryDisk(name.c_str(), &facts), 1) << VXC_GetLastError();
    return facts;
}

} // namespace

TEST(DiskFactsTest, MemoryFileSystemsHaveNoSectors) {
    const TempFolder folder(TempFolder::Kind::Memory);
    folder.Write("clip", "content");
    const DiskFacts facts = Query(folder.Wide("clip"));
    EXPECT_EQ(facts.driveType, VXC_DRIVE_RAMDISK);
    EXPECT_STREQ(facts.fileSystem, "tmpfs");
    EXPECT_EQ(facts.sectorSize, 0u);
    EXPECT_EQ(facts.directMemory, 0u);
    EXPECT_EQ(facts.directOffset, 0u);
    EXPECT_EQ(VXC_GetDriveTypeW(folder.Wide("").c_str()), VXC_DRIVE_RAMDISK);
}

TEST(DiskFactsTest, AFileOnADiskTellsWhatDirectTransferAsksFor) {
    const TempFolder folder;
    folder.Write("clip", "content");
    CallHooks hooks;
    hooks.statx = [](int descriptor, const char* path, int flags, unsigned mask, struct statx* record) {
        const int result = ::statx(descriptor, path, flags, mask, record);
        const uint32 needs[] = {4, 2048};
        record->stx_mask |= 0x2000;
        std::memcpy(reinterpret_cast<char*>(record) + 0x98, needs, sizeof needs);
        return result;
    };
    const HookScope scope(hooks);
    const DiskFacts facts = Query(folder.Wide("clip"));
    EXPECT_EQ(facts.directMemory, 4u);
    EXPECT_EQ(facts.directOffset, 2048u);
    EXPECT_EQ(facts.sectorSize, 2048u);
}

TEST(DiskFactsTest, WhatIsNotThereIsAskedOfTheNearestFolder) {
    const TempFolder folder(TempFolder::Kind::Memory);
    folder.Write("file", "content");
    EXPECT_EQ(Query(folder.Wide("no/such/clip")).driveType, VXC_DRIVE_RAMDISK);
    EXPECT_EQ(Query(folder.Wide("file/clip")).driveType, VXC_DRIVE_RAMDISK);
    EXPECT_EQ(Query(folder.Wide(std::string(300, 'a') + "//")).driveType, VXC_DRIVE_RAMDISK);
    EXPECT_STREQ(Query(L"no/such/clip").fileSystem, Query(L".").fileSystem);
    EXPECT_STREQ(Query(L"no-such-clip").fileSystem, Query(L".").fileSystem);
    EXPECT_STREQ(Query(L"/no-such-folder/clip").fileSystem, Query(L"/").fileSystem);
    EXPECT_STREQ(Query(L"/mn").fileSystem, Query(L"/").fileSystem);
}

TEST(DiskFactsTest, WhatMayNotBeLookedAtIsAskedOfTheNearestFolder) {
    const TempFolder folder(TempFolder::Kind::Memory);
    std::filesystem::create_symlink("loop", folder.Name("loop"));
    EXPECT_EQ(Query(folder.Wide("loop/clip")).driveType, VXC_DRIVE_RAMDISK);
    CallHooks hooks;
    const std::string closed = folder.Write("closed/clip", "content");
    hooks.statx = [&](int descriptor, const char* path, int flags, unsigned mask, struct statx* record) {
        if (closed == path) {
            errno = EACCES;
            return -1;
        }
        return ::statx(descriptor, path, flags, mask, record);
    };
    const HookScope scope(hooks);
    EXPECT_EQ(Query(folder.Wide("closed/clip")).driveType, VXC_DRIVE_RAMDISK);
}

TEST(DiskFactsTest, AFolderOnADiskTellsItsSectors) {
    const TempFolder folder;
    const DiskFacts facts = Query(folder.Wide(""));
    if (std::strcmp(facts.fileSystem, "ext4") != 0) {
        GTEST_SKIP() << "the build tree does not lie on ext4 but on " << facts.fileSystem;
    }
    EXPECT_EQ(facts.driveType, VXC_DRIVE_FIXED);
    std::ifstream size("/sys/dev/block/" + [&] {
        struct statx record {};
        ::statx(-1, folder.Name("").c_str(), 0, STATX_BASIC_STATS, &record);
        return std::to_string(record.stx_dev_major) + ":" + std::to_string(record.stx_dev_minor);
    }() + "/queue/logical_block_size");
    uint32 expected = 0;
    if (size >> expected) {
        EXPECT_EQ(facts.sectorSize, expected);
    }
    EXPECT_GE(facts.sectorSize, 512u);
    folder.Write("clip", "content");
    EXPECT_STREQ(Query(folder.Wide("clip")).fileSystem, "ext4");
}

TEST(DiskFactsTest, WithoutAMountNumberTheDeviceNamesTheFileSystem) {
    const TempFolder folder(TempFolder::Kind::Memory);
    CallHooks hooks;
    bool isDeviceKnown = true;
    hooks.statx = [&](int descriptor, const char* path, int flags, unsigned mask, struct statx* record) {
        const int result = ::statx(descriptor, path, flags, mask, record);
        record->stx_mask &= ~0x1000u;
        record->stx_dev_major = isDeviceKnown ? record->stx_dev_major : 4000;
        return result;
    };
    const HookScope scope(hooks);
    EXPECT_EQ(Query(folder.Wide("")).driveType, VXC_DRIVE_RAMDISK);
    isDeviceKnown = false; // as on file systems that number their files on their own
    EXPECT_EQ(Query(folder.Wide("")).driveType, VXC_DRIVE_RAMDISK);
}

TEST(DiskFactsTest, ADiskThatDoesNotAnswerIsUnknown) {
    CallHooks hooks;
    hooks.statx = [](int, const char*, int, unsigned, struct statx*) {
        errno = EIO;
        return -1;
    };
    const HookScope scope(hooks);
    DiskFacts facts;
    std::memset(&facts, 7, sizeof facts);
    EXPECT_EQ(QueryDisk(L"/", &facts), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_IO_DEVICE);
    EXPECT_EQ(facts.driveType, 0u);
    EXPECT_EQ(facts.sectorSize, 0u);
    EXPECT_EQ(facts.fileSystem[0], 0);
    EXPECT_EQ(VXC_GetDriveTypeW(L"/"), VXC_DRIVE_UNKNOWN);
}

TEST(DiskFactsTest, NoNameHasNoRoot) {
    DiskFacts facts{};
    for (const wchar_t* name :
         {static_cast<const wchar_t*>(nullptr), L"", L"Q:\\", L"\\\\nobody\\share\\x"}) {
        EXPECT_EQ(VXC_GetDriveTypeW(name), VXC_DRIVE_NO_ROOT_DIR);
        EXPECT_EQ(QueryDisk(name, &facts), 0);
        EXPECT_EQ(facts.driveType, 0u);
    }
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_BAD_NETPATH);
    EXPECT_EQ(QueryDisk(L"/", nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
}

TEST(DiskFactsTest, ADiskWithLargeSectorsIsAskedInItsOwnUnit) {
    const TempFolder folder;
    const LargeSectorDisk disk(folder);
    if (disk.Lack() != nullptr) {
        GTEST_SKIP() << "this machine lacks " << disk.Lack();
    }
    const DiskFacts device = Query(std::wstring(disk.Name().begin(), disk.Name().end()));
    EXPECT_EQ(device.sectorSize, 4096u);
    EXPECT_EQ(device.driveType, VXC_DRIVE_FIXED);
    EXPECT_STREQ(device.fileSystem, "?");
    {
        CallHooks hooks; // a system that tells nothing of direct transfers
        hooks.statx = [](int descriptor, const char* path, int flags, unsigned mask, struct statx* record) {
            const int result = ::statx(descriptor, path, flags, mask, record);
            record->stx_mask &= ~0x2000u;
            return result;
        };
        const HookScope scope(hooks);
        EXPECT_EQ(Query(std::wstring(disk.Name().begin(), disk.Name().end())).sectorSize, 4096u);
    }
    folder.WritePattern("mounted/clip", 8192 + 100, 1);
    EXPECT_EQ(Query(folder.Wide("mounted")).sectorSize, 4096u);
    EXPECT_EQ(Query(folder.Wide("mounted/clip")).sectorSize, 4096u);
    EXPECT_STREQ(Query(folder.Wide("mounted/clip")).fileSystem, "ext4");

    const OpenFile file(folder.Wide("mounted/clip"), VXC_GENERIC_READ, kShareAll, VXC_OPEN_EXISTING,
                        VXC_FILE_FLAG_NO_BUFFERING);
    ASSERT_TRUE(file.IsOpen());
    const std::vector<uint8> content = Pattern(8192 + 100, 1);
    std::vector<uint8> memory(16384 + 1);
    unsigned long done = 7;
    EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.data() + 1, 512, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(file.Seek(512), 512);
    EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.data() + 1, 4096, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(file.Seek(4096), 4096);
    EXPECT_EQ(VXC_ReadFile(file.Handle(), memory.data() + 1, 16384, &done, nullptr), 1);
    ASSERT_EQ(done, 4096u + 100u);
    EXPECT_EQ(std::memcmp(memory.data() + 1, content.data() + 4096, done), 0);
}
