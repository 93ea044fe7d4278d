// MediumPathRules.h - what becomes of the name of a file before it is opened: whether a name of the form
// \\server\share is turned into the folder of this machine that the server shares there.
//
//   DVD*...  P2CLIPINFO*...  P2*...  XDCAM*...   stay as they are
//   LOCAL\rest                                   becomes rest, which is not converted further
//   with the setting NotCall_UNC2LOCAL at 0 or less, \\server\share\file becomes the local file where
//   one is known (NetPaths.h); all other names stay
//
// Any thread. The setting is read once and kept, but -1, which is read again each time.
#pragma once

#include "frame/Export.h"
#include "frame/VXCString.h"

// Copies what becomes of `path` with its terminating zero into `out`, which holds 1024 characters or, where a
// path and a folder of this machine together may be longer, as many as those have: its room is not known
// here. A null path is an empty one; a null `out` receives nothing. Always 1. May wait for the network.
VXCSOFTCODECIO_API int ConvertUNC2LocalPathName(const wchar_t* path, wchar_t* out);

namespace vxcio {

// The same as a string. Where memory lacks it is empty.
VXCSOFTCODECIO_API CVXCString ApplyMediumPathRules(const wchar_t* path) noexcept;

} // namespace vxcio
