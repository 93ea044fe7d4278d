// Where Samba's configuration is read from.
#include "platform/posix/SambaShares.h"

#include "frame/Log.h"
#include "frame/Settings.h"
#include "frame/SystemLayer.h"
#include "sysu/posix/Descriptor.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <filesystem>
#include <mutex>

#include <fcntl.h>
#include <sys/stat.h>

namespace vxcio {

namespace {

constexpr const char* kStandardFile = "/etc/samba/smb.conf";
constexpr const char* kStandardUserShares = "/var/lib/samba/usershares";
constexpr std::size_t kLargestFile = 1 << 20;       // bytes; more is no configuration
constexpr std::size_t kLargestUserShare = 10 << 10; // more is none that Samba takes
constexpr std::size_t kMostUserShares = 10000;
constexpr int kNameCharacters = PATH_MAX + 2; // so that a name that was cut is too long
constexpr time_t kCoarsestStep = 2;           // seconds; file systems date changes by steps of up to that

enum class FileState {
    Absent,
    Good,
    NoText,     // a folder, a pipe, or too large
    Unreadable, // the system refuses
};

struct FileText {
    FileState state = FileState::Absent;
    std::string text; // only when Good
};

FileText ReadText(const std::string& name, std::size_t limit) {
    // Without O_NONBLOCK a pipe of that name would hold us for ever.
    const sysu::Descriptor file(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.Get() < 0) {
        return {errno == ENOENT || errno == ENOTDIR ? FileState::Absent
                : errno == ENXIO                    ? FileState::NoText
                                                    : FileState::Unreadable,
                {}};
    }
    struct stat facts {};
    if (::fstat(file.Get(), &facts) != 0 || !S_ISREG(facts.st_mode)) {
        return {FileState::NoText, {}};
    }
    // To the end that it has then: it may grow meanwhile, and what is cut in the middle of a line would lead
    // somewhere else.
    std::string text;
    std::size_t filled = 0;
    for (;;) {
        text.resize(std::min(limit + 1, std::max<std::size_t>(filled * 2, 4096)));
        const ssize_t got = ::read(file.Get(), text.data() + filled, text.size() - filled);
        if (got < 0 && errno != EINTR) {
            return {FileState::Unreadable, {}};
        }
        filled += got > 0 ? static_cast<std::size_t>(got) : 0;
        if (filled > limit) {
            return {FileState::NoText, {}};
        }
        if (got == 0) {
            break;
        }
    }
    text.resize(filled);
    return {FileState::Good, std::move(text)};
}

std::optional<std::string> ReadIncludedFile(const std::string& name) {
    // A relative name would move with the process's folder.
    if (!name.starts_with('/')) {
        return std::nullopt;
    }
    FileText file = ReadText(name, kLargestFile);
    return file.state == FileState::Good ? std::optional(std::move(file.text)) : std::nullopt;
}

std::vector<SambaShare> ReadUserShares(const std::string& ownFolder) {
    const std::string folder = ownFolder.empty() ? kStandardUserShares : ownFolder;
    std::vector<std::string> files;
    std::error_code error;
    for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end;
         at.increment(error)) {
        if (files.size() == kMostUserShares) {
            break;
        }
        std::string file = at->path().filename().string();
        // No name of a share begins so, but that of one that is just being made.
        if (!file.starts_with(':')) {
            files.push_back(std::move(file));
        }
    }
    std::sort(files.begin(), files.end());
    std::vector<SambaShare> shares;
    for (const std::string& file : files) {
        const FileText content = ReadText(folder + "/" + file, kLargestUserShare);
        if (content.state != FileState::Good) {
            continue;
        }
        if (auto share = ParseUserShare(file, content.text)) {
            shares.push_back(std::move(*share));
        }
    }
    return shares;
}

// What tells that a file is still the one that was read.
struct Stamp {
    dev_t device = 0;
    ino_t identity = 0;
    off_t size = -1; // no file
    timespec changed{};

    bool operator==(const Stamp& other) const noexcept {
        return device == other.device && identity == other.identity && size == other.size &&
               changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
    }
};

Stamp StampOf(const std::string& file) noexcept {
    struct stat facts {};
    if (::stat(file.c_str(), &facts) != 0) {
        return {};
    }
    return {facts.st_dev, facts.st_ino, facts.st_size, facts.st_mtim};
}

// Such a file may change once more without a new stamp.
bool IsYoung(const Stamp& stamp) noexcept {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return stamp.size >= 0 && stamp.changed.tv_sec + kCoarsestStep >= now.tv_sec;
}

struct Kept {
    bool isRead = false;
    bool isSettled = false; // holds as long as the stamp does
    std::string file;
    Stamp stamp;
    FileState state = FileState::Absent;
    std::shared_ptr<const SambaConfiguration> configuration;
};

struct Keeper {
    std::mutex mutex;
    Kept kept; // guarded by mutex
};

// Never destroyed, as threads may ask while the process ends.
Keeper& TheKeeper() {
    static Keeper* const keeper = new Keeper;
    return *keeper;
}

// Says of a new file what is wrong with it.
void Note(const std::string& file, FileState state, std::size_t skippedLines) {
    const std::wstring name = FromUtf8(file);
    if (state == FileState::NoText) {
        LogError(L"Samba's configuration %s is no text of at most %d bytes, ignored", name.c_str(),
                 static_cast<int>(kLargestFile));
    } else if (state == FileState::Unreadable) {
        LogError(L"Samba's configuration %s cannot be read, ignored", name.c_str());
    } else if (state == FileState::Absent && file != kStandardFile) {
        LogError(L"Samba's configuration %s is not there", name.c_str());
    } else if (skippedLines != 0) {
        LogError(L"Samba's configuration %s has %d lines that say nothing, ignored", name.c_str(),
                 static_cast<int>(skippedLines));
    }
}

} // namespace

std::string OwnSambaFile() {
    std::wstring name(kNameCharacters, L'\0');
    int size = kNameCharacters;
    if (VXC_GetGlobalStringW(kSettingsPath, kSettingsSection, L"SambaConfiguration", name.data(), &size, 0) ==
            0 ||
        name[0] == 0) {
        return kStandardFile;
    }
    return ToUtf8(name.c_str());
}

std::shared_ptr<const SambaConfiguration> OwnSamba() {
    Kept fresh;
    fresh.file = OwnSambaFile();
    fresh.stamp = StampOf(fresh.file); // of before the reading: what changes meanwhile is read again
    Keeper& keeper = TheKeeper();
    {
        const std::lock_guard lock(keeper.mutex);
        const Kept& kept = keeper.kept;
        if (kept.isRead && kept.isSettled && kept.file == fresh.file && kept.stamp == fresh.stamp) {
            return kept.configuration;
        }
    }
    const FileText content = ReadText(fresh.file, kLargestFile);
    auto configuration = std::make_shared<SambaConfiguration>();
    if (content.state == FileState::Good) {
        // A lambda: a std::function that holds a function of standard types would export their names.
        *configuration =
            ParseSamba(content.text, [](const std::string& file) { return ReadIncludedFile(file); });
        AddUserShares(*configuration, ReadUserShares(configuration->usershareFolder));
    }
    fresh.isRead = true;
    fresh.state = content.state;
    fresh.configuration = configuration;
    // A new mode gives no new stamp.
    fresh.isSettled = content.state != FileState::Unreadable && !IsYoung(fresh.stamp);
    bool isNews = false;
    {
        const std::lock_guard lock(keeper.mutex);
        Kept& kept = keeper.kept;
        isNews = !kept.isRead || kept.file != fresh.file || !(kept.stamp == fresh.stamp) ||
                 kept.state != fresh.state;
        kept = fresh;
    }
    if (isNews) {
        Note(fresh.file, fresh.state, configuration->skippedLines);
    }
    return configuration;
}

} // namespace vxcio
