// Where Samba's configuration is read from.
#include "platform/posix/SambaShares.h"

#include "frame/Settings.h"
#include "frame/SystemLayer.h"
#include "text/Utf8.h"

#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>

#include <sys/stat.h>

namespace vxcio {

namespace {

constexpr const char* kStandardFile = "/etc/samba/smb.conf";
constexpr const char* kStandardUserShares = "/var/lib/samba/usershares";
constexpr std::size_t kLargestFile = 1 << 20; // bytes; more is no configuration
constexpr std::size_t kMostUserShares = 10000;

// A whole file; nothing where there is none. Only files: a pipe would not end.
std::optional<std::string> ReadFile(const std::string& name) {
    struct stat facts {};
    if (::stat(name.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) {
        return std::nullopt;
    }
    std::ifstream file(name, std::ios::binary);
    std::string text(std::min(kLargestFile, static_cast<std::size_t>(facts.st_size)), '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
    return text;
}

std::string ConfigurationFile() {
    wchar_t name[PATH_MAX] = {};
    int size = PATH_MAX;
    if (VXC_GetGlobalStringW(kSettingsPath, kSettingsSection, L"SambaConfiguration", name, &size, 0) == 0 ||
        name[0] == 0) {
        return kStandardFile;
    }
    return ToUtf8(name);
}

void AddUserShares(SambaConfiguration& configuration) {
    const std::string folder =
        configuration.usershareFolder.empty() ? kStandardUserShares : configuration.usershareFolder;
    std::vector<std::string> files;
    std::error_code error;
    for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end;
         at.increment(error)) {
        if (files.size() == kMostUserShares) {
            break;
        }
        files.push_back(at->path().filename().string());
    }
    std::sort(files.begin(), files.end());
    for (const std::string& file : files) {
        const std::optional<std::string> text = ReadFile(folder + "/" + file);
        if (auto share = text ? ParseUserShare(file, *text) : std::nullopt) {
            configuration.shares.push_back(std::move(*share));
        }
    }
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

struct Kept {
    std::mutex mutex;
    // Guarded by mutex.
    bool isRead = false;
    std::string file;
    Stamp stamp;
    std::shared_ptr<const SambaConfiguration> configuration;
};

// Never destroyed, as threads may ask while the process ends.
Kept& TheKept() {
    static Kept* const kept = new Kept;
    return *kept;
}

} // namespace

SambaConfiguration OwnSamba() {
    const std::string file = ConfigurationFile();
    const Stamp stamp = StampOf(file); // of before the reading: what changes meanwhile is read again
    Kept& kept = TheKept();
    {
        const std::lock_guard lock(kept.mutex);
        if (kept.isRead && kept.file == file && kept.stamp == stamp) {
            return *kept.configuration;
        }
    }
    auto configuration = std::make_shared<SambaConfiguration>();
    if (const std::optional<std::string> text = ReadFile(file)) {
        *configuration = ParseSamba(*text, ReadFile);
        AddUserShares(*configuration);
    }
    const std::lock_guard lock(kept.mutex);
    kept.isRead = true;
    kept.file = file;
    kept.stamp = stamp;
    kept.configuration = configuration;
    return *configuration;
}

} // namespace vxcio
