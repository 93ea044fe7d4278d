// The hooks that the loader calls when the shared library comes and goes.
#include "module/Attach.h"
#include "paths/NetPathExchange.h"

namespace {

__attribute__((constructor)) void OnLoad() {
    vxcio::NetPathAttach();
    vxcio::ModuleAttach();
}

__attribute__((destructor)) void OnUnload() {
    vxcio::ModuleDetach();
    vxcio::NetPathDetach();
}

} // namespace
