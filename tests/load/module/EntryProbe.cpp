// EntryProbe.cpp - with the loader's hooks of the real library, a library that only counts what they call.
#include "EntryProbe.h"

#include "module/Attach.h"
#include "paths/NetPathExchange.h"

#include <cstring>

namespace {

constinit EntryProbeCounts g_early = {};
constinit EntryProbeCounts* g_counts = &g_early;

void Note(char step) noexcept {
    const std::size_t length = std::strlen(g_counts->order);
    if (length + 1 < sizeof g_counts->order) {
        g_counts->order[length] = step;
    }
}

} // namespace

namespace vxcio {

void ModuleAttach() noexcept {
    ++g_counts->attached;
    Note('M');
}

void ModuleDetach() noexcept {
    ++g_counts->detached;
    Note('m');
}

void NetPathAttach() noexcept {
    Note('T');
}

void NetPathDetach() noexcept {
    Note('t');
}

} // namespace vxcio

extern "C" __attribute__((visibility("default"))) void EntryProbe_Keep(EntryProbeCounts* counts) {
    *counts = g_early;
    g_counts = counts;
}
