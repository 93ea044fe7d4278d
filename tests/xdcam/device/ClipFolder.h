// ClipFolder.h - what a device shows of a folder.
#pragma once

#include "xdcam/device/MxfStretch.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace xdcam {

// Names are those of the protocol, with '/' for the folder itself; relative ones begin at `at`. No name leads
// out of the folder. Any thread may call.
class ClipFolder {
public:
    // Throws std::runtime_error where it is not there.
    explicit ClipFolder(const std::string& folder);

    // The whole name of a folder in it; none where that is not there.
    std::optional<std::string> Folder(const std::string& at, const std::string& name) const;
    // A file in it; none where that is not there.
    std::optional<std::filesystem::path> File(const std::string& at, const std::string& name) const;
    // The clip in a file. Throws as MxfClip does.
    std::shared_ptr<const MxfClip> Clip(const std::filesystem::path& file) const;

    // One line for each entry of a folder, as `ls -l` writes them or the names alone.
    std::string List(const std::string& folder, bool withDetails) const;

    struct Space {
        std::uint64_t total;
        std::uint64_t free;
    };
    Space Disk() const;

private:
    std::optional<std::filesystem::path> Inside(const std::string& whole) const;

    struct Known {
        std::uintmax_t size;
        std::filesystem::file_time_type changed;
        std::shared_ptr<const MxfClip> clip;
    };

    std::filesystem::path m_root;
    mutable std::mutex m_mutex;
    mutable std::map<std::filesystem::path, Known> m_clips; // guarded by m_mutex
};

} // namespace xdcam
