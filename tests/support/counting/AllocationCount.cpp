#include "support/counting/AllocationCount.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constinit std::atomic<bool> g_counts{false};
constinit std::atomic<int> g_taken{0};

void* Take(std::size_t size) {
    if (g_counts.load(std::memory_order_relaxed)) {
        ++g_taken;
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

namespace vxcio::test {

AllocationCount::AllocationCount() noexcept {
    g_taken = 0;
    g_counts = true;
}

AllocationCount::~AllocationCount() {
    g_counts = false;
}

int AllocationCount::Taken() const noexcept {
    return g_taken;
}

} // namespace vxcio::test

// In place of the standard library's own, for the whole program; its other forms stand on these.

void* operator new(std::size_t size) {
    return Take(size);
}

void* operator new[](std::size_t size) {
    return Take(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
