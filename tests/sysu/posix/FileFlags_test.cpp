// What the flags of opening become on Linux.
#include "sysu/FileTesting.h"

#include "support/TempFolder.h"
#include "support/posix/SystemTesting.h"
#include "sysu/posix/CallHooks.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;

namespace {

class FileFlagsTest : public testing::Test {
protected:
    FileFlagsTest() { m_folder.Write("clip", "content"); }

    TempFolder m_folder;
    std::wstring m_clip = m_folder.Wide("clip");
};

std::vector<int> AdviceOf(const std::wstring& name, uint32 flags) {
    std::vector<int> advice;
    CallHooks hooks;
    hooks.fadvise = [&](int, int given) {
        advice.push_back(given);
        return 0;
    };
    const HookScope scope(hooks);
    EXPECT_TRUE(OpenFile(name, VXC_GENERIC_READ, kShareAll, VXC_OPEN_EXISTING, flags).IsOpen());
    return advice;
}

} // namespace

TEST_F(FileFlagsTest, AccessPatternsBecomeAdvice) {
    EXPECT_EQ(AdviceOf(m_clip, VXC_FILE_FLAG_SEQUENTIAL_SCAN), std::vector<int>{POSIX_FADV_SEQUENTIAL});
    EXPECT_EQ(AdviceOf(m_clip, VXC_FILE_FLAG_RANDOM_ACCESS), std::vector<int>{POSIX_FADV_RANDOM});
    EXPECT_EQ(AdviceOf(m_clip, VXC_FILE_ATTRIBUTE_NORMAL | VXC_FILE_FLAG_KEEP_WINDOW), std::vector<int>{});
}

TEST_F(FileFlagsTest, WriteThroughReachesTheDisk) {
    const auto isWrittenThrough = [&](uint32 flags) {
        const OpenFile file(m_clip, VXC_GENERIC_WRITE, kShareAll, VXC_OPEN_EXISTING, flags);
        return (::fcntl(DescriptorOf(m_folder.Name("clip")), F_GETFL) & O_DSYNC) != 0;
    };
    EXPECT_TRUE(isWrittenThrough(VXC_FILE_FLAG_WRITE_THROUGH));
    EXPECT_FALSE(isWrittenThrough(VXC_FILE_ATTRIBUTE_NORMAL));
}

TEST_F(FileFlagsTest, NoTerminalTakesTheProcessOver) {
    CallHooks hooks;
    int given = 0;
    hooks.open = [&](const char* path, int flags, mode_t mode) {
        given = flags;
        return ::open(path, flags, mode);
    };
    const HookScope scope(hooks);
    EXPECT_TRUE(OpenFile(m_clip).IsOpen());
    EXPECT_EQ(given & O_NOCTTY, O_NOCTTY);
}

TEST_F(FileFlagsTest, ProgramsThatAreStartedInheritNothing) {
    const OpenFile file(m_clip);
    EXPECT_EQ(::fcntl(DescriptorOf(m_folder.Name("clip")), F_GETFD), FD_CLOEXEC);
}

TEST_F(FileFlagsTest, TheReadOnlyAttributeIsThatOfTheNewFile) {
    const mode_t mask = ::umask(0002);
    const auto modeOfNew = [&](const char* name, uint32 flags) {
        const OpenFile file(m_folder.Wide(name), VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW, flags);
        file.Write("x");
        struct stat facts {};
        ::stat(m_folder.Name(name).c_str(), &facts);
        return facts.st_mode & 07777;
    };
    EXPECT_EQ(modeOfNew("plain", VXC_FILE_ATTRIBUTE_NORMAL), 0664u);
    EXPECT_EQ(modeOfNew("protected", VXC_FILE_ATTRIBUTE_READONLY), 0444u);
    ::umask(mask);
}

TEST_F(FileFlagsTest, OnlyTheProcessesMaskLimitsWhoMayUseANewFolder) {
    const auto modeOf = [&](const char* name) {
        EXPECT_EQ(VXC_CreateDirectoryW(m_folder.Wide(name).c_str(), nullptr), 1);
        return std::filesystem::status(m_folder.Name(name)).permissions();
    };
    const mode_t mask = ::umask(0002);
    EXPECT_EQ(modeOf("sub"), std::filesystem::perms(0775));
    ::umask(mask);
}

TEST_F(FileFlagsTest, DeleteOnCloseRemovesTheFileAtTheEnd) {
    OpenFile file(m_clip, VXC_GENERIC_READ, kShareAll, VXC_OPEN_EXISTING, VXC_FILE_FLAG_DELETE_ON_CLOSE);
    EXPECT_TRUE(std::filesystem::exists(m_folder.Name("clip")));
    EXPECT_EQ(file.Close(), 1);
    EXPECT_FALSE(std::filesystem::exists(m_folder.Name("clip")));
}

TEST_F(FileFlagsTest, DeleteOnCloseFollowsTheFileAndSparesOthers) {
    OpenFile file(m_clip, VXC_GENERIC_READ, kShareAll, VXC_OPEN_EXISTING, VXC_FILE_FLAG_DELETE_ON_CLOSE);
    std::filesystem::rename(m_folder.Name("clip"), m_folder.Name("moved"));
    m_folder.Write("clip", "another");
    EXPECT_EQ(file.Close(), 1);
    EXPECT_FALSE(std::filesystem::exists(m_folder.Name("moved")));
    EXPECT_EQ(m_folder.Read("clip"), "another");

    OpenFile gone(m_clip, VXC_GENERIC_READ, kShareAll, VXC_OPEN_EXISTING, VXC_FILE_FLAG_DELETE_ON_CLOSE);
    std::filesystem::remove(m_folder.Name("clip"));
    m_folder.Write("clip (deleted)", "another");
    EXPECT_EQ(gone.Close(), 1);
    EXPECT_EQ(m_folder.Read("clip (deleted)"), "another");
}

TEST_F(FileFlagsTest, DeleteOnCloseThatCannotDeleteFailsTheClose) {
    OpenFile file(m_clip, VXC_GENERIC_READ, kShareAll, VXC_OPEN_EXISTING, VXC_FILE_FLAG_DELETE_ON_CLOSE);
    CallHooks hooks;
    hooks.unlink = [](const char*) {
        errno = EACCES;
        return -1;
    };
    const HookScope scope(hooks);
    EXPECT_EQ(file.Close(), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_ACCESS_DENIED);
    EXPECT_EQ(DescriptorOf(m_folder.Name("clip")), -1);
}

TEST_F(FileFlagsTest, NothingStaysOpenAfterAFailure) {
    {
        OpenFile writer(m_clip, VXC_GENERIC_WRITE, 0);
        EXPECT_FALSE(OpenFile(m_clip, VXC_GENERIC_WRITE, 0).IsOpen());
        EXPECT_EQ(writer.Close(), 1);
    }
    EXPECT_EQ(DescriptorOf(m_folder.Name("clip")), -1);
    std::filesystem::create_directory(m_folder.Name("sub"));
    EXPECT_FALSE(OpenFile(m_folder.Wide("sub")).IsOpen());
    EXPECT_EQ(DescriptorOf(m_folder.Name("sub")), -1);
}

// A file system may bring a file that was cut to the disk when it is closed, which the maker of a new one
// would wait for.
TEST_F(FileFlagsTest, AnEmptyFileIsNotCut) {
    m_folder.Write("empty", "");
    CallHooks hooks;
    int cuts = 0;
    hooks.ftruncate = [&](int descriptor, off_t size) {
        ++cuts;
        return ::ftruncate(descriptor, size);
    };
    const HookScope scope(hooks);
    for (const uint32 disposition : {VXC_CREATE_ALWAYS, VXC_TRUNCATE_EXISTING}) {
        EXPECT_TRUE(OpenFile(m_folder.Wide("empty"), VXC_GENERIC_WRITE, kShareAll, disposition).IsOpen());
        EXPECT_EQ(cuts, 0);
    }
    EXPECT_TRUE(OpenFile(m_clip, VXC_GENERIC_WRITE, kShareAll, VXC_CREATE_ALWAYS).IsOpen());
    EXPECT_EQ(cuts, 1);
}
