#include "sysu/posix/MountTable.h"

#include "text/FoldCase.h"
#include "text/Utf8.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <optional>
#include <utility>

namespace vxcio::sysu {

namespace {

// Takes the text up to `separator`, which goes too.
std::string_view TakeUntil(std::string_view& text, char separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return part;
}

template <class Number>
bool ReadNumber(std::string_view text, Number& number) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc{} && result.ptr == text.data() + text.size();
}

bool IsOctal(char c) {
    return c >= '0' && c <= '7';
}

// Blanks, tabs, line ends and backslashes stand as a backslash and three octal digits.
std::string Unescape(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && text.size() - i >= 4 && IsOctal(text[i + 1]) && IsOctal(text[i + 2]) &&
            IsOctal(text[i + 3])) {
            out +=
                static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
            i += 3;
        } else {
            out += text[i];
        }
    }
    return out;
}

std::optional<Mount> ParseLine(std::string_view line) {
    Mount mount{};
    const std::string_view id = TakeUntil(line, ' ');
    TakeUntil(line, ' '); // the mount above
    std::string_view device = TakeUntil(line, ' ');
    const std::string_view major = TakeUntil(device, ':');
    if (!ReadNumber(id, mount.id) || !ReadNumber(major, mount.major) || !ReadNumber(device, mount.minor)) {
        return std::nullopt;
    }
    mount.root = Unescape(TakeUntil(line, ' '));
    mount.point = Unescape(TakeUntil(line, ' '));
    // The options, then any number of tags up to a single dash.
    while (!line.empty() && TakeUntil(line, ' ') != "-") {
    }
    mount.fileSystem = Unescape(TakeUntil(line, ' '));
    mount.source = Unescape(TakeUntil(line, ' '));
    if (mount.point.empty() || mount.fileSystem.empty()) {
        return std::nullopt;
    }
    return mount;
}

void AppendParts(std::vector<std::string>& parts, std::string_view path) {
    while (!path.empty()) {
        const std::string_view part = TakeUntil(path, '/');
        if (!part.empty()) {
            parts.emplace_back(part);
        }
    }
}

// What of the path lies behind the folder, with its slash; nothing where it does not lie in it.
std::optional<std::string_view> PartBelow(std::string_view path, std::string_view folder) {
    if (folder.ends_with('/')) {
        folder.remove_suffix(1);
    }
    if (!path.starts_with(folder) || (path.size() > folder.size() && path[folder.size()] != '/')) {
        return std::nullopt;
    }
    return path.substr(folder.size());
}

// Whether they make a name of a share.
bool IsShare(const std::vector<std::string>& parts) {
    return parts.size() >= 2 && std::none_of(parts.begin(), parts.end(), [](const std::string& part) {
               return part.find('\\') != std::string::npos;
           });
}

bool IsSameIgnoringCase(const std::string& left, const std::string& right) {
    return EqualsFolded(FromUtf8(left), FromUtf8(right));
}

} // namespace

std::vector<Mount> ParseMountTable(std::string_view text) {
    std::vector<Mount> mounts;
    while (!text.empty()) {
        if (std::optional<Mount> mount = ParseLine(TakeUntil(text, '\n'))) {
            mounts.push_back(std::move(*mount));
        }
    }
    return mounts;
}

std::vector<Mount> ReadMountTable() {
    std::ifstream file("/proc/self/mountinfo", std::ios::binary);
    return ParseMountTable(std::string(std::istreambuf_iterator<char>(file), {}));
}

std::vector<std::string> RemoteParts(const Mount& mount) {
    std::vector<std::string> parts;
    if (mount.fileSystem == "cifs" || mount.fileSystem == "smb3") {
        std::string source = mount.source;
        std::replace(source.begin(), source.end(), '\\', '/');
        AppendParts(parts, source);
        // A source that names a folder below the share already tells what the root does.
        if (parts.size() == 2) {
            AppendParts(parts, mount.root);
        }
    } else if (mount.fileSystem == "nfs" || mount.fileSystem == "nfs4") {
        const std::size_t colon = mount.source.find(":/");
        if (colon != std::string::npos) {
            parts.push_back(mount.source.substr(0, colon));
            AppendParts(parts, std::string_view(mount.source).substr(colon + 1));
        }
    }
    return parts;
}

const Mount* FindShareMount(const std::vector<Mount>& mounts, const std::vector<std::string>& parts,
                            std::size_t& partsUsed) {
    const Mount* found = nullptr;
    std::size_t depth = 1;
    for (const Mount& mount : mounts) {
        const std::vector<std::string> remote = RemoteParts(mount);
        if (remote.size() >= depth && remote.size() <= parts.size() &&
            std::equal(remote.begin(), remote.end(), parts.begin(), IsSameIgnoringCase)) {
            found = &mount;
            depth = remote.size();
        }
    }
    partsUsed = found == nullptr ? 0 : depth;
    return found;
}

std::vector<std::string> RemoteFolder(const std::vector<Mount>& mounts, std::string_view folder) {
    const Mount* deepest = nullptr;
    for (const Mount& mount : mounts) {
        if (PartBelow(folder, mount.point) &&
            (deepest == nullptr || mount.point.size() >= deepest->point.size())) {
            deepest = &mount;
        }
    }
    std::vector<std::string> parts = deepest == nullptr ? std::vector<std::string>() : RemoteParts(*deepest);
    if (parts.size() < 2) {
        return {}; // what is below would make a share of a server alone
    }
    AppendParts(parts, *PartBelow(folder, deepest->point));
    return IsShare(parts) ? parts : std::vector<std::string>();
}

std::vector<ShareMount> MountedShares(const std::vector<Mount>& mounts) {
    std::vector<ShareMount> shares;
    for (auto mount = mounts.begin(); mount != mounts.end(); ++mount) {
        std::vector<std::string> parts = RemoteParts(*mount);
        const auto isOverIt = [&](const Mount& later) { return later.point == mount->point; };
        if (IsShare(parts) && std::none_of(mount + 1, mounts.end(), isOverIt)) {
            shares.push_back({std::move(parts), mount->point});
        }
    }
    return shares;
}

} // namespace vxcio::sysu
