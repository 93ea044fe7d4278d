#include "sysu/posix/SharedName.h"

#include "frame/PlatformTypes.h"
#include "sysu/LastError.h"
#include "sysu/posix/Descriptor.h"
#include "text/Utf8.h"

#include <atomic>
#include <cerrno>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace vxcio::sysu {

namespace {

constexpr const char* kFolder = "/dev/shm";
constexpr mode_t kOwnerOnly = 0600;

// An encoded name longer than this keeps its beginning, and a digest of the whole stands for the rest: file
// names end at 255 bytes.
constexpr std::size_t kLongestName = 180;
constexpr std::size_t kKeptBeginning = 140;

// The guard is held for microseconds. Who was stopped within must not stop the others for good.
constexpr int kGuardTries = 2000;
constexpr long kGuardPause = 1'000'000; // nanoseconds

std::string Prefix() {
    return "vxc." + std::to_string(geteuid()) + ".";
}

bool IsPlain(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-' || c == '.';
}

uint64 Fnv1a(std::string_view bytes) noexcept {
    uint64 hash = 0xCBF29CE484222325u;
    for (const char c : bytes) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
    }
    return hash;
}

void AppendHex(std::string& text, uint64 value, int digits) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    for (int i = digits - 1; i >= 0; --i) {
        text += kDigits[static_cast<std::size_t>((value >> (4 * i)) & 15)];
    }
}

std::string Encoded(const wchar_t* name) {
    std::string encoded;
    for (const char c : ToUtf8(name == nullptr ? L"" : name)) {
        if (IsPlain(c)) {
            encoded += c;
        } else {
            encoded += '%';
            AppendHex(encoded, static_cast<unsigned char>(c), 2);
        }
    }
    if (encoded.size() > kLongestName) {
        std::string cut = encoded.substr(0, kKeptBeginning) + "%";
        AppendHex(cut, Fnv1a(encoded), 16);
        // Two names with one digest would still have to have one length.
        return cut + "%" + std::to_string(encoded.size());
    }
    return encoded;
}

// 0, or an error of the system, for a file that may be trusted: an ordinary one of this user's alone.
int CheckOwned(int descriptor, struct stat& facts) noexcept {
    if (fstat(descriptor, &facts) != 0) {
        return errno;
    }
    const bool owned = S_ISREG(facts.st_mode) && facts.st_uid == geteuid() && (facts.st_mode & 077) == 0;
    return owned ? 0 : EACCES;
}

int OpenFile(const std::string& path, int flags) noexcept {
    return open(path.c_str(), flags | O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, kOwnerOnly);
}

// The guard, held from construction on where error is 0.
class Guard {
public:
    Guard() : m_file(OpenFile(std::string(kFolder) + "/" + Prefix() + "guard", O_CREAT)) {
        struct stat facts {};
        m_error = m_file.Get() < 0 ? errno : CheckOwned(m_file.Get(), facts);
        for (int tries = 0; m_error == 0 && flock(m_file.Get(), LOCK_EX | LOCK_NB) != 0; ++tries) {
            if (errno != EWOULDBLOCK && errno != EINTR) {
                m_error = errno;
            } else if (tries == kGuardTries) {
                m_error = ETIMEDOUT;
            } else {
                const timespec pause = {0, kGuardPause};
                nanosleep(&pause, nullptr);
            }
        }
    }
    int Error() const noexcept { return m_error; }

private:
    Descriptor m_file; // closing it lets go of the lock
    int m_error = 0;
};

std::optional<SharedFile> Failed(int systemError) noexcept {
    SetLastSystemError(systemError);
    return std::nullopt;
}

int ShareLock(int descriptor) noexcept {
    while (flock(descriptor, LOCK_SH | LOCK_NB) != 0) {
        if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

bool IsAlive(int descriptor) noexcept {
    int result = 0;
    do {
        result = flock(descriptor, LOCK_EX | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    return result != 0;
}

// Opens what lives under the path; what is stale goes. ENOENT where nothing is left. Under the guard.
int OpenLive(const std::string& path, Descriptor& into, uint64& bytes) noexcept {
    Descriptor file(OpenFile(path, 0));
    if (file.Get() < 0) {
        return errno == ELOOP ? EACCES : errno;
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
    bytes = static_cast<uint64>(facts.st_size);
    into.Reset(file.Take());
    return 0;
}

int MakeNew(const std::string& path, uint64 bytes, bool (*begin)(int descriptor), Descriptor& into) noexcept {
    Descriptor file(OpenFile(path, O_CREAT | O_EXCL));
    if (file.Get() < 0) {
        return errno;
    }
    int error = 0;
    do {
        // All of it now: a store to memory that is not there would end the process.
        error = posix_fallocate(file.Get(), 0, static_cast<off_t>(bytes));
    } while (error == EINTR);
    if (error == 0 && begin != nullptr && !begin(file.Get())) {
        error = EIO;
    }
    if (error == 0) {
        error = ShareLock(file.Get());
    }
    if (error != 0) {
        unlink(path.c_str());
        return error;
    }
    into.Reset(file.Take());
    return 0;
}

} // namespace

std::string SharedPath(const wchar_t* name, SharedKind kind) {
    return std::string(kFolder) + "/" + Prefix() + Encoded(name) + "." + static_cast<char>(kind);
}

std::optional<SharedFile> CreateShared(const wchar_t* name, SharedKind kind, uint64 bytes,
                                       bool (*begin)(int descriptor)) {
    static std::atomic<bool> s_swept{false};
    if (!s_swept.exchange(true)) {
        SweepShared();
    }
    std::string path = SharedPath(name, kind);
    const Guard guard;
    if (guard.Error() != 0) {
        return Failed(guard.Error());
    }
    Descriptor descriptor;
    uint64 length = 0;
    int error = OpenLive(path, descriptor, length);
    const bool existed = error == 0;
    if (error == ENOENT) {
        error = MakeNew(path, bytes, begin, descriptor);
        length = bytes;
    }
    if (error != 0) {
        return Failed(error);
    }
    return SharedFile(std::move(path), descriptor.Take(), length, existed);
}

std::optional<SharedFile> OpenShared(const wchar_t* name, SharedKind kind) {
    std::string path = SharedPath(name, kind);
    const Guard guard;
    if (guard.Error() != 0) {
        return Failed(guard.Error());
    }
    Descriptor descriptor;
    uint64 length = 0;
    if (const int error = OpenLive(path, descriptor, length); error != 0) {
        return Failed(error);
    }
    return SharedFile(std::move(path), descriptor.Take(), length, true);
}

SharedFile::~SharedFile() {
    if (m_descriptor.Get() < 0) {
        return;
    }
    try {
        const Guard guard;
        // Without the guard it stays, for the next one who meets it.
        if (guard.Error() == 0 && !IsAlive(m_descriptor.Get())) {
            unlink(path.c_str());
        }
        m_descriptor.Close(); // under the guard, so that of two who leave together one is the last
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
        const std::string prefix = Prefix();
        const Guard guard;
        DIR* const folder = guard.Error() == 0 ? opendir(kFolder) : nullptr;
        if (folder == nullptr) {
            return;
        }
        while (const dirent* const entry = readdir(folder)) {
            const std::string_view name = entry->d_name;
            if (name.starts_with(prefix) && (name.ends_with(".m") || name.ends_with(".e"))) {
                Descriptor unused;
                uint64 bytes = 0;
                OpenLive(std::string(kFolder) + "/" + entry->d_name, unused, bytes);
            }
        }
        closedir(folder);
    } catch (...) {
    }
}

} // namespace vxcio::sysu
