// SystemName.h - which file of the system a name means. Any thread; looks at the disk and the settings, so it
// may block. Never throws.
#pragma once

#include "frame/Export.h"
#include "frame/Types.h"

namespace vxcio {

// The file that an open of `name` would open, whether it is there or not; nothing that lies behind links is
// looked up. The length of its name, which is cut to `characters` with its terminating zero. 0 where there is
// none, `file` is left alone then and *error receives the last-error number: 3 for an empty name and a drive
// that is mapped nowhere, 53 for a share.
VXCSOFTCODECSYSU_API int SystemFileName(const wchar_t* name, wchar_t* file, int characters,
                                        uint32* error) noexcept;

} // namespace vxcio
