#include "support/throwing/ThrowingLack.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constinit thread_local int t_left = 0; // allocations until the one that fails; 0: none fails

void* Take(std::size_t size) {
    void* const memory = t_left > 0 && --t_left == 0 ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

namespace vxcio::test {

ThrowingLack::ThrowingLack(int nth) noexcept {
    t_left = nth;
}

ThrowingLack::~ThrowingLack() {
    t_left = 0;
}

bool ThrowingLack::Came() const noexcept {
    return t_left == 0;
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
