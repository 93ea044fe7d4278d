#include "Report.h"

#include "sysu/HostControl.h"

#include <cstdio>

namespace vxcserver {

namespace {

void Write(void* /*context*/, INFOTYPE /*level*/, const wchar_t* module, const wchar_t* text) {
    // One call, so that lines of several threads stay whole.
    std::fprintf(stderr, "VXC32ServU: %ls: %ls\n", module, text);
}

} // namespace

void BeginReports() noexcept {
    vxcio::SetLogReceiver(Write, nullptr, INFOTYPE_ERROR);
}

} // namespace vxcserver
