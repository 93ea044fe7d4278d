#include "sinks/EthernetDisks.h"

#include "frame/Settings.h"
#include "frame/SystemLayer.h"
#include "frame/VXCString.h"

#include <cwchar>

namespace vxcio {

namespace {

constexpr int kMostCharacters = 512;

std::wstring DiskArraySetting() {
    wchar_t text[kMostCharacters + 1] = {};
    int size = kMostCharacters + 1; // the closing zero counts
    if (VXC_GetGlobalStringW(kSettingsPath, L"EthernetDiskInfo", L"DiskArray", text, &size, 1) == 0) {
        return {};
    }
    return text;
}

} // namespace

std::vector<std::wstring> SplitDiskArray(std::wstring_view text) {
    std::vector<std::wstring> entries;
    std::wstring entry; // never cleared
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isLast = i + 1 == text.size();
        if (isLast || text[i] != L'*') {
            entry += text[i];
        }
        if (isLast || text[i] == L'*') {
            entries.push_back(entry);
        }
    }
    return entries;
}

bool IsOnEthernetDisk(const wchar_t* fileName) {
    const CVXCString name(fileName);
    for (const std::wstring& entry : SplitDiskArray(DiskArraySetting())) {
        if (name.Left(static_cast<int>(entry.size())).Compare(entry.c_str()) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace vxcio
