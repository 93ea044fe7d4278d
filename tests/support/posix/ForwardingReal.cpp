#include "support/ForwardingLayer.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace vxcio::test::real {

namespace {

[[noreturn]] void NoOperation(const char* name) {
    std::fprintf(stderr, "the system library has no operation %s\n", name);
    std::abort();
}

// The operation in the library, not this program's of the same name. The place that remembers it needs no
// construction, so that static objects of any file may call; two threads that ask at once find the same.
void* Find(std::atomic<void*>& place, const char* name) {
    void* found = place.load(std::memory_order_acquire);
    if (found == nullptr) {
        void* library = dlopen("libVXCSoftCodecSysU.so.3", RTLD_NOLOAD | RTLD_NOW);
        found = library == nullptr ? nullptr : dlsym(library, name);
        if (found == nullptr) {
            NoOperation(name);
        }
        dlclose(library); // the program itself keeps it loaded
        place.store(found, std::memory_order_release);
    }
    return found;
}

} // namespace

#define VXC_FORWARD(result, name, parameters, arguments)                                                     \
    result name parameters noexcept {                                                                        \
        static constinit std::atomic<void*> place{nullptr};                                                  \
        return reinterpret_cast<result(*) parameters>(Find(place, #name)) arguments;                         \
    }
#define VXC_OPERATION(result, name, failure, blocks, parameters, arguments)                                  \
    VXC_FORWARD(result, name, parameters, arguments)
#define VXC_OPERATION_VOID(name, blocks, parameters, arguments) VXC_FORWARD(void, name, parameters, arguments)
#include "frame/SystemLayer.def"
#undef VXC_OPERATION
#undef VXC_OPERATION_VOID
#undef VXC_FORWARD

} // namespace vxcio::test::real
