#include "sysu/posix/SharedName.h"

#include "frame/PlatformTypes.h"
#include "sysu/LastError.h"
#include "sysu/posix/Descriptor.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace vxcio::sysu {

namespace {

constexpr mode_t kOwnerOnly = 0600;

// A file gets its memory in pieces of this size: a signal that interrupts one undoes no other.
constexpr uint64 kPiece = 4 << 20;

// The guard is held for microseconds. Who was stopped within must not stop the others for good.
constexpr int kGuardTries = 2000;
constexpr long kGuardPause = 1'000'000; // nanoseconds

// 0, or an error of the system, for a file that may be trusted: an ordinary one of this user's alone.
int CheckOwned(int descriptor, struct stat& facts) noexcept {
    if (fstat(descriptor, &facts) != 0) {
        return errno;
    }
    const bool owned = S_ISREG(facts.st_mode) && facts.st_uid == geteuid() && facts.st_nlink <= 1 &&
                       (facts.st_mode & 077) == 0;
    return owned ? 0 : EACCES;
}

// -1 with errno, which is EACCES for what is no file.
int OpenFile(const std::string& path, int flags) noexcept {
    const int descriptor =
        open(path.c_str(), flags | O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, kOwnerOnly);
    if (descriptor < 0 && (errno == ELOOP || errno == ENXIO || errno == EISDIR)) {
        errno = EACCES;
    }
    return descriptor;
}

// Whether the path still leads to the open file: it may have been removed by hand, and made anew.
bool IsUnder(const std::string& path, int descriptor) noexcept {
    struct stat there {};
    struct stat open {};
    return lstat(path.c_str(), &there) == 0 && fstat(descriptor, &open) == 0 && there.st_ino == open.st_ino &&
           there.st_dev == open.st_dev;
}

// 0, or an error of the system: EWOULDBLOCK where somebody else has it.
int Lock(int descriptor, int kind) noexcept {
    while (flock(descriptor, kind | LOCK_NB) != 0) {
        if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

// The guard, held from construction on where error is 0.
class Guard {
public:
    Guard() {
        const std::string path = std::string(kSharedFolder) + "/" + SharedPrefix() + "guard";
        for (int tries = 0;; ++tries) {
            if (m_file.Get() < 0) {
                m_file.Reset(OpenFile(path, O_CREAT));
                struct stat facts {};
                m_error = m_file.Get() < 0 ? errno : CheckOwned(m_file.Get(), facts);
                if (m_error == 0 && (facts.st_mode & kOwnerOnly) != kOwnerOnly) {
                    fchmod(m_file.Get(), kOwnerOnly); // made just now, under an odd mask
                }
            }
            if (m_error == 0) {
                m_error = Lock(m_file.Get(), LOCK_EX);
            }
            if (m_error == 0 && IsUnder(path, m_file.Get())) {
                return;
            }
            if (m_error == 0) {
                m_file.Close(); // the lock of a file that nobody else will come to
            } else if (m_error != EWOULDBLOCK) {
                return;
            }
            m_error = ETIMEDOUT;
            if (tries == kGuardTries) {
                return;
            }
            m_error = 0;
            const timespec pause = {0, kGuardPause};
            nanosleep(&pause, nullptr);
        }
    }
    ~Guard() {
        if (m_error == 0) {
            // A child that was forked meanwhile shares the description, and would hold on to the lock.
            flock(m_file.Get(), LOCK_UN);
        }
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
    int Error() const noexcept { return m_error; }

private:
    Descriptor m_file;
    int m_error = 0;
};

std::optional<SharedFile> Failed(int systemError) noexcept {
    SetLastSystemError(systemError);
    return std::nullopt;
}

// Gives up this description's share for the answer where it is the last one.
bool IsAlive(int descriptor) noexcept {
    return Lock(descriptor, LOCK_EX) != 0;
}

// Who has locked such a file whole is no user of it.
int ShareLock(int descriptor) noexcept {
    const int error = Lock(descriptor, LOCK_SH);
    return error == EWOULDBLOCK ? EBUSY : error;
}

struct Opened {
    Descriptor file;
    uint64 bytes = 0;
};

// Opens what lives under the path; what is stale goes. ENOENT where nothing is left. Under the guard.
int OpenLive(const std::string& path, Opened& into) noexcept {
    Descriptor file(OpenFile(path, 0));
    if (file.Get() < 0) {
        return errno;
    }
    struct stat facts {};
    if (const int error = CheckOwned(file.Get(), facts); error != 0) {
        return error;
    }
    if (!IsAlive(file.Get())) {
        return unlink(path.c_str()) == 0 ? ENOENT : errno;
    }
    if (const int error = ShareLock(file.Get()); error != 0) {
        return error;
    }
    into.bytes = static_cast<uint64>(facts.st_size);
    into.file.Reset(file.Take());
    return 0;
}

// A file that has no name yet that others would look for; it goes unless it gets one.
class Draft {
public:
    // Under the guard, so that nobody takes it for stale before it is locked. 0, or an error of the system.
    int Begin() {
        static std::atomic<uint32> s_number{0};
        do {
            m_path = std::string(kSharedFolder) + "/" + SharedPrefix() + std::to_string(getpid()) + "-" +
                     std::to_string(++s_number) + ".t";
            m_file.Reset(OpenFile(m_path, O_CREAT | O_EXCL));
        } while (m_file.Get() < 0 && errno == EEXIST);
        if (m_file.Get() < 0) {
            return errno;
        }
        m_exists = true;
        // Whatever the mask of this process.
        return fchmod(m_file.Get(), kOwnerOnly) != 0 ? errno : ShareLock(m_file.Get());
    }
    // All of it now: a store to memory that is not there would end the process.
    int Fill(uint64 bytes, bool (*begin)(int descriptor)) noexcept {
        for (uint64 at = 0; at < bytes;) {
            const uint64 piece = std::min(kPiece, bytes - at);
            const int error =
                posix_fallocate(m_file.Get(), static_cast<off_t>(at), static_cast<off_t>(piece));
            if (error == 0) {
                at += piece;
            } else if (error != EINTR) {
                return error;
            }
        }
        return begin == nullptr || begin(m_file.Get()) ? 0 : EIO;
    }
    // Under the guard, which keeps off only those who respect it: nobody else's file is replaced.
    int GiveName(const std::string& path) noexcept {
        if (renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) != 0) {
            return errno == EEXIST ? EACCES : errno;
        }
        m_exists = false;
        return 0;
    }
    Descriptor& File() noexcept { return m_file; }

    Draft() = default;
    ~Draft() {
        if (m_exists) {
            unlink(m_path.c_str());
        }
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

private:
    std::string m_path;
    Descriptor m_file;
    bool m_exists = false;
};

// What is open in this process, for its end.
struct OpenFiles {
    std::mutex mutex;
    pid_t process = 0;
    std::map<int, std::string> paths; // by descriptor
};

// Never destroyed: threads may come here until the process is gone.
OpenFiles& TheOpenFiles() {
    static OpenFiles* const files = new OpenFiles;
    return *files;
}

SharedFile Noted(std::string&& path, Descriptor& file, uint64 bytes, bool existed) {
    OpenFiles& open = TheOpenFiles();
    {
        const std::lock_guard lock(open.mutex);
        if (open.process != getpid()) {
            open.process = getpid(); // a child has none of its own yet
            open.paths.clear();
        }
        open.paths.insert_or_assign(file.Get(), path);
    }
    return SharedFile(std::move(path), file.Take(), bytes, existed);
}

void Forget(int descriptor) noexcept {
    OpenFiles& open = TheOpenFiles();
    const std::lock_guard lock(open.mutex);
    if (open.process == getpid()) {
        open.paths.erase(descriptor);
    }
}

// Gives this process's share of a file up; the file goes where nobody else has one. Under the guard.
void Leave(const std::string& path, int descriptor) noexcept {
    if (!IsAlive(descriptor) && IsUnder(path, descriptor)) {
        unlink(path.c_str());
    }
    flock(descriptor, LOCK_UN);
}

// A process that ends without having closed its names takes them along all the same. Threads that still run
// keep their memory.
__attribute__((destructor)) void LeaveAll() noexcept {
    try {
        OpenFiles& open = TheOpenFiles();
        const std::lock_guard lock(open.mutex);
        if (open.process != getpid() || open.paths.empty()) {
            return;
        }
        const Guard guard;
        if (guard.Error() == 0) {
            for (const auto& [descriptor, path] : open.paths) {
                Leave(path, descriptor);
            }
        }
    } catch (...) {
        // No memory: whoever meets the names removes them.
    }
}

} // namespace

std::optional<SharedFile> CreateShared(const wchar_t* name, SharedKind kind, uint64 bytes,
                                       bool (*begin)(int descriptor)) {
    static std::atomic<bool> s_swept{false};
    if (!s_swept.exchange(true)) {
        SweepShared();
    }
    std::string path = SharedPath(name, kind);
    Opened opened;
    Draft draft;
    {
        const Guard guard;
        int error = guard.Error() != 0 ? guard.Error() : OpenLive(path, opened);
        if (error == ENOENT && guard.Error() == 0) {
            error = draft.Begin();
        }
        if (error != 0) {
            return Failed(error);
        }
    }
    if (opened.file.Get() < 0) {
        const int lack = draft.Fill(bytes, begin);
        const Guard guard;
        int error = guard.Error() != 0 ? guard.Error() : OpenLive(path, opened);
        if (error == ENOENT && guard.Error() == 0) {
            error = lack != 0 ? lack : draft.GiveName(path);
            if (error == 0) {
                return Noted(std::move(path), draft.File(), bytes, false);
            }
        }
        if (error != 0) {
            return Failed(error);
        }
    }
    return Noted(std::move(path), opened.file, opened.bytes, true);
}

std::optional<SharedFile> OpenShared(const wchar_t* name, SharedKind kind) {
    std::string path = SharedPath(name, kind);
    Opened opened;
    const Guard guard;
    if (const int error = guard.Error() != 0 ? guard.Error() : OpenLive(path, opened); error != 0) {
        return Failed(error);
    }
    return Noted(std::move(path), opened.file, opened.bytes, true);
}

SharedFile::~SharedFile() {
    if (m_descriptor.Get() < 0 || m_process != getpid()) {
        return;
    }
    Forget(m_descriptor.Get());
    try {
        const Guard guard;
        if (guard.Error() == 0) {
            Leave(m_path, m_descriptor.Get());
        }
        // Without the guard it stays, for the next one who meets it. The file is closed behind the guard: to
        // free a large one takes a while.
    } catch (...) {
        // No memory for the name of the guard: the same.
    }
}

bool SharedFile::HasOthers() const noexcept {
    try {
        const Guard guard;
        if (guard.Error() != 0) {
            return true;
        }
        // Under the guard nobody takes the whole lock in the meantime, so the own share is there to be had
        // again.
        const bool others = IsAlive(m_descriptor.Get());
        ShareLock(m_descriptor.Get());
        return others;
    } catch (...) {
        return true;
    }
}

void SweepShared() noexcept {
    try {
        const std::string prefix = SharedPrefix();
        const Guard guard;
        const std::unique_ptr<DIR, int (*)(DIR*)> folder(
            guard.Error() == 0 ? opendir(kSharedFolder) : nullptr, closedir);
        if (folder == nullptr) {
            return;
        }
        while (const dirent* const entry = readdir(folder.get())) {
            const std::string_view name = entry->d_name;
            if (name.starts_with(prefix) &&
                (name.ends_with(".m") || name.ends_with(".e") || name.ends_with(".t"))) {
                Opened unused;
                OpenLive(std::string(kSharedFolder) + "/" + entry->d_name, unused);
            }
        }
    } catch (...) {
    }
}

} // namespace vxcio::sysu
