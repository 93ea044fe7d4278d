#include "../Start.h"

#include "sysu/HostControl.h"

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace vxcio::tool {

namespace {

constexpr const char* kModule = "libvxcio_verbs.so";

// The module lies beside the system layer, wherever the two were put.
std::string ModuleName() {
    Dl_info layer{};
    if (::dladdr(reinterpret_cast<const void*>(&UseSettingsFile), &layer) == 0 ||
        layer.dli_fname == nullptr) {
        return kModule;
    }
    const std::string name = layer.dli_fname;
    return name.substr(0, name.rfind('/') + 1) + kModule;
}

// A settings file that no folder knows and that ends with its scope, or with the process where it is kept.
class PassingSettings {
public:
    explicit PassingSettings(const std::string& text)
        : m_descriptor(::memfd_create("settings", MFD_CLOEXEC)) {
        if (m_descriptor >= 0 &&
            ::write(m_descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size())) {
            const std::wstring name = L"/proc/self/fd/" + std::to_wstring(m_descriptor);
            m_inUse = UseSettingsFile(name.c_str()) != 0 && ::access("/proc/self/fd", X_OK) == 0;
        }
    }
    ~PassingSettings() {
        if (m_isKept) {
            return;
        }
        UseSettingsFile(nullptr);
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    PassingSettings(const PassingSettings&) = delete;
    PassingSettings& operator=(const PassingSettings&) = delete;

    bool IsInUse() const { return m_inUse; }
    void Keep() { m_isKept = true; }

private:
    const int m_descriptor;
    bool m_inUse = false;
    bool m_isKept = false;
};

RunVerb Load(std::string& reason) {
    void* const module = ::dlopen(ModuleName().c_str(), RTLD_NOW); // for good: its threads may outlive main
    void* const entry = module == nullptr ? nullptr : ::dlsym(module, kRunVerbName);
    if (entry == nullptr) {
        reason = ::dlerror();
        return nullptr;
    }
    return reinterpret_cast<RunVerb>(entry);
}

} // namespace

RunVerb LoadVerbs(const std::string& settings, bool keep, std::string& reason) {
    if (settings.empty()) {
        return Load(reason);
    }
    PassingSettings passing(settings);
    if (!passing.IsInUse()) {
        reason = std::string("the settings of this run cannot be set: ") + std::strerror(errno);
        return nullptr;
    }
    const RunVerb run = Load(reason);
    if (keep) {
        passing.Keep();
    }
    return run;
}

} // namespace vxcio::tool
