#include "platform/SystemVersion.h"

#include <cstdlib>

namespace vxcio {

namespace {

// This system is none whose versions the record could tell.
int GetVersion(SystemVersionRecord*) {
    return 0;
}

void ExitProcess(int code) {
    std::exit(code);
}

constinit SystemVersionTable g_table = {GetVersion, ExitProcess};

} // namespace

SystemVersionTable& SystemVersion() noexcept {
    return g_table;
}

} // namespace vxcio
