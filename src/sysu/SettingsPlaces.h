// SettingsPlaces.h - other places for both settings files at once. Not installed: hosts name one file
// (HostControl.h); tests also look at how the two stand to each other.
#pragma once

#include "frame/Export.h"

namespace vxcio::sysu {

// From now on these two are the machine's and the user's settings file; an empty name means that there is
// none. As in the standard places, writing makes missing folders. UseSettingsFile ends it. 1, or 0 when
// memory lacks.
VXCSOFTCODECSYSU_API int UseSettingsPlaces(const wchar_t* machineFile, const wchar_t* userFile) noexcept;

} // namespace vxcio::sysu
