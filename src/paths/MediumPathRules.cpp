#include "paths/MediumPathRules.h"

#include "frame/Log.h"
#include "frame/ReadSetting.h"
#include "paths/MediumPathState.h"
#include "paths/NetPaths.h"
#include "paths/PathTests.h"

#include <atomic>
#include <cwchar>

namespace vxcio {

namespace {

// Tried in this order; a name of a medium is nobody's share.
constexpr const wchar_t* kMedia[] = {L"DVD*", L"P2CLIPINFO*", L"P2*", L"XDCAM*"};
constexpr const wchar_t* kLocal = L"LOCAL\\";
constexpr int32 kNotRead = -1;
constexpr int32 kNoConversion = 1;

constinit std::atomic<int32> g_notCallUNC2LOCAL{kNotRead};

bool StartsWith(const CVXCString& path, const wchar_t* prefix) noexcept {
    return path.Left(static_cast<int>(std::wcslen(prefix))).Compare(prefix) == 0;
}

// The value is stored once it is known, so that no thread sees another one meanwhile.
int32 NotCallUNC2LOCAL() noexcept {
    int32 kept = g_notCallUNC2LOCAL.load(std::memory_order_relaxed);
    if (kept != kNotRead) {
        return kept;
    }
    auto value = static_cast<uint32>(kNoConversion);
    if (ReadSetting(L"NotCall_UNC2LOCAL", &value) != 0) {
        LogTrace(L"ConvertUNC2LocalPathName(), registry for NotCall_UNC2LOCAL = %d", value);
    } else {
        LogTrace(L"%s", L"Not set registry for ConvertUNC2LocalPathName()");
        value = static_cast<uint32>(kNoConversion);
    }
    kept = static_cast<int32>(value);
    g_notCallUNC2LOCAL.store(kept, std::memory_order_relaxed);
    return kept;
}

} // namespace

void ForgetMediumPathSetting() noexcept {
    g_notCallUNC2LOCAL.store(kNotRead, std::memory_order_relaxed);
}

CVXCString ApplyMediumPathRules(const wchar_t* path) noexcept {
    const CVXCString name(path);
    for (const wchar_t* const medium : kMedia) {
        if (StartsWith(name, medium)) {
            return name;
        }
    }
    if (StartsWith(name, kLocal)) {
        return name.Mid(static_cast<int>(std::wcslen(kLocal)));
    }
    if (NotCallUNC2LOCAL() >= kNoConversion || !IsUncPath(name)) {
        return name;
    }
    const CVXCString local = UNC2Local(name);
    return local.IsEmpty() ? name : local;
}

} // namespace vxcio

int ConvertUNC2LocalPathName(const wchar_t* path, wchar_t* out) {
    if (out != nullptr) {
        const CVXCString result = vxcio::ApplyMediumPathRules(path);
        std::wmemcpy(out, result.c_str(), static_cast<std::size_t>(result.GetLength()) + 1);
    }
    return 1;
}
