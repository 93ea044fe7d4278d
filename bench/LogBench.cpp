// What a log call costs when nobody listens, beside a call that does nothing.
#include "frame/SystemLayer.h"

#include <benchmark/benchmark.h>

namespace {

__attribute__((noinline)) void Nothing(const wchar_t* /*module*/, INFOTYPE /*level*/,
                                       const wchar_t* /*format*/, ...) {
    asm volatile(""); // keeps the call
}

void EmptyCall(benchmark::State& state) {
    int number = 0;
    for (auto _ : state) {
        Nothing(L"VXCSoftCodecIO", INFOTYPE_TRACE, L"read %d of %s", ++number, L"clip.mxf");
    }
}
BENCHMARK(EmptyCall)->Name("UnreadLogCall/empty_call");

void UnreadLogCall(benchmark::State& state) {
    int number = 0;
    for (auto _ : state) {
        VXC_OutputW(L"VXCSoftCodecIO", INFOTYPE_TRACE, L"read %d of %s", ++number, L"clip.mxf");
    }
}
BENCHMARK(UnreadLogCall)->Name("UnreadLogCall/library");

} // namespace
