// Plug.h - a module that was loaded for a host.
#pragma once

#include "bridge/VXC32Plug.h"
#include "frame/Types.h"

#include <memory>

namespace vxcserver {

// Unloaded at its end: whoever calls into it holds it.
class Plug {
public:
    // Null where there is no such module, or it is no plug-in; the log tells why.
    static std::shared_ptr<Plug> Load(const wchar_t* path);
    ~Plug();
    Plug(const Plug&) = delete;
    Plug& operator=(const Plug&) = delete;

    // The plug-in's own functions; the latter two do nothing where it has none. They may throw what the
    // plug-in throws.
    int Call(void* instance, uint32 command, const wchar_t* commandString, CVXCSerialize& request,
             CVXCSerialize& reply) const {
        return m_call(instance, command, commandString, request, reply);
    }
    void* Open(uint64 plugHandle, const wchar_t* channelId) const {
        return m_open == nullptr ? nullptr : m_open(plugHandle, channelId);
    }
    void Close(void* instance) const {
        if (m_close != nullptr) {
            m_close(instance);
        }
    }

private:
    explicit Plug(void* module) : m_module(module) {}

    void* const m_module;
    PFN_VXC32PlugCall m_call = nullptr;
    PFN_VXC32PlugOpen m_open = nullptr;
    PFN_VXC32PlugClose m_close = nullptr;
};

} // namespace vxcserver
