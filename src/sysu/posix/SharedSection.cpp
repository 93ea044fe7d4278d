// Sections: memory that processes share by name.
#include "frame/PlatformTypes.h"
#include "sysu/LastError.h"
#include "sysu/NamedObjects.h"
#include "sysu/posix/SharedName.h"
#include "sysu/posix/WithMemory.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

using namespace vxcio::sysu;

namespace vxcio {

namespace {

// A handle and its views share one opening of the file, so that the name lives while one of them does.
using Section = std::shared_ptr<const SharedFile>;

struct View {
    Section section;
    std::size_t bytes = 0; // mapped, with the zeros behind the section
};

struct Registry {
    std::mutex mutex;
    std::uintptr_t lastHandle = 0;
    std::map<std::uintptr_t, Section> handles;
    std::map<void*, View> views;
};

// Never destroyed: threads may come here until the process is gone.
Registry& TheRegistry() {
    static Registry* const registry = new Registry;
    return *registry;
}

// Handles are numbers that are not given out again soon, and never the address of a page or of an event.
constexpr std::uintptr_t kHandleStep = 8;
constexpr std::uintptr_t kHandleMark = 4;

void* Register(std::optional<SharedFile>&& file) {
    if (!file.has_value()) {
        return nullptr;
    }
    auto section = std::make_shared<const SharedFile>(std::move(*file));
    Registry& registry = TheRegistry();
    const std::lock_guard lock(registry.mutex);
    std::uintptr_t handle = 0;
    do {
        handle = (registry.lastHandle += kHandleStep) + kHandleMark;
    } while (registry.handles.contains(handle)); // numbers of 32 bits come round
    registry.handles.emplace(handle, std::move(section));
    return reinterpret_cast<void*>(handle);
}

// 0 where so much cannot be addressed.
std::size_t WholePages(uint64 bytes) noexcept {
    const auto page = static_cast<uint64>(sysconf(_SC_PAGESIZE));
    const uint64 whole = (bytes + page - 1) / page * page;
    return whole > SIZE_MAX / 2 ? 0 : static_cast<std::size_t>(whole);
}

void* MapFile(int descriptor, void* address, std::size_t bytes, int flags) noexcept {
    void* const view = mmap(address, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | flags, descriptor, 0);
    return view == MAP_FAILED ? nullptr : view;
}

// The file, and zeros behind it; null where memory lacks.
void* MapWithTail(int descriptor, std::size_t fileBytes, std::size_t bytes) noexcept {
    void* const whole =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (whole == MAP_FAILED) {
        return nullptr;
    }
    void* const view = MapFile(descriptor, whole, fileBytes, MAP_FIXED);
    if (view == nullptr) {
        munmap(whole, bytes);
    }
    return view;
}

// The section of a handle; none with last error 6 for what is no handle.
Section SectionOf(void* handle) noexcept {
    Registry& registry = TheRegistry();
    const std::lock_guard lock(registry.mutex);
    const auto found = registry.handles.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found == registry.handles.end()) {
        SetLastError(VXC_ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return found->second;
}

void* Map(const Section& section, uint32 least, uint64* bytes) {
    const std::size_t fileBytes = WholePages(section->bytes);
    if (fileBytes == 0) {
        SetLastError(section->bytes == 0 ? VXC_ERROR_INVALID_PARAMETER : VXC_ERROR_NOT_ENOUGH_MEMORY);
        if (section->bytes == 0 && bytes != nullptr) {
            *bytes = 0;
        }
        return nullptr;
    }
    View view{section, fileBytes};
    void* address = nullptr;
    if (const std::size_t wanted = WholePages(least); wanted > fileBytes) {
        address = MapWithTail(section->Descriptor(), fileBytes, wanted);
        if (address != nullptr) {
            view.bytes = wanted;
        }
    }
    if (address == nullptr) {
        address = MapFile(section->Descriptor(), nullptr, fileBytes, 0);
    }
    if (address == nullptr) {
        SetLastSystemError(errno);
        return nullptr;
    }
    try {
        Registry& registry = TheRegistry();
        const std::lock_guard lock(registry.mutex);
        registry.views.emplace(address, view);
    } catch (...) {
        munmap(address, view.bytes);
        throw;
    }
    if (bytes != nullptr) {
        *bytes = section->bytes;
    }
    return address;
}

// Takes an entry out of a map of the registry, under its lock. Nothing, with the last error, where there is
// none.
template <class Entries, class Key>
typename Entries::mapped_type TakeOut(Entries Registry::*entries, Key key, uint32 error) noexcept {
    Registry& registry = TheRegistry();
    const std::lock_guard lock(registry.mutex);
    const auto found = (registry.*entries).find(key);
    if (found == (registry.*entries).end()) {
        SetLastError(error);
        return {};
    }
    auto entry = std::move(found->second);
    (registry.*entries).erase(found);
    return entry;
}

} // namespace

void* CreateNamedSection(const wchar_t* name, uint32 bytes, int* existed) noexcept {
    if (existed != nullptr) {
        *existed = 0;
    }
    if (bytes == 0) {
        SetLastError(VXC_ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return WithMemory([&] {
        std::optional<SharedFile> file = CreateShared(name, SharedKind::Section, bytes, nullptr);
        const bool there = file.has_value() && file->existed;
        void* const handle = Register(std::move(file));
        if (handle != nullptr) {
            SetLastError(there ? VXC_ERROR_ALREADY_EXISTS : VXC_ERROR_SUCCESS);
            if (existed != nullptr) {
                *existed = there ? 1 : 0;
            }
        }
        return handle;
    });
}

void* OpenNamedSection(const wchar_t* name) noexcept {
    return WithMemory([&] {
        void* const handle = Register(OpenShared(name, SharedKind::Section));
        if (handle != nullptr) {
            SetLastError(VXC_ERROR_SUCCESS);
        }
        return handle;
    });
}

void* MapSection(void* section, uint32 least, uint64* bytes) noexcept {
    return WithMemory([&]() -> void* {
        const Section shared = SectionOf(section);
        return shared == nullptr ? nullptr : Map(shared, least, bytes);
    });
}

int SectionHasOthers(void* section) noexcept {
    const Section shared = SectionOf(section);
    return shared != nullptr && shared->HasOthers() ? 1 : 0;
}

int UnmapSection(void* address) noexcept {
    const View view = TakeOut(&Registry::views, address, VXC_ERROR_INVALID_PARAMETER);
    if (view.section == nullptr) {
        return 0;
    }
    // Ahead of the section's own end, which asks whether somebody still uses the file.
    munmap(address, view.bytes);
    return 1;
}

int CloseSection(void* section) noexcept {
    const auto handle = reinterpret_cast<std::uintptr_t>(section);
    return TakeOut(&Registry::handles, handle, VXC_ERROR_INVALID_HANDLE) == nullptr ? 0 : 1;
}

} // namespace vxcio
