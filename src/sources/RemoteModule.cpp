#include "sources/RemoteModule.h"

#include "frame/Log.h"
#include "frame/ModuleValues.h"

#include <mutex>

namespace vxcio {

namespace {

constexpr const wchar_t* kModuleFile = L"\\QLRRemoteFileU.dll";
constexpr uint32 kAlteredSearchPath = 8;

// Nobody sees the module without its functions.
constinit std::mutex g_mutex;
constinit void* g_hRemoteFileModule = nullptr; // guarded by g_mutex, as the next two
constinit CreateQLRHttpFileFunction g_pfnCreateQLRHttpFile = nullptr;
constinit DeleteQLRHttpFileFunction g_pfnDeleteQLRHttpFile = nullptr;

} // namespace

bool LoadRemoteModule() noexcept {
    const std::lock_guard lock(g_mutex);
    if (g_hRemoteFileModule != nullptr) {
        return true;
    }
    const CVXCString path = CVXCString(Module().szModuleDirectory) + kModuleFile;
    void* const module = VXC_LoadModuleExW(path, 0, kAlteredSearchPath);
    if (module == nullptr) {
        LogError(L"Can't laod dll[%s]", path.c_str());
        return false;
    }
    g_hRemoteFileModule = module;
    g_pfnCreateQLRHttpFile =
        reinterpret_cast<CreateQLRHttpFileFunction>(VXC_GetFunction(module, "CreateQLRHttpFile"));
    g_pfnDeleteQLRHttpFile =
        reinterpret_cast<DeleteQLRHttpFileFunction>(VXC_GetFunction(module, "DeleteQLRHttpFile"));
    return true;
}

CQLRHttpFile* CreateRemoteFile() noexcept {
    CreateQLRHttpFileFunction create = nullptr;
    {
        const std::lock_guard lock(g_mutex);
        create = g_pfnCreateQLRHttpFile;
    }
    return create == nullptr ? nullptr : create();
}

void DeleteRemoteFile(CQLRHttpFile* file) noexcept {
    DeleteQLRHttpFileFunction release = nullptr;
    {
        const std::lock_guard lock(g_mutex);
        release = g_pfnDeleteQLRHttpFile;
    }
    if (release != nullptr) {
        release(file);
    }
}

void ForgetRemoteModule() noexcept {
    const std::lock_guard lock(g_mutex);
    g_hRemoteFileModule = nullptr;
    g_pfnCreateQLRHttpFile = nullptr;
    g_pfnDeleteQLRHttpFile = nullptr;
}

} // namespace vxcio
