// Transfers that are interrupted, come up short or fail, and what the last error says of it.
#include "sysu/FileTesting.h"

#include "support/TempFolder.h"
#include "support/posix/SystemTesting.h"
#include "sysu/posix/CallHooks.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

int Fail(int error) {
    errno = error;
    return -1;
}

struct ErrorCase {
    int system;
    uint32 number;
};

class FileErrorTest : public testing::TestWithParam<ErrorCase> {};

} // namespace

TEST_P(FileErrorTest, OpeningTellsTheSystemsError) {
    const TempFolder folder;
    folder.Write("clip", "content");
    CallHooks hooks;
    hooks.open = [](const char*, int, mode_t) { return Fail(GetParam().system); };
    const HookScope scope(hooks);
    EXPECT_EQ(OpenFile(folder.Wide("clip")).Error(), GetParam().number);
}

TEST_P(FileErrorTest, AFailedReadTellsTheSystemsErrorAndWhatCameBefore) {
    const TempFolder folder;
    folder.Write("clip", "content");
    const OpenFile file(folder.Wide("clip"));
    CallHooks hooks;
    int calls = 0;
    hooks.read = [&](int descriptor, void* buffer, std::size_t) {
        return ++calls == 1 ? ::read(descriptor, buffer, 3) : Fail(GetParam().system);
    };
    const HookScope scope(hooks);
    char text[8] = {};
    unsigned long done = 0;
    EXPECT_EQ(VXC_ReadFile(file.Handle(), text, 7, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), GetParam().number);
    EXPECT_EQ(done, 3u);
    EXPECT_STREQ(text, "con");
}

INSTANTIATE_TEST_SUITE_P(
    All, FileErrorTest,
    testing::Values(
        ErrorCase{EACCES, VXC_ERROR_ACCESS_DENIED}, ErrorCase{EPERM, VXC_ERROR_ACCESS_DENIED},
        ErrorCase{EISDIR, VXC_ERROR_ACCESS_DENIED}, ErrorCase{ENOTDIR, VXC_ERROR_PATH_NOT_FOUND},
        ErrorCase{ELOOP, VXC_ERROR_PATH_NOT_FOUND}, ErrorCase{ENFILE, VXC_ERROR_TOO_MANY_OPEN_FILES},
        ErrorCase{EBADF, VXC_ERROR_INVALID_HANDLE}, ErrorCase{EXDEV, VXC_ERROR_NOT_SAME_DEVICE},
        ErrorCase{EBUSY, VXC_ERROR_SHARING_VIOLATION}, ErrorCase{EAGAIN, VXC_ERROR_NOT_ENOUGH_MEMORY},
        ErrorCase{EHOSTUNREACH, VXC_ERROR_BAD_NETPATH}, ErrorCase{ENOTEMPTY, VXC_ERROR_DIR_NOT_EMPTY},
        ErrorCase{EOVERFLOW, VXC_ERROR_FILE_TOO_LARGE}, ErrorCase{ENXIO, VXC_ERROR_IO_DEVICE},
        ErrorCase{ENODEV, VXC_ERROR_IO_DEVICE}, ErrorCase{EPROTO, VXC_ERROR_GEN_FAILURE},
        ErrorCase{EMFILE, VXC_ERROR_TOO_MANY_OPEN_FILES}, ErrorCase{ENOMEM, VXC_ERROR_NOT_ENOUGH_MEMORY},
        ErrorCase{EROFS, VXC_ERROR_WRITE_PROTECT}, ErrorCase{ETXTBSY, VXC_ERROR_SHARING_VIOLATION},
        ErrorCase{ESTALE, VXC_ERROR_BAD_NETPATH}, ErrorCase{EHOSTDOWN, VXC_ERROR_BAD_NETPATH},
        ErrorCase{EINVAL, VXC_ERROR_INVALID_PARAMETER}, ErrorCase{ENOSPC, VXC_ERROR_DISK_FULL},
        ErrorCase{EDQUOT, VXC_ERROR_DISK_FULL}, ErrorCase{ETIMEDOUT, VXC_ERROR_SEM_TIMEOUT},
        ErrorCase{EFBIG, VXC_ERROR_FILE_TOO_LARGE}, ErrorCase{EFAULT, VXC_ERROR_NOACCESS},
        ErrorCase{EIO, VXC_ERROR_IO_DEVICE}),
    [](const auto& test) { return "Errno" + std::to_string(test.param.system); });

TEST(FileFaultTest, ReadsGoOnAfterInterruptionsAndParts) {
    const TempFolder folder;
    folder.Write("clip", "0123456789");
    const OpenFile file(folder.Wide("clip"));
    CallHooks hooks;
    int calls = 0;
    hooks.read = [&](int descriptor, void* buffer, std::size_t bytes) {
        return ++calls % 2 == 1 ? Fail(EINTR) : ::read(descriptor, buffer, std::min<std::size_t>(3, bytes));
    };
    const HookScope scope(hooks);
    EXPECT_EQ(file.Read(8), "01234567");
}

TEST(FileFaultTest, WritesGoOnAfterInterruptionsAndParts) {
    const TempFolder folder;
    const OpenFile file(folder.Wide("clip"), VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW);
    CallHooks hooks;
    int calls = 0;
    hooks.write = [&](int descriptor, const void* buffer, std::size_t bytes) {
        return ++calls % 2 == 1 ? Fail(EINTR) : ::write(descriptor, buffer, std::min<std::size_t>(3, bytes));
    };
    const HookScope scope(hooks);
    file.Write("0123456789");
    EXPECT_EQ(folder.Read("clip"), "0123456789");
}

TEST(FileFaultTest, OpeningLockingCuttingAndClosingGoOnAfterInterruptions) {
    const TempFolder folder;
    folder.Write("clip", "content");
    CallHooks hooks;
    int opens = 0;
    int locks = 0;
    int cuts = 0;
    hooks.open = [&](const char* path, int flags, mode_t mode) {
        return ++opens == 1 ? Fail(EINTR) : ::open(path, flags, mode);
    };
    hooks.flock = [&](int, int) { return ++locks == 1 ? Fail(EINTR) : 0; };
    hooks.ftruncate = [&](int descriptor, off_t size) {
        return ++cuts % 2 == 1 ? Fail(EINTR) : ::ftruncate(descriptor, size);
    };
    hooks.close = [](int descriptor) {
        ::close(descriptor);
        return Fail(EINTR);
    };
    const HookScope scope(hooks);
    OpenFile file(folder.Wide("clip"), VXC_GENERIC_WRITE, 0, VXC_TRUNCATE_EXISTING);
    ASSERT_TRUE(file.IsOpen());
    EXPECT_EQ(std::filesystem::file_size(folder.Name("clip")), 0u);
    EXPECT_EQ(file.Seek(5), 5);
    EXPECT_EQ(VXC_SetEndOfFile(file.Handle()), 1);
    EXPECT_EQ(std::filesystem::file_size(folder.Name("clip")), 5u);
    EXPECT_EQ(file.Close(), 1);
}

TEST(FileFaultTest, NoCallAsksForMoreThanTheSystemMoves) {
    const TempFolder folder;
    folder.Write("clip", "");
    const OpenFile file(folder.Wide("clip"), kReadWrite);
    CallHooks hooks;
    std::size_t asked = 0;
    uint64 total = 0;
    // Nothing is really moved, so the memory need not be there.
    hooks.read = [&](int, void*, std::size_t bytes) {
        asked = std::max(asked, bytes);
        total += bytes;
        return static_cast<ssize_t>(bytes);
    };
    hooks.write = [&](int descriptor, const void*, std::size_t bytes) {
        return hooks.read(descriptor, nullptr, bytes);
    };
    const HookScope scope(hooks);
    char byte = 0;
    unsigned long done = 0;
    EXPECT_EQ(VXC_ReadFile(file.Handle(), &byte, 0xFFFFFFFFu, &done, nullptr), 1);
    EXPECT_EQ(done, 0xFFFFFFFFu);
    EXPECT_EQ(asked, 0x7FFFF000u);
    EXPECT_EQ(total, 0xFFFFFFFFu);
    EXPECT_EQ(VXC_WriteFile(file.Handle(), &byte, 0xFFFFFFFFu, &done, nullptr), 1);
    EXPECT_EQ(done, 0xFFFFFFFFu);
    EXPECT_EQ(asked, 0x7FFFF000u);
    EXPECT_EQ(total, 2 * uint64{0xFFFFFFFF});
}

TEST(FileFaultTest, ADeviceThatTakesNothingFailsTheWrite) {
    const TempFolder folder;
    const OpenFile file(folder.Wide("clip"), VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW);
    CallHooks hooks;
    hooks.write = [](int, const void*, std::size_t) { return ssize_t{0}; };
    const HookScope scope(hooks);
    unsigned long done = 7;
    EXPECT_EQ(VXC_WriteFile(file.Handle(), "x", 1, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_IO_DEVICE);
    EXPECT_EQ(done, 0u);
}

TEST(FileFaultTest, MemoryThatIsNotThereIsTold) {
    const TempFolder folder;
    folder.Write("clip", "content");
    const OpenFile file(folder.Wide("clip"), kReadWrite);
    unsigned long done = 7;
    EXPECT_EQ(VXC_ReadFile(file.Handle(), nullptr, 5, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_NOACCESS);
    EXPECT_EQ(VXC_DeleteFileW(L""), 0);
    EXPECT_EQ(VXC_WriteFile(file.Handle(), nullptr, 5, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_NOACCESS);
}

TEST(FileFaultTest, AFailedCloseIsToldAndTheHandleGoes) {
    const TempFolder folder;
    OpenFile file(folder.Wide("clip"), VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW);
    CallHooks hooks;
    hooks.close = [](int descriptor) {
        ::close(descriptor);
        return Fail(EDQUOT);
    };
    const HookScope scope(hooks);
    EXPECT_EQ(file.Close(), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_DISK_FULL);
    EXPECT_EQ(DescriptorOf(folder.Name("clip")), -1);
}

TEST(FileFaultTest, FileSystemsWithoutLocksShareEverything) {
    const TempFolder folder;
    folder.Write("clip", "content");
    CallHooks hooks;
    hooks.flock = [](int, int) { return Fail(ENOLCK); };
    const HookScope scope(hooks);
    EXPECT_TRUE(OpenFile(folder.Wide("clip"), VXC_GENERIC_WRITE, 0).IsOpen());
}

TEST(FileFaultTest, AFileThatAppearsInBetweenIsOpened) {
    const TempFolder folder;
    CallHooks hooks;
    int calls = 0;
    hooks.open = [&](const char* path, int flags, mode_t mode) {
        const int result = ::open(path, flags, mode);
        const int error = errno;
        if (++calls == 1) {
            folder.Write("clip", "content");
        }
        errno = error;
        return result;
    };
    const HookScope scope(hooks);
    const OpenFile file(folder.Wide("clip"), kReadWrite, kShareAll, VXC_OPEN_ALWAYS);
    EXPECT_EQ(file.Error(), VXC_ERROR_ALREADY_EXISTS);
    EXPECT_EQ(file.Read(100), "content");
}

TEST(FileFaultTest, AFullDiskTellsWhatWentOut) {
    const TempFolder folder;
    const MountScope disk("none", folder.Path(), "tmpfs", "size=64k");
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "a file system of limited size cannot be mounted here";
    }
    const OpenFile file(folder.Wide("clip"), VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW);
    const std::string much(100000, 'x');
    unsigned long done = 0;
    EXPECT_EQ(VXC_WriteFile(file.Handle(), much.data(), 100000, &done, nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_DISK_FULL);
    EXPECT_EQ(done, 65536u);
    EXPECT_EQ(file.Seek(0, VXC_FILE_CURRENT), 65536);
}

TEST(FileFaultTest, AProtectedDiskIsTold) {
    const TempFolder folder;
    const MountScope disk("none", folder.Path(), "tmpfs", "", MS_RDONLY);
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "a read-only file system cannot be mounted here";
    }
    EXPECT_EQ(OpenFile(folder.Wide("clip"), VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW).Error(),
              VXC_ERROR_WRITE_PROTECT);
    EXPECT_EQ(VXC_CreateDirectoryW(folder.Wide("sub").c_str(), nullptr), 0);
    EXPECT_EQ(VXC_GetLastError(), VXC_ERROR_WRITE_PROTECT);
}

TEST(FileFaultTest, ALimitOfFileSizesFailsTheWriteAndNothingElse) {
    const TempFolder folder;
    folder.WritePattern("large", 3000, 1);
    const int result = RunInChild([&] {
        const rlimit limit{1000, 1000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const OpenFile file(folder.Wide("clip"), VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW);
        const std::string much(3000, 'x');
        unsigned long done = 0;
        const int written = VXC_WriteFile(file.Handle(), much.data(), 3000, &done, nullptr);
        if (written != 0 || VXC_GetLastError() != VXC_ERROR_FILE_TOO_LARGE || done != 1000) {
            return 1;
        }
        const OpenFile direct(folder.Wide("direct"), VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW,
                              VXC_FILE_FLAG_NO_BUFFERING);
        alignas(4096) static const char kPage[8192] = {};
        direct.Seek(4096);
        for (const int shift : {0, 1}) { // memory that fits, and memory that goes through the buffer
            if (VXC_WriteFile(direct.Handle(), kPage + shift, 4096, &done, nullptr) != 0 || done != 0) {
                return 4;
            }
        }
        const TempFolder memory(TempFolder::Kind::Memory);
        if (VXC_RenameFileW(folder.Wide("large").c_str(), memory.Wide("large").c_str()) != 0 ||
            VXC_GetLastError() != VXC_ERROR_FILE_TOO_LARGE) {
            return 5;
        }
        file.Seek(2000);
        if (VXC_SetEndOfFile(file.Handle()) != 0 || VXC_GetLastError() != VXC_ERROR_FILE_TOO_LARGE) {
            return 2;
        }
        // The host's own handling is as it was: the signal is neither blocked, nor ignored, nor waiting.
        struct sigaction action {};
        ::sigaction(SIGXFSZ, nullptr, &action);
        sigset_t blocked;
        sigset_t pending;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        ::sigpending(&pending);
        if (action.sa_handler != SIG_DFL || ::sigismember(&blocked, SIGXFSZ) != 0 ||
            ::sigismember(&pending, SIGXFSZ) != 0) {
            return 3;
        }
        return 0;
    });
    EXPECT_EQ(result, 0);
}

TEST(FileFaultTest, ASignalOfTheHostsOwnStaysWaiting) {
    const TempFolder folder;
    const int result = RunInChild([&] {
        const rlimit limit{1000, 1000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        sigset_t signal;
        ::sigemptyset(&signal);
        ::sigaddset(&signal, SIGXFSZ);
        ::pthread_sigmask(SIG_BLOCK, &signal, nullptr);
        ::raise(SIGXFSZ);
        const OpenFile file(folder.Wide("clip"), VXC_GENERIC_WRITE, 0, VXC_CREATE_NEW);
        file.Write("x");
        sigset_t pending;
        ::sigpending(&pending);
        return ::sigismember(&pending, SIGXFSZ) == 1 ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
}

TEST(FileFaultTest, NamesWithoutPermissionAreDenied) {
    const TempFolder folder(TempFolder::Kind::Memory);
    folder.Write("clip", "content");
    folder.Write("closed/clip", "content");
    std::filesystem::permissions(folder.Path(), std::filesystem::perms(0755));
    std::filesystem::permissions(folder.Name("clip"), std::filesystem::perms(0600));
    std::filesystem::permissions(folder.Name("closed"), std::filesystem::perms(0700));
    const int result = RunInChild([&] {
        // The administrator is refused nothing.
        if (::getuid() == 0 && ::setresuid(65534, 65534, 65534) != 0) {
            return 9;
        }
        if (::getuid() != 65534) {
            std::filesystem::permissions(folder.Name("clip"), std::filesystem::perms(0));
            std::filesystem::permissions(folder.Name("closed"), std::filesystem::perms(0));
        }
        if (OpenFile(folder.Wide("clip")).Error() != VXC_ERROR_ACCESS_DENIED) {
            return 1;
        }
        if (OpenFile(folder.Wide("closed/clip")).Error() != VXC_ERROR_ACCESS_DENIED) {
            return 2;
        }
        if (VXC_DeleteFileW(folder.Wide("closed/clip").c_str()) != 0 ||
            VXC_GetLastError() != VXC_ERROR_ACCESS_DENIED) {
            return 3;
        }
        return 0;
    });
    std::filesystem::permissions(folder.Name("closed"), std::filesystem::perms(0700));
    EXPECT_EQ(result, 0);
}
