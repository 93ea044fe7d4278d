// Which shares of other machines the drives and folders of this one lead to.
#include "frame/SystemLayer.h"
#include "sysu/HostControl.h"
#include "sysu/posix/MountTable.h"
#include "sysu/posix/NativeName.h"
#include "text/FoldCase.h"
#include "text/Utf8.h"

#include <algorithm>
#include <string_view>

using namespace vxcio;
using namespace vxcio::sysu;

namespace {

constexpr int kNameCharacters = 4098; // one more than the longest path of the system

std::wstring ShareName(const std::vector<std::string>& parts) {
    std::wstring name = L"\\";
    for (const std::string& part : parts) {
        name += L'\\' + FromUtf8(part);
    }
    return name;
}

// What of the path lies behind the folder; null data where it does not lie in it.
std::string_view PartBelow(std::string_view path, std::string_view folder) noexcept {
    if (folder == "/") {
        return path;
    }
    if (!path.starts_with(folder) || (path.size() > folder.size() && path[folder.size()] != '/')) {
        return {};
    }
    return path.substr(folder.size());
}

// The share that is shown in a folder, with what of it the folder is; empty where it lies on none.
std::vector<std::string> ShareOfFolder(const std::string& folder) {
    const std::vector<Mount> mounts = ReadMountTable();
    const Mount* deepest = nullptr;
    for (const Mount& mount : mounts) {
        const bool holds = PartBelow(folder, mount.point).data() != nullptr;
        if (holds && (deepest == nullptr || mount.point.size() >= deepest->point.size())) {
            deepest = &mount;
        }
    }
    std::vector<std::string> parts = deepest == nullptr ? std::vector<std::string>() : RemoteParts(*deepest);
    if (parts.size() < 2) {
        return {};
    }
    std::string_view rest = PartBelow(folder, deepest->point);
    while (!rest.empty()) {
        rest.remove_prefix(1);
        const std::string_view part = rest.substr(0, rest.find('/'));
        rest.remove_prefix(part.size());
        if (!part.empty()) {
            parts.emplace_back(part);
        }
    }
    return parts;
}

std::wstring ShareOfDrive(wchar_t letter) {
    if (!IsAsciiLetter(letter)) {
        return {};
    }
    const wchar_t key[] = {AsciiUpper(letter), 0};
    std::wstring value(kNameCharacters, L'\0');
    int size = kNameCharacters;
    if (VXC_GetGlobalStringW(L"Software\\Norvex", L"DriveRemote", key, value.data(), &size, 0) != 0 &&
        value[0] != 0) {
        return value.c_str();
    }
    const NativeName folder = ToNativeName((std::wstring(key) + L":\\").c_str());
    if (folder.error != 0) {
        return {};
    }
    const std::vector<std::string> parts = ShareOfFolder(folder.path.substr(0, folder.rootLength));
    return parts.empty() ? std::wstring() : ShareName(parts);
}

} // namespace

int vxcio::DriveShareName(wchar_t letter, wchar_t* name, int characters) noexcept {
    if (name == nullptr || characters <= 0) {
        return 0;
    }
    try {
        const std::wstring share = ShareOfDrive(letter);
        const std::size_t length = std::min(share.size(), static_cast<std::size_t>(characters) - 1);
        if (length != 0) {
            *std::copy_n(share.data(), length, name) = 0;
        }
        return static_cast<int>(length);
    } catch (...) {
        return 0;
    }
}

int vxcio::VisitShareMounts(ShareMountVisitor visit, void* context) noexcept {
    int calls = 0;
    try {
        for (const Mount& mount : ReadMountTable()) {
            const std::vector<std::string> parts = RemoteParts(mount);
            if (parts.size() < 2) {
                continue;
            }
            ++calls;
            if (visit(context, ShareName(parts).c_str(), FromUtf8(mount.point).c_str()) == 0) {
                break;
            }
        }
    } catch (...) {
        // what was told stays told
    }
    return calls;
}
