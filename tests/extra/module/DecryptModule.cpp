// DecryptModule.cpp - a decrypt module that adds a mode to each byte. Built whole, and once without each of
// its functions (VXC_WITHOUT_...), and with a constructor that fails (VXC_CONSTRUCT_FAILS).
#include "DecryptModule.h"

#include <cstring>

#define VXC_MODULE_API extern "C" __attribute__((visibility("default")))

namespace {

constinit DecryptModuleFacts g_facts = {};
constinit int g_object = 0;

} // namespace

VXC_MODULE_API const DecryptModuleFacts* DecryptModule_Facts() {
    return &g_facts;
}

#if !defined(VXC_WITHOUT_CONSTRUCT)
VXC_MODULE_API void* Construct_QlDeEncrypt() {
#if defined(VXC_CONSTRUCT_FAILS)
    return nullptr;
#else
    ++g_facts.objects;
    return &g_object;
#endif
}
#endif

#if !defined(VXC_WITHOUT_KEY)
VXC_MODULE_API int QlDeEncrypt_SetDecryptKey(void* object, const unsigned char* key, int length) {
    if (object != &g_object) {
        return 100;
    }
    g_facts.lastKeyLength = length;
    std::memcpy(g_facts.lastKey, key, sizeof g_facts.lastKey);
    return 11;
}
#endif

#if !defined(VXC_WITHOUT_MODE)
VXC_MODULE_API int QlDeEncrypt_SetDecryptMode(void* object, int mode) {
    if (object != &g_object) {
        return 100;
    }
    g_facts.lastMode = mode;
    return 12;
}
#endif

#if !defined(VXC_WITHOUT_PROCESS)
VXC_MODULE_API int QlDeEncrypt_Process(void* object, unsigned char* data, int length) {
    if (object != &g_object) {
        return 100;
    }
    for (int i = 0; i < length; ++i) {
        data[i] = static_cast<unsigned char>(data[i] + g_facts.lastMode);
    }
    return 13;
}
#endif

#if !defined(VXC_WITHOUT_CLOSE)
VXC_MODULE_API void QlDeEncrypt_Close(void* object) {
    if (object == &g_object) {
        ++g_facts.closed;
    }
}
#endif
