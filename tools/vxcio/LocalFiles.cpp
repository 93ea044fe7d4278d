#include "LocalFiles.h"

#include <chrono>
#include <filesystem>
#include <system_error>

namespace vxcio::tool {

namespace {

namespace fs = std::filesystem;

// From the start of 1601 to that of 1970.
constexpr int64 kTicksTo1970 = 116'444'736'000'000'000;

LocalEntry EntryOf(const fs::path& path, const std::string& name) {
    LocalEntry entry;
    entry.name = name;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    entry.isFolder = status.type() == fs::file_type::directory;
    if (status.type() == fs::file_type::regular) {
        const std::uintmax_t size = fs::file_size(path, error);
        entry.size = error ? 0 : size;
    }
    const fs::file_time_type time = fs::last_write_time(path, error);
    if (!error) {
        const auto since = std::chrono::file_clock::to_sys(time).time_since_epoch();
        const auto ticks =
            std::chrono::duration_cast<std::chrono::duration<int64, std::ratio<1, 10'000'000>>>(since);
        entry.time = static_cast<uint64>(ticks.count() + kTicksTo1970);
    }
    return entry;
}

} // namespace

LocalListing ListLocal(const std::string& name) {
    LocalListing listing;
    std::error_code error;
    const fs::file_status status = fs::status(name, error);
    if (!fs::exists(status)) {
        listing.reason = error ? error.message() : "there is no such file or folder";
        return listing;
    }
    listing.isFolder = fs::is_directory(status);
    if (!listing.isFolder) {
        listing.entries.push_back(EntryOf(name, name));
        return listing;
    }
    for (fs::directory_iterator next(name, error), end; !error && next != end; next.increment(error)) {
        listing.entries.push_back(EntryOf(next->path(), next->path().filename().string()));
    }
    listing.reason = error ? error.message() : std::string();
    return listing;
}

std::string RenameLocal(const std::string& from, const std::string& to) {
    std::error_code error;
    fs::rename(from, to, error);
    return error ? error.message() : std::string();
}

std::string RemoveLocalFolder(const std::string& name) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(name, error);
    if (!fs::exists(status)) {
        return error ? error.message() : "there is no such folder";
    }
    if (!fs::is_directory(status)) {
        return "it is no folder";
    }
    fs::remove(name, error);
    return error ? error.message() : std::string();
}

} // namespace vxcio::tool
