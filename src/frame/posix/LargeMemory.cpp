#include "frame/LargeMemory.h"

#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

namespace vxcio {

namespace {

// Whole pages; 0 when they do not fit.
std::size_t PagesFor(std::size_t size) noexcept {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return size > SIZE_MAX - kLargeMemory - page ? 0 : (size + page - 1) / page * page;
}

} // namespace

uint8* LargeAlloc(std::size_t size) noexcept {
    const std::size_t used = PagesFor(size);
    if (used == 0) {
        return nullptr;
    }
    // The system begins at any page; so much more is asked for that a good beginning lies in it.
    const std::size_t asked = used + kLargeMemory;
    void* const mapped = ::mmap(nullptr, asked, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) {
        return nullptr;
    }
    auto* const first = static_cast<uint8*>(mapped);
    const std::size_t beyond = reinterpret_cast<std::uintptr_t>(first) % kLargeMemory;
    const std::size_t before = beyond == 0 ? 0 : kLargeMemory - beyond;
    uint8* const memory = first + before;
    if (before > 0) {
        ::munmap(first, before);
    }
    ::munmap(memory + used, kLargeMemory - before);
    if (::madvise(memory, used, MADV_HUGEPAGE) != 0) {
        ::munmap(memory, used);
        return nullptr;
    }
    return memory;
}

void LargeFree(uint8* memory, std::size_t size) noexcept {
    if (memory != nullptr) {
        ::munmap(memory, PagesFor(size));
    }
}

} // namespace vxcio
