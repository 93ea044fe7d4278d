// CompanionModule.cpp - a companion module whose objects come from the test. Built whole, and once without
// each of its functions (VXC_WITHOUT_...).
#include "CompanionModule.h"

#define VXC_MODULE_API extern "C" __attribute__((visibility("default")))

namespace {

constinit vxcio::test::CompanionHooks g_hooks = {};

} // namespace

VXC_MODULE_API vxcio::test::CompanionHooks* Companion_Hooks() {
    return &g_hooks;
}

#if !defined(VXC_WITHOUT_CREATE)
VXC_MODULE_API CQLRHttpFile* CreateQLRHttpFile() {
    return g_hooks.create == nullptr ? nullptr : g_hooks.create();
}
#endif

#if !defined(VXC_WITHOUT_DELETE)
VXC_MODULE_API void DeleteQLRHttpFile(CQLRHttpFile* file) {
    g_hooks.release(file);
}
#endif
