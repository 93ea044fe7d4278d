// Companion libraries. Their names are those of Windows, "QLRRemoteFileU.dll" behind a folder and a
// backslash; here the library of that name is called as libraries of this system are.
#include "frame/SystemLayer.h"
#include "sysu/LastError.h"
#include "sysu/LayerName.h"
#include "sysu/posix/NativeName.h"
#include "text/Utf8.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <string_view>

using namespace vxcio;

namespace {

bool EndsWithDll(std::string_view file) noexcept {
    if (file.size() <= 4) {
        return false;
    }
    const std::string_view end = file.substr(file.size() - 4);
    return end[0] == '.' && (end[1] | 0x20) == 'd' && (end[2] | 0x20) == 'l' && (end[3] | 0x20) == 'l';
}

// The loader opens whatever has the name, and would wait at a pipe for somebody to write to it.
bool IsNoFile(const std::string& name) noexcept {
    struct stat facts {};
    return stat(name.c_str(), &facts) == 0 && !S_ISREG(facts.st_mode);
}

// Keeps why a file that is there was not loaded; the loader's last word would be about the next name.
void* Load(const std::string& name, std::string& reason) {
    if (IsNoFile(name)) {
        return nullptr;
    }
    void* const module = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr && reason.empty() && access(name.c_str(), F_OK) == 0) {
        const char* const text = dlerror();
        reason = text == nullptr ? name : text;
    }
    return module;
}

void* LoadByAnyName(const std::string& path, std::string& reason) {
    const std::size_t slash = path.rfind('/');
    const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
    const std::string folder = path.substr(0, start);
    std::string file = path.substr(start);
    if (file.empty()) {
        return nullptr; // a folder; and an empty name would mean the program itself
    }
    void* module = nullptr;
    // A name without an ending means a library too.
    if (EndsWithDll(file) || file.find('.') == std::string::npos) {
        const std::string stem = EndsWithDll(file) ? file.substr(0, file.size() - 4) : file;
        module = Load(folder + stem + ".so", reason);
        if (module == nullptr) {
            module = Load(folder + "lib" + stem + ".so", reason);
        }
    }
    return module != nullptr ? module : Load(path, reason);
}

} // namespace

void* VXC_LoadModuleExW(const wchar_t* path, int /*reserved*/, uint32 /*flags*/) noexcept {
    try {
        const sysu::NativeName native = sysu::NativeModulePath(path);
        if (native.error != 0) {
            sysu::SetLastError(native.error);
            return nullptr;
        }
        std::string reason;
        void* const module = LoadByAnyName(native.path, reason);
        if (module == nullptr) {
            if (!reason.empty()) {
                VXC_OutputW(sysu::kLayerName, INFOTYPE_TRACE, L"VXC_LoadModuleExW(%s) failed: %S", path,
                            reason.c_str());
            }
            sysu::SetLastError(VXC_ERROR_MOD_NOT_FOUND);
        }
        return module;
    } catch (...) {
        sysu::SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

void* VXC_GetFunction(void* module, const char* name) noexcept {
    // Without a module, the system would look through the whole program.
    void* const function = module == nullptr || name == nullptr ? nullptr : dlsym(module, name);
    if (function == nullptr) {
        sysu::SetLastError(VXC_ERROR_PROC_NOT_FOUND);
    }
    return function;
}

void VXC_CloseModule(void* module) noexcept {
    if (module != nullptr) {
        dlclose(module);
    }
}
