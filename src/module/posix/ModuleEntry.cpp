// The hooks that the loader calls when the shared library comes and goes.
#include "module/Attach.h"

namespace {

__attribute__((constructor)) void OnLoad() {
    vxcio::ModuleAttach();
}

__attribute__((destructor)) void OnUnload() {
    vxcio::ModuleDetach();
}

} // namespace
