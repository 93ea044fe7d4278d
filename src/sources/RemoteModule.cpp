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

struct RemoteModule {
    void* handle = nullptr;
    CreateQLRHttpFileFunction create = nullptr;
    DeleteQLRHttpFileFunction release = nullptr;
};

// Nobody sees the module without its functions. Never held over a call of the system layer: that logs, and a
// host may open a URL in the function that receives its log.
constinit std::mutex g_mutex;
constinit RemoteModule g_module; // guarded by g_mutex

RemoteModule PresentModule() noexcept {
    const std::lock_guard lock(g_mutex);
    return g_module;
}

bool LoadOnce(const wchar_t* path) noexcept {
    if (PresentModule().handle != nullptr) {
        return true;
    }
    RemoteModule fresh;
    fresh.handle = VXC_LoadModuleExW(path, 0, kAlteredSearchPath);
    if (fresh.handle == nullptr) {
        return false;
    }
    fresh.create =
        reinterpret_cast<CreateQLRHttpFileFunction>(VXC_GetFunction(fresh.handle, "CreateQLRHttpFile"));
    fresh.release =
        reinterpret_cast<DeleteQLRHttpFileFunction>(VXC_GetFunction(fresh.handle, "DeleteQLRHttpFile"));
    {
        const std::lock_guard lock(g_mutex);
        if (g_module.handle == nullptr) {
            g_module = fresh;
            return true;
        }
    }
    VXC_CloseModule(fresh.handle); // somebody else was faster; it stays loaded by him
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
    const CreateQLRHttpFileFunction create = PresentModule().create;
    return create == nullptr ? nullptr : AskModule<CQLRHttpFile*>(nullptr, create);
}

void DeleteRemoteFile(CQLRHttpFile* file) noexcept {
    const DeleteQLRHttpFileFunction release = PresentModule().release;
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
    g_module = {};
}

} // namespace vxcio
