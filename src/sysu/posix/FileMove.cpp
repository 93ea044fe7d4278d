#include "sysu/posix/FileMove.h"

#include "sysu/posix/FileSizeSignal.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace vxcio::sysu {

namespace {

constexpr std::size_t kCopyBytes = std::size_t{1} << 20;

struct FreeMemory {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

// 0, or the system's error.
int CopyContent(int source, int target) {
    const std::unique_ptr<char, FreeMemory> buffer(static_cast<char*>(std::malloc(kCopyBytes)));
    if (buffer == nullptr) {
        return ENOMEM;
    }
    const FileSizeSignalGuard guard;
    for (;;) {
        const ssize_t got = ::read(source, buffer.get(), kCopyBytes);
        if (got == 0) {
            return 0;
        }
        if (got < 0 && errno != EINTR) {
            return errno;
        }
        for (ssize_t put = 0; put < got;) {
            const ssize_t part = ::write(target, buffer.get() + put, static_cast<std::size_t>(got - put));
            if (part == 0 || (part < 0 && errno != EINTR)) {
                return part == 0 ? EIO : errno;
            }
            put += part > 0 ? part : 0;
        }
    }
}

// Content, owner, rights and times, down to the disk: the original is removed next. 0, or the system's
// error; a disk that knows no owners or times is no reason to fail.
int CopyAll(int source, const struct stat& facts, int target) {
    if (const int error = CopyContent(source, target)) {
        return error;
    }
    // Rights that act for the owner must not go over to another one.
    const bool isSameOwner = ::fchown(target, facts.st_uid, facts.st_gid) == 0;
    ::fchmod(target, facts.st_mode & (isSameOwner ? 07777 : 0777));
    const timespec times[] = {facts.st_atim, facts.st_mtim};
    ::futimens(target, times);
    return ::fsync(target) == 0 ? 0 : errno;
}

int CopyToNewFile(int source, const std::string& newPath) {
    struct stat facts {};
    if (::fstat(source, &facts) != 0) {
        return errno;
    }
    const int target = ::open(newPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (target < 0) {
        return errno;
    }
    int error = CopyAll(source, facts, target);
    if (::close(target) != 0 && error == 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(newPath.c_str());
    }
    return error;
}

int MoveToOtherDisk(const std::string& oldPath, const std::string& newPath) {
    struct stat facts {};
    if (::lstat(oldPath.c_str(), &facts) != 0) {
        return errno;
    }
    if (!S_ISREG(facts.st_mode)) {
        return EXDEV;
    }
    const int source = ::open(oldPath.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (source < 0) {
        return errno;
    }
    const int error = CopyToNewFile(source, newPath);
    ::close(source);
    if (error == 0) {
        ::unlink(oldPath.c_str());
    }
    return error;
}

// For file systems that cannot be asked to keep an existing target. Another process may make the target
// between the two steps; there is no way to exclude it there.
int RenameAfterLook(const std::string& oldPath, const std::string& newPath) {
    struct stat facts {};
    if (::lstat(newPath.c_str(), &facts) == 0) {
        return EEXIST;
    }
    return ::rename(oldPath.c_str(), newPath.c_str()) == 0 ? 0 : errno;
}

} // namespace

int MoveFile(const std::string& oldPath, const std::string& newPath) noexcept {
    int error =
        ::renameat2(AT_FDCWD, oldPath.c_str(), AT_FDCWD, newPath.c_str(), RENAME_NOREPLACE) == 0 ? 0 : errno;
    if (error == EINVAL || error == ENOSYS) {
        error = RenameAfterLook(oldPath, newPath);
    }
    if (error == EEXIST && oldPath == newPath) {
        return 0;
    }
    return error == EXDEV ? MoveToOtherDisk(oldPath, newPath) : error;
}

} // namespace vxcio::sysu
