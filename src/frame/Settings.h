// Settings.h - the settings that the library knows.
//
// A setting is an integer or a string of the settings store (docs/formats/settings.md), read where it is
// needed each time that code runs, unless its row says "at load".
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

namespace vxcio {

inline constexpr const wchar_t* kSettingsPath = L"Software\\Norvex";
inline constexpr const wchar_t* kSettingsSection = L"SoftCodec";

struct KnownSetting {
    const wchar_t* section; // whole path of the section
    const wchar_t* name;    // null: any name (a map)
    const wchar_t* defaultText;
    const wchar_t* meaning;
    int isNumber; // nonzero: a decimal or 0x number
};

// The table of all settings; *count receives its length. Lives as long as the process.
VXCSOFTCODECIO_API const KnownSetting* KnownSettings(int* count) noexcept;

} // namespace vxcio
