// Which shares of other machines the drives and folders of this one lead to.
#include "frame/SystemLayer.h"
#include "sysu/HostControl.h"
#include "sysu/posix/MountTable.h"
#include "sysu/posix/NativeName.h"
#include "text/FoldCase.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

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

// As the mount table has it, without links; as it stands where it is not there.
std::string WithoutLinks(const std::string& folder) {
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(folder.c_str(), nullptr), &std::free);
    return real ? real.get() : folder;
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
    const std::vector<Mount> mounts = ReadMountTable();
    const std::string root = folder.path.substr(0, folder.rootLength);
    std::vector<std::string> parts = RemoteFolder(mounts, root);
    // Only now, as a share whose server is gone would make us wait.
    if (parts.empty()) {
        parts = RemoteFolder(mounts, WithoutLinks(root));
    }
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
    if (visit == nullptr) {
        return 0;
    }
    int calls = 0;
    try {
        for (const ShareMount& mount : MountedShares(ReadMountTable())) {
            ++calls;
            if (visit(context, ShareName(mount.parts).c_str(), FromUtf8(mount.point).c_str()) == 0) {
                break;
            }
        }
    } catch (...) {
        // what was told stays told
    }
    return calls;
}
