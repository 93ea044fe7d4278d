#include "platform/Process.h"

#include "sysu/NamedObjects.h"

#include <cstdint>
#include <cstdlib>

namespace vxcio {

namespace {

// The handle is the number of the process: there is nothing to close here.
void* Start(const wchar_t* commandLine) {
    uint32 process = 0;
    return StartProgram(commandLine, &process) == 0
               ? nullptr
               : reinterpret_cast<void*>(static_cast<std::uintptr_t>(process));
}

void CloseProcess(void* /*process*/) {}

constinit ProcessTable g_table = {ProcessNumber, ThreadNumber, Start, CloseProcess, std::rand};

} // namespace

ProcessTable& Process() noexcept {
    return g_table;
}

} // namespace vxcio
