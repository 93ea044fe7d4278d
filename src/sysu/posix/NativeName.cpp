#include "sysu/posix/NativeName.h"

#include "frame/SystemLayer.h"
#include "sysu/posix/MountTable.h"
#include "text/FoldCase.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace vxcio::sysu {

namespace {

// One more than the longest path of the system, so that a folder that was cut is refused as too long.
constexpr int kMapCapacity = 4098;

bool IsSeparator(wchar_t c) {
    return c == L'\\' || c == L'/';
}

bool IsDriveName(std::wstring_view name) {
    return name.size() >= 3 && IsAsciiLetter(name[0]) && name[1] == L':' && IsSeparator(name[2]);
}

// The parts of a path below a drive or share, with "." and ".." resolved.
std::vector<std::string> ResolveParts(std::string_view path) {
    std::vector<std::string> parts;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find_first_of("\\/"), path.size());
        const std::string_view part = path.substr(0, end);
        path.remove_prefix(std::min(end + 1, path.size()));
        if (part == "..") {
            if (!parts.empty()) {
                parts.pop_back();
            }
        } else if (!part.empty() && part != ".") {
            parts.emplace_back(part);
        }
    }
    return parts;
}

// The folder of a key in a map of the settings, without a slash at its end except for "/"; empty when there
// is none. Only whole paths count: a relative one would move with the process's folder.
std::string MappedFolder(const wchar_t* map, const std::string& key) {
    wchar_t value[kMapCapacity] = {};
    int size = kMapCapacity;
    if (VXC_GetGlobalStringW(L"Software\\Norvex", map, FromUtf8(key).c_str(), value, &size, 0) == 0) {
        return {};
    }
    std::string folder = ToUtf8(value);
    if (folder.empty() || folder[0] != '/') {
        return {};
    }
    while (folder.size() > 1 && folder.back() == '/') {
        folder.pop_back();
    }
    return folder;
}

void AppendPart(std::string& path, std::string_view part) {
    if (path.empty() || path.back() != '/') {
        path += '/';
    }
    path += part;
}

NativeName Below(std::string folder, const std::vector<std::string>& parts, std::size_t first,
                 bool isFolderName) {
    NativeName native{std::move(folder), 0, 0};
    native.rootLength = native.path.size();
    for (std::size_t i = first; i < parts.size(); ++i) {
        AppendPart(native.path, parts[i]);
    }
    if (isFolderName) {
        AppendPart(native.path, {});
    }
    return native;
}

NativeName MapDrive(std::wstring_view name) {
    const std::string letter(1, static_cast<char>(AsciiUpper(name[0])));
    const std::string folder = MappedFolder(L"DriveMap", letter);
    if (folder.empty()) {
        return {{}, 0, VXC_ERROR_PATH_NOT_FOUND};
    }
    return Below(folder, ResolveParts(ToUtf8(name.substr(3))), 0, IsSeparator(name.back()));
}

struct ShareName {
    std::string server;
    std::string share;
    std::wstring_view rest;
};

// Takes \\server\share\... apart; false when it is no such name.
bool SplitShareName(std::wstring_view name, ShareName& split) {
    if (name.substr(0, 2) != L"\\\\") {
        return false;
    }
    name.remove_prefix(2);
    const std::size_t server = name.find_first_of(L"\\/");
    if (server == 0 || server == std::wstring_view::npos) {
        return false;
    }
    const std::size_t share = std::min(name.find_first_of(L"\\/", server + 1), name.size());
    split.server = ToUtf8(name.substr(0, server));
    split.share = ToUtf8(name.substr(server + 1, share - server - 1));
    split.rest = name.substr(share);
    const auto isFolder = [](const std::string& part) {
        return !part.empty() && part != "." && part != "..";
    };
    return isFolder(split.server) && isFolder(split.share);
}

NativeName MapShare(const ShareName& name) {
    const bool isFolderName = !name.rest.empty() && IsSeparator(name.rest.back());
    std::vector<std::string> parts = ResolveParts(ToUtf8(name.rest));
    std::string folder = MappedFolder(L"ShareMap", name.server + "\\" + name.share);
    if (!folder.empty()) {
        return Below(std::move(folder), parts, 0, isFolderName);
    }
    folder = MappedFolder(L"ShareMap", name.server);
    if (!folder.empty()) {
        AppendPart(folder, name.share);
        return Below(std::move(folder), parts, 0, isFolderName);
    }
    parts.insert(parts.begin(), {name.server, name.share});
    const std::vector<Mount> mounts = ReadMountTable();
    std::size_t used = 0;
    const Mount* mount = FindShareMount(mounts, parts, used);
    if (mount == nullptr) {
        return {{}, 0, VXC_ERROR_BAD_NETPATH};
    }
    return Below(mount->point, parts, used, isFolderName);
}

bool IsThere(const std::string& path) {
    struct stat facts {};
    return ::lstat(path.c_str(), &facts) == 0;
}

bool IsFolder(const std::string& path) {
    struct stat facts {};
    return ::stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

// The bytes of the longest beginning that `isKnown` takes, which is the whole path or ends before a
// backslash; npos when there is none.
template <class IsKnown>
std::size_t LongestBeginning(const std::string& path, IsKnown isKnown) {
    // What is longer than any path cannot be there.
    std::size_t known = std::min<std::size_t>(path.size(), PATH_MAX);
    while (known != std::string::npos && !isKnown(path.substr(0, known))) {
        known = known == 0 ? std::string::npos : path.rfind('\\', known - 1);
    }
    return known;
}

void SeparateFrom(std::string& path, std::size_t first) {
    std::replace(path.begin() + static_cast<std::ptrdiff_t>(first), path.end(), '\\', '/');
}

// Callers on other systems are used to names whose tail counts for nothing.
void DropTailOfMissingName(std::string& path) {
    if (path.empty() || (path.back() != ' ' && path.back() != '.')) {
        return;
    }
    struct stat facts {};
    if (::lstat(path.c_str(), &facts) == 0 || errno != ENOENT) {
        return;
    }
    const std::size_t slash = path.rfind('/');
    const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
    const std::size_t last = path.find_last_not_of(" .");
    if (last != std::string::npos && last >= start) {
        path.resize(last + 1);
    }
}

// Names that begin at the root, with one backslash. Where there is no such file in the current folder, each
// backslash separates.
bool MapRootedName(std::wstring_view name, NativeName& native) {
    if (name.size() < 2 || name[0] != L'\\' || name[1] == L'\\') {
        return false;
    }
    native.path = ToUtf8(name);
    if (!IsThere(native.path)) {
        SeparateFrom(native.path, 0);
    }
    return true;
}

// Maps the name of a drive or share, or one that begins at the root; false when it is none of them.
bool MapSpecialName(std::wstring_view name, NativeName& native) {
    ShareName share;
    if (name.empty()) {
        native = {{}, 0, VXC_ERROR_PATH_NOT_FOUND};
    } else if (IsDriveName(name)) {
        native = MapDrive(name);
    } else if (SplitShareName(name, share)) {
        native = MapShare(share);
    } else {
        return MapRootedName(name, native);
    }
    return true;
}

} // namespace

NativeName ToNativeName(const wchar_t* name) {
    const std::wstring_view text = name == nullptr ? std::wstring_view() : std::wstring_view(name);
    NativeName native;
    if (!MapSpecialName(text, native)) {
        native.path = ToUtf8(text);
    }
    DropTailOfMissingName(native.path);
    return native;
}

NativeName ToJoinedName(const wchar_t* name) {
    const std::wstring_view text = name == nullptr ? std::wstring_view() : std::wstring_view(name);
    NativeName native;
    if (!MapSpecialName(text, native)) {
        native.path = ToUtf8(text);
        if (!IsThere(native.path)) {
            const std::size_t folder = LongestBeginning(native.path, IsFolder);
            if (folder != std::string::npos) {
                SeparateFrom(native.path, folder);
            }
        }
    }
    DropTailOfMissingName(native.path);
    return native;
}

NativeName NativeModulePath(const wchar_t* name) {
    const std::wstring_view text = name == nullptr ? std::wstring_view() : std::wstring_view(name);
    NativeName native;
    if (!MapSpecialName(text, native)) {
        native.path = ToUtf8(text);
        const std::size_t known = LongestBeginning(native.path, IsThere);
        SeparateFrom(native.path, known == std::string::npos ? 0 : known);
    }
    DropTailOfMissingName(native.path);
    return native;
}

} // namespace vxcio::sysu
