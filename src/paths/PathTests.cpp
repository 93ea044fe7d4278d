#include "paths/PathTests.h"

#include "frame/VXCString.h"

#include <cwchar>

namespace vxcio {

namespace {
constexpr const wchar_t* kLocalPrefix = L"LOCAL\\";
constexpr int kLocalPrefixLength = 6;
} // namespace

bool IsUncPath(const wchar_t* path) noexcept {
    if (path == nullptr) {
        return false;
    }
    return std::wcsstr(path, L"\\\\") != nullptr ||
           CVXCString(path).Left(kLocalPrefixLength).Compare(kLocalPrefix) == 0;
}

bool IsPlainLocalPath(const wchar_t* path) noexcept {
    return !IsUncPath(path);
}

} // namespace vxcio
