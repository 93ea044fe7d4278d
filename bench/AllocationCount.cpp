// Takes the place of the operators that all other forms of new and delete end in.
#include "AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<uint64> g_nCount{0};

} // namespace

uint64 bench::Allocations() {
    return g_nCount.load(std::memory_order_relaxed);
}

void* operator new(std::size_t bytes) {
    g_nCount.fetch_add(1, std::memory_order_relaxed);
    void* const memory = std::malloc(bytes != 0 ? bytes : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*bytes*/) noexcept {
    std::free(memory);
}
