// Moves to another disk, and on disks that know less than ours.
#include "sysu/FileTesting.h"

#include "support/TempFolder.h"
#include "sysu/posix/CallHooks.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class FileMoveTest : public testing::Test {
protected:
    int Move(const char* oldName, const char* newName) {
        return VXC_RenameFileW(m_disk.Wide(oldName).c_str(), m_memory.Wide(newName).c_str());
    }
    bool IsThere(const TempFolder& folder, const char* name) {
        return std::filesystem::exists(folder.Name(name));
    }

    TempFolder m_disk;
    TempFolder m_memory{TempFolder::Kind::Memory};
};

} // namespace

TEST_F(FileMoveTest, AFileGoesToAnotherDiskWithItsRightsAndTimes) {
    m_disk.WritePattern("clip", (1 << 20) + 77, 3);
    const timespec times[] = {{1000, 5}, {2000, 7}};
    ASSERT_EQ(::utimensat(AT_FDCWD, m_disk.Name("clip").c_str(), times, 0), 0);
    ASSERT_EQ(::chmod(m_disk.Name("clip").c_str(), 04640), 0);
    EXPECT_EQ(Move("clip", "moved"), 1);
    EXPECT_FALSE(IsThere(m_disk, "clip"));
    const std::vector<uint8> content = Pattern((1 << 20) + 77, 3);
    EXPECT_EQ(m_memory.Read("moved"), std::string(content.begin(), content.end()));
    struct stat facts {};
    ASSERT_EQ(::stat(m_memory.Name("moved").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777, 04640u);
    EXPECT_EQ(facts.st_mtim.tv_sec, 2000);
    EXPECT_EQ(facts.st_mtim.tv_nsec, 7);
}

TEST_F(FileMoveTest, AnExistingTargetOnAnotherDiskIsKept) {
    m_disk.Write("clip", "content");
    m_memory.Write("target", "target");
    EXPECT_EQ(Move("clip", "target"), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ALREADY_EXISTS);
    EXPECT_EQ(m_disk.Read("clip"), "content");
    EXPECT_EQ(m_memory.Read("target"), "target");
}

TEST_F(FileMoveTest, AFolderKeepsToItsDisk) {
    std::filesystem::create_directory(m_disk.Name("sub"));
    EXPECT_EQ(Move("sub", "moved"), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_NOT_SAME_DEVICE);
    EXPECT_TRUE(IsThere(m_disk, "sub"));
    EXPECT_FALSE(IsThere(m_memory, "moved"));
}

TEST_F(FileMoveTest, ACopyThatCannotBeFinishedIsTakenBack) {
    m_disk.Write("clip", "content");
    CallHooks hooks;
    int calls = 0;
    hooks.write = [&](int descriptor, const void* buffer, std::size_t) {
        errno = ENOSPC;
        return ++calls == 1 ? ::write(descriptor, buffer, 3) : -1;
    };
    const HookScope scope(hooks);
    EXPECT_EQ(Move("clip", "moved"), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_DISK_FULL);
    EXPECT_FALSE(IsThere(m_memory, "moved"));
    EXPECT_EQ(m_disk.Read("clip"), "content");
}

TEST_F(FileMoveTest, ACopyThatDoesNotReachTheDiskIsTakenBack) {
    m_disk.Write("clip", "content");
    CallHooks hooks;
    hooks.fsync = [](int) {
        errno = EIO;
        return -1;
    };
    const HookScope scope(hooks);
    EXPECT_EQ(Move("clip", "moved"), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_IO_DEVICE);
    EXPECT_FALSE(IsThere(m_memory, "moved"));
    EXPECT_EQ(m_disk.Read("clip"), "content");
}

TEST_F(FileMoveTest, ADeviceThatTakesNothingEndsTheCopy) {
    m_disk.Write("clip", "content");
    CallHooks hooks;
    int calls = 0;
    hooks.write = [&](int descriptor, const void* buffer, std::size_t bytes) {
        return ++calls == 1 ? ssize_t{0} : ::write(descriptor, buffer, bytes);
    };
    const HookScope scope(hooks);
    EXPECT_EQ(Move("clip", "moved"), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_IO_DEVICE);
    EXPECT_FALSE(IsThere(m_memory, "moved"));
}

TEST_F(FileMoveTest, ALinkKeepsToItsDisk) {
    m_disk.Write("clip", "content");
    std::filesystem::create_symlink("clip", m_disk.Name("link"));
    EXPECT_EQ(Move("link", "moved"), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_NOT_SAME_DEVICE);
    EXPECT_TRUE(std::filesystem::is_symlink(m_disk.Name("link")));
    EXPECT_FALSE(IsThere(m_memory, "moved"));
}

TEST_F(FileMoveTest, ACopyThatCannotBeReadIsTakenBack) {
    m_disk.Write("clip", "content");
    CallHooks hooks;
    hooks.read = [](int, void*, std::size_t) {
        errno = EIO;
        return -1;
    };
    {
        const HookScope scope(hooks);
        EXPECT_EQ(Move("clip", "moved"), 0);
    }
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_IO_DEVICE);
    EXPECT_FALSE(IsThere(m_memory, "moved"));
    EXPECT_EQ(m_disk.Read("clip"), "content");
}

TEST_F(FileMoveTest, InterruptionsAndPartsDoNotEndACopy) {
    m_disk.Write("clip", "0123456789");
    CallHooks hooks;
    int calls = 0;
    hooks.read = [&](int descriptor, void* buffer, std::size_t bytes) {
        errno = EINTR;
        return ++calls % 2 == 1 ? -1 : ::read(descriptor, buffer, std::min<std::size_t>(4, bytes));
    };
    hooks.write = [&](int descriptor, const void* buffer, std::size_t bytes) {
        errno = EINTR;
        return ++calls % 2 == 1 ? -1 : ::write(descriptor, buffer, std::min<std::size_t>(3, bytes));
    };
    {
        const HookScope scope(hooks);
        EXPECT_EQ(Move("clip", "moved"), 1);
    }
    EXPECT_EQ(m_memory.Read("moved"), "0123456789");
}

TEST_F(FileMoveTest, AnOriginalThatCannotBeRemovedStaysBesideTheCopy) {
    m_disk.Write("clip", "content");
    CallHooks hooks;
    hooks.unlink = [](const char*) {
        errno = EACCES;
        return -1;
    };
    const HookScope scope(hooks);
    EXPECT_EQ(Move("clip", "moved"), 1);
    EXPECT_EQ(m_disk.Read("clip"), "content");
    EXPECT_EQ(m_memory.Read("moved"), "content");
}

TEST_F(FileMoveTest, WhereTargetsCannotBeKeptByTheSystemTheyAreLookedFor) {
    for (const int error : {EINVAL, ENOSYS}) {
        m_disk.Write("clip", "content");
        m_disk.Write("target", "target");
        std::filesystem::remove(m_disk.Name("moved"));
        CallHooks hooks;
        hooks.renameat2 = [=](const char*, const char*, unsigned) {
            errno = error;
            return -1;
        };
        const HookScope scope(hooks);
        const std::wstring clip = m_disk.Wide("clip");
        EXPECT_EQ(VXC_RenameFileW(clip.c_str(), m_disk.Wide("target").c_str()), 0);
        EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ALREADY_EXISTS);
        EXPECT_EQ(m_disk.Read("target"), "target");
        EXPECT_EQ(VXC_RenameFileW(clip.c_str(), m_disk.Wide("moved").c_str()), 1);
        EXPECT_EQ(m_disk.Read("moved"), "content");
        EXPECT_FALSE(IsThere(m_disk, "clip"));
        EXPECT_EQ(VXC_RenameFileW(m_disk.Wide("moved").c_str(), m_disk.Wide("moved").c_str()), 1);
        // To another disk it still goes.
        EXPECT_EQ(Move("moved", "far"), 1);
        std::filesystem::remove(m_memory.Name("far"));
    }
}
