// EntryProbe.cpp - with the loader's hooks of the real library, a library that only counts what they call.
#include "EntryProbe.h"

#include "module/Attach.h"

namespace {

constinit EntryProbeCounts g_early = {};
constinit EntryProbeCounts* g_counts = &g_early;

} // namespace

namespace vxcio {

void ModuleAttach() noexcept {
    ++g_counts->attached;
}

void ModuleDetach() noexcept {
    ++g_counts->detached;
}

} // namespace vxcio

extern "C" __attribute__((visibility("default"))) void EntryProbe_Keep(EntryProbeCounts* counts) {
    *counts = g_early;
    g_counts = counts;
}
