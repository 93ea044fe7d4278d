#define FUSE_USE_VERSION 312

#include "Mirror.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <fuse.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace stallfs {

namespace {

constexpr unsigned kMostThreads = 256; // each operation that waits holds one

struct Served {
    std::string backing;
    StallRules* rules = nullptr;
    bool isWritable = false;
};

Served& It() {
    static auto* const served = new Served; // threads of libfuse may outlive main
    return *served;
}

std::string Real(const char* path) {
    return It().backing + path;
}

// As the orders name it.
std::string Name(const char* path) {
    return path[0] == '/' ? path + 1 : path;
}

bool IsInterrupted() {
    return fuse_interrupted() != 0;
}

// 0, or what the operation fails with.
int Pass(Operation operation, const char* path, std::uint64_t end = 0) {
    switch (It().rules->Pass(operation, Name(path), end, IsInterrupted)) {
    case StallRules::Passed::Goes:
        return 0;
    case StallRules::Passed::Fails:
        return -EIO;
    case StallRules::Passed::Full:
        return -ENOSPC;
    case StallRules::Passed::Interrupted:
        break;
    }
    return -EINTR;
}

int Result(long result) {
    return result < 0 ? -errno : static_cast<int>(result);
}

// libfuse sends this to the thread whose operation is interrupted; what counts is fuse_interrupted.
void OnInterruptedOperation(int) {}

void* Initialise(fuse_conn_info*, fuse_config* config) {
    struct sigaction action {};
    action.sa_handler = OnInterruptedOperation;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGUSR1, &action, nullptr);
    config->intr = 1;
    config->intr_signal = SIGUSR1;
    return nullptr;
}

int GetAttributes(const char* path, struct stat* attributes, fuse_file_info*) {
    if (const int error = Pass(Operation::Stat, path)) {
        return error;
    }
    return Result(::lstat(Real(path).c_str(), attributes));
}

int ReadFolder(const char* path, void* buffer, fuse_fill_dir_t fill, off_t, fuse_file_info*,
               fuse_readdir_flags) {
    DIR* const folder = ::opendir(Real(path).c_str());
    if (folder == nullptr) {
        return -errno;
    }
    while (const dirent* const entry = ::readdir(folder)) {
        fill(buffer, entry->d_name, nullptr, 0, static_cast<fuse_fill_dir_flags>(0));
    }
    ::closedir(folder);
    return 0;
}

int OpenReal(const char* path, int more, mode_t mode, fuse_file_info* info) {
    if (const int error = Pass(Operation::Open, path)) {
        return error;
    }
    // Direct opens are served through the cache: what counts here is only that they are.
    const int descriptor =
        ::open(Real(path).c_str(), (info->flags & (O_ACCMODE | O_EXCL | O_TRUNC)) | more | O_CLOEXEC, mode);
    if (descriptor < 0) {
        return -errno;
    }
    info->fh = static_cast<uint64_t>(descriptor);
    // Past the page cache, so that each read of the caller comes here and nothing is read ahead.
    info->direct_io = 1;
    return 0;
}

int Open(const char* path, fuse_file_info* info) {
    if ((info->flags & O_ACCMODE) != O_RDONLY && !It().isWritable) {
        return -EROFS;
    }
    return OpenReal(path, 0, 0, info);
}

int Create(const char* path, mode_t mode, fuse_file_info* info) {
    return OpenReal(path, O_CREAT, mode, info);
}

int Read(const char* path, char* buffer, std::size_t bytes, off_t position, fuse_file_info* info) {
    if (const int error = Pass(Operation::Read, path, static_cast<std::uint64_t>(position) + bytes)) {
        return error;
    }
    const ssize_t got = ::pread(static_cast<int>(info->fh), buffer, bytes, position);
    if (got >= 0) {
        It().rules->CountRead(Name(path), static_cast<std::uint64_t>(got));
    }
    return Result(got);
}

int Write(const char* path, const char* buffer, std::size_t bytes, off_t position, fuse_file_info* info) {
    const auto from = static_cast<std::uint64_t>(position);
    if (const int error = Pass(Operation::Write, path, from + bytes)) {
        return error;
    }
    std::vector<char> data(buffer, buffer + bytes);
    It().rules->Spoil(Name(path), from, data);
    return Result(::pwrite(static_cast<int>(info->fh), data.data(), bytes, position));
}

int Truncate(const char* path, off_t size, fuse_file_info*) {
    if (const int error = Pass(Operation::Truncate, path)) {
        return error;
    }
    return Result(::truncate(Real(path).c_str(), size));
}

int Sync(const char* path, int, fuse_file_info* info) {
    if (const int error = Pass(Operation::Sync, path)) {
        return error;
    }
    return Result(::fsync(static_cast<int>(info->fh)));
}

int Remove(const char* path) {
    return Result(::unlink(Real(path).c_str()));
}

int Rename(const char* from, const char* to, unsigned flags) {
    return Result(::renameat2(AT_FDCWD, Real(from).c_str(), AT_FDCWD, Real(to).c_str(), flags));
}

int ChangeMode(const char* path, mode_t mode, fuse_file_info*) {
    return Result(::chmod(Real(path).c_str(), mode));
}

// A close of the caller waits for this one; Release comes later, when nobody waits any more.
int Flush(const char* path, fuse_file_info*) {
    return Pass(Operation::Close, path);
}

int Release(const char*, fuse_file_info* info) {
    ::close(static_cast<int>(info->fh));
    return 0;
}

} // namespace

bool ServeMirror(const std::string& backing, const std::string& mountPoint, Access access, StallRules& rules,
                 void (*ready)()) {
    It().backing = backing;
    It().isWritable = access == Access::Writable;
    It().rules = &rules;
    fuse_operations operations{};
    operations.init = Initialise;
    operations.getattr = GetAttributes;
    operations.readdir = ReadFolder;
    operations.open = Open;
    operations.read = Read;
    operations.flush = Flush;
    operations.release = Release;
    if (access == Access::Writable) {
        operations.create = Create;
        operations.write = Write;
        operations.truncate = Truncate;
        operations.fsync = Sync;
        operations.unlink = Remove;
        operations.rename = Rename;
        operations.chmod = ChangeMode;
    }
    char program[] = "vxc-stallfs";
    char option[] = "-oro,fsname=vxc-stallfs,subtype=stallfs";
    char writable[] = "-ofsname=vxc-stallfs,subtype=stallfs";
    char* words[] = {program, access == Access::Writable ? writable : option, nullptr};
    fuse_args arguments{2, words, 0};
    fuse* const served = fuse_new(&arguments, &operations, sizeof operations, nullptr);
    fuse_opt_free_args(&arguments);
    if (served == nullptr || fuse_mount(served, mountPoint.c_str()) != 0) {
        return false;
    }
    fuse_loop_config* const config = fuse_loop_cfg_create();
    fuse_loop_cfg_set_max_threads(config, kMostThreads);
    ready();
    fuse_loop_mt(served, config);
    return true;
}

void TakeAway(const std::string& mountPoint) {
    if (::umount2(mountPoint.c_str(), MNT_DETACH) == 0 || errno != EPERM) {
        return;
    }
    // Only libfuse's helper may do it for a user.
    std::string words[] = {"fusermount3", "-u", "-z", mountPoint};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(), nullptr};
    pid_t child = 0;
    if (::posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments, environ) == 0) {
        ::waitpid(child, nullptr, 0);
    }
}

} // namespace stallfs
