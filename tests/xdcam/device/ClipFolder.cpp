#include "xdcam/device/ClipFolder.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace xdcam {

namespace fs = std::filesystem;

namespace {

std::string Whole(const std::string& at, const std::string& name) {
    return (fs::path(name.starts_with('/') ? "/" : at) / name).lexically_normal().string();
}

std::string Details(const fs::directory_entry& entry) {
    std::error_code failure;
    const bool isFolder = entry.is_directory(failure);
    const std::uintmax_t size = isFolder ? 0 : entry.file_size(failure);
    if (failure) {
        return {};
    }
    const auto changed = std::chrono::file_clock::to_sys(entry.last_write_time(failure));
    const std::time_t time =
        std::chrono::system_clock::to_time_t(std::chrono::time_point_cast<std::chrono::seconds>(changed));
    std::tm parts{};
    std::array<char, 32> date{};
    if (failure || ::gmtime_r(&time, &parts) == nullptr ||
        std::strftime(date.data(), date.size(), "%b %d  %Y", &parts) == 0) {
        return {};
    }
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%s 1 device device %15ju %s ",
                  isFolder ? "drwxr-xr-x" : "-rw-r--r--", size, date.data());
    return text.data();
}

} // namespace

ClipFolder::ClipFolder(const std::string& folder) {
    std::error_code failure;
    m_root = fs::canonical(folder, failure);
    if (failure || !fs::is_directory(m_root, failure)) {
        throw std::runtime_error(folder + ": no such folder");
    }
}

std::optional<fs::path> ClipFolder::Inside(const std::string& whole) const {
    if (whole.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    // Links may lead anywhere, and whatever leads out is not shown.
    std::error_code failure;
    const fs::path found = fs::canonical(m_root / fs::path(whole).relative_path(), failure);
    if (failure) {
        return std::nullopt;
    }
    const auto [end, ignored] = std::mismatch(m_root.begin(), m_root.end(), found.begin(), found.end());
    return end == m_root.end() ? std::optional(found) : std::nullopt;
}

std::optional<std::string> ClipFolder::Folder(const std::string& at, const std::string& name) const {
    std::string whole = Whole(at, name);
    while (whole.size() > 1 && whole.back() == '/') {
        whole.pop_back();
    }
    const std::optional<fs::path> found = Inside(whole);
    std::error_code failure;
    return found && fs::is_directory(*found, failure) ? std::optional(whole) : std::nullopt;
}

std::optional<fs::path> ClipFolder::File(const std::string& at, const std::string& name) const {
    const std::optional<fs::path> found = Inside(Whole(at, name));
    std::error_code failure;
    return found && fs::is_regular_file(*found, failure) ? found : std::nullopt;
}

std::shared_ptr<const MxfClip> ClipFolder::Clip(const fs::path& file) const {
    const std::uintmax_t size = fs::file_size(file);
    const fs::file_time_type changed = fs::last_write_time(file);
    const std::lock_guard lock(m_mutex);
    Known& known = m_clips[file];
    if (!known.clip || known.size != size || known.changed != changed) {
        known = {size, changed, nullptr};
        known.clip = std::make_shared<const MxfClip>(file.string());
    }
    return known.clip;
}

std::string ClipFolder::List(const std::string& folder, bool withDetails) const {
    std::vector<std::string> lines;
    std::error_code failure;
    if (const std::optional<fs::path> found = Inside(folder)) {
        for (const fs::directory_entry& entry : fs::directory_iterator(*found, failure)) {
            const std::string name = entry.path().filename().string();
            const std::string details = withDetails ? Details(entry) : std::string();
            if (Inside(folder + "/" + name) && (!withDetails || !details.empty())) {
                lines.push_back(details + name + "\r\n");
            }
        }
    }
    std::sort(lines.begin(), lines.end());
    std::string text;
    for (const std::string& line : lines) {
        text += line;
    }
    return text;
}

ClipFolder::Space ClipFolder::Disk() const {
    std::error_code failure;
    const fs::space_info info = fs::space(m_root, failure);
    return failure ? Space{0, 0} : Space{info.capacity, info.available};
}

} // namespace xdcam
