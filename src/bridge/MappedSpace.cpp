#include "bridge/MappedSpace.h"

#include "platform/SharedObjects.h"

#include <algorithm>
#include <utility>

namespace vxcio {

uint32 MappedSpace::Usable() const noexcept {
    return view == nullptr ? 0 : static_cast<uint32>(std::min<uint64>(size, mapped));
}

// One that is there already goes, once there is another one to take its place.
void MappedSpace::Adopt(void* handle) noexcept {
    if (void* const old = std::exchange(mapping, handle); old != nullptr) {
        SharedObjects().closeMapping(old);
    }
}

MappedSpace::Made MappedSpace::Create(const wchar_t* name) noexcept {
    int existed = 0;
    Adopt(*name == 0 ? nullptr : SharedObjects().createMapping(name, size, &existed));
    if (mapping == nullptr) {
        return Made::Nothing;
    }
    return existed != 0 ? Made::Taken : Made::New;
}

bool MappedSpace::Open(const wchar_t* name) noexcept {
    Adopt(*name == 0 ? nullptr : SharedObjects().openMapping(name));
    return mapping != nullptr;
}

bool MappedSpace::Map() noexcept {
    if (view != nullptr) {
        try {
            displaced.push_back(view);
        } catch (...) {
            // No memory for the note: it stays mapped for good.
        }
    }
    uint64 bytes = 1; // unless it is told to have none
    view = static_cast<unsigned char*>(SharedObjects().mapView(mapping, size, &bytes));
    mapped = view == nullptr ? 0 : bytes;
    empty = view == nullptr && bytes == 0;
    return view != nullptr;
}

void MappedSpace::DropMappingOnly() noexcept {
    SharedObjects().unmapView(mapping);
    CloseMapping();
}

void MappedSpace::Unmap() noexcept {
    if (view != nullptr) {
        SharedObjects().unmapView(std::exchange(view, nullptr));
    }
    for (void* const old : displaced) {
        SharedObjects().unmapView(old);
    }
    displaced.clear();
    mapped = 0;
}

void MappedSpace::CloseMapping() noexcept {
    if (mapping != nullptr) {
        SharedObjects().closeMapping(std::exchange(mapping, nullptr));
    }
}

} // namespace vxcio
