#include "support/MemoryLack.h"

#include <cstddef>
#include <new>

namespace {

constinit thread_local int t_left = 0; // allocations until the one that fails; 0: none fails

bool IsToFail() noexcept {
    return t_left > 0 && --t_left == 0;
}

} // namespace

namespace vxcio::test {

MemoryLack::MemoryLack(int nth) noexcept {
    t_left = nth;
}

MemoryLack::~MemoryLack() {
    t_left = 0;
}

bool MemoryLack::Came() const noexcept {
    return t_left == 0;
}

} // namespace vxcio::test

// In place of the standard library's own, for the whole program. They stand on the throwing forms as those
// do, so that a sanitizer sees memory of the kind it expects.

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return IsToFail() ? nullptr : ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return IsToFail() ? nullptr : ::operator new[](size);
    } catch (...) {
        return nullptr;
    }
}
