// Attach.h - what happens when the library is loaded and unloaded. The loader's hooks call these; neither
// can fail.
#pragma once

namespace vxcio {

// Finds the module directory, reads the settings of the file handles and limits the system's file cache.
void ModuleAttach() noexcept;

// Gives the limit of the file cache back.
void ModuleDetach() noexcept;

} // namespace vxcio
