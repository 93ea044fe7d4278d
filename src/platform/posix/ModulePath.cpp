#include "platform/ModulePath.h"

#include "text/Utf8.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>

#include <dlfcn.h>
#include <link.h>

namespace vxcio {

namespace {

// An address of the file that this code lies in.
constinit char g_here = 0;

struct FreeDeleter {
    void operator()(char* memory) const noexcept { std::free(memory); }
};

// Name under which the loader knows the file; null for the program itself.
const char* LoadedName() noexcept {
    Dl_info info = {};
    void* extra = nullptr;
    if (dladdr1(&g_here, &info, &extra, RTLD_DL_LINKMAP) == 0 || extra == nullptr) {
        return nullptr;
    }
    const auto* const map = static_cast<const link_map*>(extra);
    return map->l_name == nullptr || *map->l_name == 0 ? nullptr : map->l_name;
}

int GetModulePath(wchar_t* path, int characters) {
    if (path == nullptr || characters <= 0) {
        return 0;
    }
    path[0] = 0;
    try {
        // The loader knows the program by the name it was called with, which may be relative to a folder
        // that was left since.
        const char* const loaded = LoadedName();
        const std::unique_ptr<char, FreeDeleter> whole(
            realpath(loaded == nullptr ? "/proc/self/exe" : loaded, nullptr));
        if (whole == nullptr) {
            return 0;
        }
        const std::wstring wide = FromUtf8(whole.get());
        const std::size_t length = std::min(wide.size(), static_cast<std::size_t>(characters) - 1);
        *std::copy_n(wide.data(), length, path) = 0;
        return static_cast<int>(length);
    } catch (...) {
        return 0;
    }
}

void PinModule() {
    const char* const loaded = LoadedName();
    if (loaded == nullptr) {
        return; // a program is never unloaded
    }
    // The mark stays when the handle goes.
    if (void* const handle = dlopen(loaded, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE)) {
        dlclose(handle);
    }
}

constinit ModulePathTable g_table = {GetModulePath, PinModule};

} // namespace

ModulePathTable& ModulePath() noexcept {
    return g_table;
}

} // namespace vxcio
