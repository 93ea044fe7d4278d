#include "Plug.h"

#include "Report.h"
#include "frame/SystemLayer.h"

#include <utility>

namespace vxcserver {

namespace {

template <class Function>
Function Find(void* module, const char* name) {
    return reinterpret_cast<Function>(VXC_GetFunction(module, name));
}

} // namespace

void Plug::ModuleCloser::operator()(void* module) const {
    VXC_CloseModule(module);
}

std::shared_ptr<Plug> Plug::Load(const wchar_t* path) {
    Module module(*path == 0 ? nullptr : VXC_LoadModuleExW(path, 0, 0));
    if (module == nullptr) {
        ReportError(L"%s could not be loaded", path);
        return nullptr;
    }
    std::unique_ptr<Plug> plug(new Plug(std::move(module)));
    if (plug->m_call == nullptr) {
        ReportError(L"%s is no plug-in: it has no %S", path, VXC32PLUG_CALL);
        return nullptr;
    }
    return plug;
}

Plug::Plug(Module module)
    : m_module(std::move(module)), m_call(Find<PFN_VXC32PlugCall>(m_module.get(), VXC32PLUG_CALL)),
      m_open(Find<PFN_VXC32PlugOpen>(m_module.get(), VXC32PLUG_OPEN)),
      m_close(Find<PFN_VXC32PlugClose>(m_module.get(), VXC32PLUG_CLOSE)) {}

} // namespace vxcserver
