#include "frame/ModuleValues.h"

namespace vxcio {

namespace {
// Constant-initialised and trivially destroyed: there before the first and after the last thread.
constinit ModuleValues g_values;
} // namespace

ModuleValues& Module() noexcept {
    return g_values;
}

} // namespace vxcio
