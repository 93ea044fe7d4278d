#include "HttpLog.h"

#include "frame/SystemLayer.h"

namespace vxcio {

namespace {

constexpr const wchar_t* kModule = L"QLRRemoteFileU";
constexpr const wchar_t* kPath = L"Software\\Norvex";
constexpr const wchar_t* kSection = L"SoftCodec";
constexpr uint32 kDefaultTimeOut = 60000; // milliseconds
constexpr uint32 kLeastTimeOut = 1000;
constexpr int kTextCharacters = 4096;

void LogLine(INFOTYPE level, const char* text) noexcept {
    VXC_OutputW(kModule, level, L"%S", text);
}

} // namespace

void LogHttpError(const char* text) noexcept {
    LogLine(INFOTYPE_ERROR, text);
}

void LogHttpTrace(const char* text) noexcept {
    LogLine(INFOTYPE_TRACE, text);
}

std::chrono::milliseconds HttpTimeOut() noexcept {
    uint32 value = 0;
    const bool isSet = VXC_GetGlobalIntW(kPath, kSection, L"HttpTimeOut", &value, 1) != 0;
    return std::chrono::milliseconds(isSet && value >= kLeastTimeOut ? value : kDefaultTimeOut);
}

std::string HttpTextSetting(const wchar_t* name) {
    std::wstring text(kTextCharacters, L'\0');
    int size = kTextCharacters;
    if (VXC_GetGlobalStringW(kPath, kSection, name, text.data(), &size, 0) == 0) {
        return {};
    }
    return ToUtf8(text.c_str());
}

} // namespace vxcio
