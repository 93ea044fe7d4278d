// ReadSetting.h - how the library's own code reads its settings.
#pragma once

#include "frame/Settings.h"
#include "frame/SystemLayer.h"

namespace vxcio {

// One integer of the section "SoftCodec". Nonzero when it exists; otherwise value is left alone.
inline int ReadSetting(const wchar_t* name, uint32* value) noexcept {
    return VXC_GetGlobalIntW(kSettingsPath, kSettingsSection, name, value, 1);
}

} // namespace vxcio
