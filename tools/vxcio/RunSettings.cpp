#include "RunSettings.h"

#include "Text.h"

#include "sysu/HostControl.h"

#include <string_view>

namespace vxcio::tool {

namespace {

constexpr std::string_view kSection = "Software\\Norvex\\SoftCodec";

int Append(void* context, const wchar_t* section, const wchar_t* name, const wchar_t* value, SettingsFile) {
    auto& text = *static_cast<std::string*>(context);
    text += '[' + Narrow(section) + "]\n" + Narrow(name) + " = " + Narrow(value) + '\n';
    return 1;
}

} // namespace

bool IsTimeOutSet() {
    wchar_t value[32] = {};
    return ReadSettingText(Widen(kSection).c_str(), L"HandleTimeOut", value, 32, nullptr) > 0;
}

std::string SettingsWithTimeOut(uint32 milliseconds, std::optional<uint32> ftpMilliseconds) {
    std::string text;
    VisitSettings(&Append, &text);
    // Where a value stands twice, the last one counts.
    const std::string number = std::to_string(milliseconds);
    text += '[' + std::string(kSection) + "]\nHandleTimeOut = " + number +
            "\nWriteHandleTimeOut = " + number + '\n';
    if (ftpMilliseconds) {
        const std::string server = std::to_string(*ftpMilliseconds);
        text += "FtpTimeOut = " + server + "\nHttpTimeOut = " + server + '\n';
    }
    return text;
}

} // namespace vxcio::tool
