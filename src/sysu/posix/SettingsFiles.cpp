#include "sysu/SettingsFiles.h"

#include "frame/PlatformTypes.h"
#include "sysu/LastError.h"
#include "sysu/posix/Descriptor.h"
#include "sysu/posix/FileSizeSignal.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <vector>

namespace vxcio::sysu {

namespace {

constexpr const char* kMachineFile = "/etc/norvex/softcodec.conf";
constexpr const char* kUserFile = "/.config/norvex/softcodec.conf";

// File systems date changes by steps of up to two seconds.
constexpr int64 kCoarsestStep = 2;

// How long a writer waits for another one of the same folder.
constexpr int kLockTries = 500;
constexpr long kLockPauseNanoseconds = 4000000;

FileVersion VersionFrom(const struct stat& facts) noexcept {
    FileVersion version;
    version.exists = true;
    version.device = facts.st_dev;
    version.identity = facts.st_ino;
    version.size = static_cast<uint64>(facts.st_size);
    version.seconds = facts.st_mtim.tv_sec;
    version.nanoseconds = facts.st_mtim.tv_nsec;
    return version;
}

bool IsYoung(const FileVersion& version) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return version.seconds + kCoarsestStep >= now.tv_sec;
}

// Appends up to `limit` bytes; 0 or an error of the system.
int ReadAll(int descriptor, std::size_t limit, std::string& text) {
    std::vector<char> block(65536);
    while (text.size() < limit) {
        const ssize_t got = read(descriptor, block.data(), block.size());
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return errno;
        }
        if (got == 0) {
            break;
        }
        text.append(block.data(), static_cast<std::size_t>(got));
    }
    return 0;
}

int WriteAll(int descriptor, const std::string& text) {
    const FileSizeSignalGuard guard;
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t put = write(descriptor, text.data() + done, text.size() - done);
        if (put == 0 || (put < 0 && errno != EINTR)) {
            return put == 0 ? EIO : errno;
        }
        done += put > 0 ? static_cast<std::size_t>(put) : 0;
    }
    return 0;
}

std::string FolderOf(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? "." : name.substr(0, slash == 0 ? 1 : slash);
}

// 0 or an error of the system.
int MakeFolders(const std::string& folder) {
    struct stat facts {};
    if (stat(folder.c_str(), &facts) == 0) {
        return S_ISDIR(facts.st_mode) ? 0 : ENOTDIR;
    }
    if (errno != ENOENT) {
        return errno;
    }
    const std::string above = FolderOf(folder);
    if (above == folder) {
        return ENOENT;
    }
    const int error = MakeFolders(above);
    if (error != 0) {
        return error;
    }
    return mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST ? 0 : errno;
}

// Holds the writers of one folder apart. A file system without locks is written without one.
int LockFolder(int folder) noexcept {
    for (int attempt = 0; attempt < kLockTries; ++attempt) {
        if (flock(folder, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) {
            return 0;
        }
        const timespec pause{0, kLockPauseNanoseconds};
        nanosleep(&pause, nullptr);
    }
    return EBUSY;
}

std::string NewName(const std::string& name) {
    static constinit std::atomic<uint32> s_counter{0};
    return name + "." + std::to_string(getpid()) + "-" + std::to_string(s_counter.fetch_add(1)) + ".new";
}

// Writes the text beside the file and moves it over it. 0 or an error of the system.
int WriteBeside(const std::string& name, const std::string& text, int folder) {
    struct stat old {};
    const bool exists = stat(name.c_str(), &old) == 0;
    std::string fresh;
    int opened = -1;
    do {
        fresh = NewName(name); // a name that a crash left behind is passed over
        opened = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    } while (opened < 0 && (errno == EEXIST || errno == EINTR));
    if (opened < 0) {
        return errno;
    }
    Descriptor file(opened);
    int error = WriteAll(file.Get(), text);
    if (error == 0 && exists) {
        struct stat now {};
        const bool sameOwner =
            fstat(file.Get(), &now) == 0 && now.st_uid == old.st_uid && now.st_gid == old.st_gid;
        if (!sameOwner && fchown(file.Get(), old.st_uid, old.st_gid) != 0) {
            error = errno;
        } else if (fchmod(file.Get(), old.st_mode & 07777) != 0) {
            error = errno;
        }
    }
    if (error == 0 && (fsync(file.Get()) != 0 || file.Close() != 0)) {
        error = errno;
    }
    if (error == 0 && rename(fresh.c_str(), name.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        unlink(fresh.c_str());
        return error;
    }
    // The new file stands whatever this says; it only makes the name safe against a power failure.
    static_cast<void>(fsync(folder));
    return 0;
}

} // namespace

std::string MachineSettingsFile() {
    return kMachineFile;
}

std::string UserSettingsFile() {
    std::vector<char> buffer(4096);
    passwd entry{};
    passwd* found = nullptr;
    int error = getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
    while (error == ERANGE && buffer.size() < kSettingsFileLimit) {
        buffer.resize(buffer.size() * 2);
        error = getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
    }
    if (error != 0 || found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] != '/') {
        return {};
    }
    return std::string(found->pw_dir) + kUserFile;
}

std::string AbsoluteName(const std::string& name) {
    if (name.empty() || name[0] == '/') {
        return name;
    }
    const std::unique_ptr<char, decltype(&std::free)> folder(getcwd(nullptr, 0), &std::free);
    return folder ? std::string(folder.get()) + "/" + name : name;
}

FileVersion VersionOf(const std::string& name) noexcept {
    struct stat facts {};
    return stat(name.c_str(), &facts) == 0 ? VersionFrom(facts) : FileVersion{};
}

FileContents ReadContents(const std::string& name) {
    FileContents contents;
    // Without O_NONBLOCK a pipe of that name would hold us for ever.
    const Descriptor file(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat facts {};
    if (file.Get() < 0 || fstat(file.Get(), &facts) != 0) {
        const int error = errno;
        contents.version = VersionOf(name);
        if (error == ENXIO) {
            contents.state = FileState::NoText;
        } else if (error != ENOENT && error != ENOTDIR) {
            contents.state = FileState::Unreadable;
            contents.error = TranslateSystemError(error);
            contents.mayChangeUnseen = true; // a new mode gives no new version
        }
        return contents;
    }
    contents.version = VersionFrom(facts);
    contents.mayChangeUnseen = IsYoung(contents.version);
    if (!S_ISREG(facts.st_mode)) {
        contents.state = FileState::NoText;
        return contents;
    }
    const int error = ReadAll(file.Get(), kSettingsFileLimit + 1, contents.text);
    if (error != 0) {
        contents.state = FileState::Unreadable;
        contents.error = TranslateSystemError(error);
        contents.mayChangeUnseen = true;
    } else if (contents.text.size() > kSettingsFileLimit || contents.text.find('\0') != std::string::npos) {
        contents.state = FileState::NoText;
    } else {
        contents.state = FileState::Good;
        return contents;
    }
    contents.text.clear();
    return contents;
}

uint32 ReplaceContents(const std::string& name, MissingFolders missing,
                       const std::function<bool(std::string& text, uint32& error)>& change) {
    if (name.empty()) {
        return VXC_ERROR_PATH_NOT_FOUND;
    }
    // A link stays a link: the file that it leads to is replaced.
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(name.c_str(), nullptr), &std::free);
    const std::string target = real ? std::string(real.get()) : name;
    int error = missing == MissingFolders::Make ? MakeFolders(FolderOf(target)) : 0;
    if (error != 0) {
        return TranslateSystemError(error);
    }
    const Descriptor folder(open(FolderOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.Get() < 0) {
        return errno == ENOENT ? VXC_ERROR_PATH_NOT_FOUND : TranslateSystemError(errno);
    }
    error = LockFolder(folder.Get());
    if (error != 0) {
        return TranslateSystemError(error);
    }
    FileContents contents = ReadContents(target);
    if (contents.state == FileState::Unreadable) {
        return contents.error;
    }
    if (contents.state == FileState::NoText) {
        return VXC_ERROR_GEN_FAILURE; // whatever it is, it is not ours to overwrite
    }
    uint32 refusal = VXC_ERROR_SUCCESS;
    if (!change(contents.text, refusal)) {
        return refusal;
    }
    if (contents.text.size() > kSettingsFileLimit) {
        return VXC_ERROR_FILE_TOO_LARGE;
    }
    return TranslateSystemError(WriteBeside(target, contents.text, folder.Get()));
}

} // namespace vxcio::sysu
