// MappedSpace.h - one space of a channel: the handle of its section and the view of it.
#pragma once

#include "frame/Types.h"

#include <vector>

namespace vxcio {

// One thread at a time. Handle and view come and go by themselves: an adjusted space has a new handle and an
// old view.
struct MappedSpace {
    void* mapping = nullptr;
    unsigned char* view = nullptr;
    uint64 mapped = 0;  // bytes of the section at view
    bool empty = false; // the section that was to be mapped has no bytes
    uint32 size = 0;    // bytes as told

    // Bytes that a stream may use.
    uint32 Usable() const noexcept;

    enum class Made { Nothing, New, Taken };
    // Makes the section; the handle is kept also where the name was taken. An empty name, which is one that
    // memory lacked for, makes and opens nothing.
    Made Create(const wchar_t* name) noexcept;
    bool Open(const wchar_t* name) noexcept;
    // Maps what the handle stands for. A view that was there stays mapped until Unmap. False, with no view,
    // on failure.
    bool Map() noexcept;
    // As an adjustment begins: hands the handle to the unmapping, which takes addresses and so does nothing,
    // and closes it.
    void DropMappingOnly() noexcept;
    void Unmap() noexcept;
    void CloseMapping() noexcept;

private:
    void Adopt(void* handle) noexcept;

    std::vector<void*> displaced; // views that another one took the place of
};

} // namespace vxcio
