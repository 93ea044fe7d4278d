// CompanionModule.h - what the tests tell their companion module, which has no objects of its own.
#pragma once

#include "sources/RemoteFile.h"

namespace vxcio::test {

struct CompanionHooks {
    CQLRHttpFile* (*create)();
    void (*release)(CQLRHttpFile* file);
};

} // namespace vxcio::test

// "Companion_Hooks" of the module: it calls what stands there.
using CompanionHooksFunction = vxcio::test::CompanionHooks* (*)();
