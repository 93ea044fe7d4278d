// ModulePath.h - where the library's own file lies, behind a table that tests replace; and how the library
// stays in memory for threads that may never end.
#pragma once

#include "frame/Types.h"

namespace vxcio {

struct ModulePathTable {
    // Whole path of the file this code was loaded from (the program where linked statically), cut to
    // `characters` with its terminating zero. The length; 0 on failure.
    int (*getModulePath)(wchar_t* path, int characters);
    // Keeps the library in memory until the process ends.
    void (*pinModule)();
};

ModulePathTable& ModulePath() noexcept;

} // namespace vxcio
