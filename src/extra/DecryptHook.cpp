#include "extra/DecryptHook.h"

#include "frame/Log.h"
#include "frame/ModuleValues.h"
#include "text/WideFormat.h"

#include <iterator>
#include <memory>
#include <new>

namespace vxcio {

namespace {

constexpr wchar_t kModuleFile[] = L"\\VXCDeEncrypt.dll";
constexpr uint32 kLoadFlags = 8; // look for what the module needs beside the module itself

template <class Function>
bool Find(void* module, const char* name, Function& function) noexcept {
    function = reinterpret_cast<Function>(VXC_GetFunction(module, name));
    if (function == nullptr) {
        LogError(L"The decrypt module has no %S", name);
    }
    return function != nullptr;
}

} // namespace

DecryptHook* DecryptHook::Load() noexcept {
    std::unique_ptr<DecryptHook> hook(new (std::nothrow) DecryptHook);
    if (hook == nullptr) {
        return nullptr;
    }
    // Always the whole path: a module of the same name elsewhere must not come in.
    wchar_t path[sizeof Module().szModuleDirectory / sizeof(wchar_t) + std::size(kModuleFile)];
    FormatWide(path, std::size(path), L"%s%s", Module().szModuleDirectory, kModuleFile);
    hook->m_hModule = VXC_LoadModuleExW(path, 0, kLoadFlags);
    if (hook->m_hModule == nullptr) {
        VXCMSGW(kModuleName, L"Can't find Encrypt Module---QLDeEncryptD.dll!!!!!!\n");
        return nullptr;
    }
    if (hook->FindFunctions()) {
        hook->m_pObject = hook->m_pfnConstruct();
        if (hook->m_pObject == nullptr) {
            LogError(L"%s", L"The decrypt module gives no object");
        }
    }
    if (hook->m_pObject == nullptr) {
        VXC_CloseModule(hook->m_hModule);
        return nullptr;
    }
    return hook.release();
}

bool DecryptHook::FindFunctions() noexcept {
    return Find(m_hModule, "Construct_QlDeEncrypt", m_pfnConstruct) &&
           Find(m_hModule, "QlDeEncrypt_SetDecryptKey", m_pfnSetDecryptKey) &&
           Find(m_hModule, "QlDeEncrypt_SetDecryptMode", m_pfnSetDecryptMode) &&
           Find(m_hModule, "QlDeEncrypt_Process", m_pfnProcess) &&
           Find(m_hModule, "QlDeEncrypt_Close", m_pfnClose);
}

void DecryptHook::Unload() noexcept {
    m_pfnClose(m_pObject);
    VXC_CloseModule(m_hModule);
}

} // namespace vxcio
