#include "sources/RemoteModule.h"

#include "frame/Log.h"
#include "frame/ModuleValues.h"
#include "text/WideFormat.h"

#include <iterator>
#include <mutex>

namespace vxcio {

namespace {

constexpr wchar_t kModuleFile[] = L"\\QLRRemoteFileU.dll";
constexpr uint32 kAlteredSearchPath = 8;

// Nobody sees the module without its functions.
constinit std::mutex g_mutex;
constinit void* g_hRemoteFileModule = nullptr; // guarded by g_mutex, as the next two
constinit CreateQLRHttpFileFunction g_pfnCreateQLRHttpFile = nullptr;
constinit DeleteQLRHttpFileFunction g_pfnDeleteQLRHttpFile = nullptr;

bool LoadOnce(const wchar_t* path) noexcept {
    const std::lock_guard lock(g_mutex);
    if (g_hRemoteFileModule != nullptr) {
        return true;
    }
    void* const module = VXC_LoadModuleExW(path, 0, kAlteredSearchPath);
    if (module == nullptr) {
        return false;
    }
    g_hRemoteFileModule = module;
    g_pfnCreateQLRHttpFile =
        reinterpret_cast<CreateQLRHttpFileFunction>(VXC_GetFunction(module, "CreateQLRHttpFile"));
    g_pfnDeleteQLRHttpFile =
        reinterpret_cast<DeleteQLRHttpFileFunction>(VXC_GetFunction(module, "DeleteQLRHttpFile"));
    return true;
}

} // namespace

bool LoadRemoteModule() noexcept {
    // Always the whole path, also where memory lacks: a module of that name elsewhere must not come in.
    wchar_t path[sizeof Module().szModuleDirectory / sizeof(wchar_t) + std::size(kModuleFile)];
    FormatWide(path, std::size(path), L"%s%s", Module().szModuleDirectory, kModuleFile);
    if (!LoadOnce(path)) {
        LogError(L"Can't laod dll[%s]", static_cast<const wchar_t*>(path));
        return false;
    }
    return true;
}

CQLRHttpFile* CreateRemoteFile() noexcept {
    CreateQLRHttpFileFunction create = nullptr;
    {
        const std::lock_guard lock(g_mutex);
        create = g_pfnCreateQLRHttpFile;
    }
    return create == nullptr ? nullptr : AskModule<CQLRHttpFile*>(nullptr, create);
}

void DeleteRemoteFile(CQLRHttpFile* file) noexcept {
    DeleteQLRHttpFileFunction release = nullptr;
    {
        const std::lock_guard lock(g_mutex);
        release = g_pfnDeleteQLRHttpFile;
    }
    if (release == nullptr) {
        delete file;
        return;
    }
    AskModule(0, [&] {
        release(file);
        return 0;
    });
}

void ForgetRemoteModule() noexcept {
    const std::lock_guard lock(g_mutex);
    g_hRemoteFileModule = nullptr;
    g_pfnCreateQLRHttpFile = nullptr;
    g_pfnDeleteQLRHttpFile = nullptr;
}

} // namespace vxcio
