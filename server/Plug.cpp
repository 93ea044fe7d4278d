#include "Plug.h"

#include "Report.h"
#include "frame/SystemLayer.h"

namespace vxcserver {

namespace {

template <class Function>
Function Find(void* module, const char* name) {
    return reinterpret_cast<Function>(VXC_GetFunction(module, name));
}

} // namespace

std::shared_ptr<Plug> Plug::Load(const wchar_t* path) {
    void* const module = *path == 0 ? nullptr : VXC_LoadModuleExW(path, 0, 0);
    if (module == nullptr) {
        ReportError(L"%s could not be loaded", path);
        return nullptr;
    }
    std::shared_ptr<Plug> plug(new Plug(module));
    plug->m_call = Find<PFN_VXC32PlugCall>(module, VXC32PLUG_CALL);
    plug->m_open = Find<PFN_VXC32PlugOpen>(module, VXC32PLUG_OPEN);
    plug->m_close = Find<PFN_VXC32PlugClose>(module, VXC32PLUG_CLOSE);
    if (plug->m_call == nullptr) {
        ReportError(L"%s is no plug-in: it has no %S", path, VXC32PLUG_CALL);
        return nullptr;
    }
    return plug;
}

Plug::~Plug() {
    VXC_CloseModule(m_module);
}

} // namespace vxcserver
