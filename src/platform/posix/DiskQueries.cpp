#include "platform/DiskQueries.h"

#include "frame/SystemLayer.h"
#include "platform/posix/SectorRule.h"
#include "sysu/HostControl.h"
#include "text/FoldCase.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <string_view>

namespace vxcio {

namespace {

constexpr std::size_t kWindowsRootLength = 3;

bool IsSeparator(wchar_t c) noexcept {
    return c == L'\\' || c == L'/';
}

bool IsShare(std::wstring_view path) noexcept {
    return path.starts_with(L"\\\\");
}

bool IsDrive(std::wstring_view path) noexcept {
    return path.size() >= kWindowsRootLength && IsAsciiLetter(path[0]) && path[1] == L':' &&
           IsSeparator(path[2]);
}

int GetDiskFreeSpace(const wchar_t* root, uint32* bytesPerSector) {
    if (root == nullptr || IsShare(root)) {
        return 0;
    }
    DiskFacts facts = {};
    const uint32 bytes = QueryDisk(root, &facts) == 0 ? 0 : SectorsToTell(facts);
    if (bytes == 0) {
        return 0;
    }
    *bytesPerSector = bytes;
    return 1;
}

uint32 GetDriveType(const wchar_t* root) {
    return VXC_GetDriveTypeW(root);
}

// The first three characters of a name on a drive or share; of any other name everything, from which the
// query finds the nearest folder.
int RootLength(const wchar_t* path) {
    if (path == nullptr) {
        return 0;
    }
    const std::wstring_view name(path);
    const std::size_t length =
        IsDrive(name) || IsShare(name) ? std::min(kWindowsRootLength, name.size()) : name.size();
    return static_cast<int>(std::min<std::size_t>(length, INT_MAX));
}

constinit DiskQueryTable g_table = {GetDiskFreeSpace, GetDriveType, RootLength};

} // namespace

DiskQueryTable& DiskQueries() noexcept {
    return g_table;
}

} // namespace vxcio
