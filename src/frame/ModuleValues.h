// ModuleValues.h - the values that attach sets once and all threads read afterwards.
//
// Never destroyed: a thread that was left behind on a dead disk may read them after everything else ended.
#pragma once

#include "frame/Types.h"

#include <atomic>

namespace vxcio {

struct ModuleValues {
    // Folder of the library's own file, without a trailing separator.
    wchar_t szModuleDirectory[261] = {};
    std::atomic<uint32> ReadHandleTimeOut{VXC_INFINITE};  // milliseconds
    std::atomic<uint32> WriteHandleTimeOut{VXC_INFINITE}; // milliseconds
    std::atomic<uint32> EnableBitrateInfo{0};
    std::atomic<uint32> FileCachePrivilege{0};
};

ModuleValues& Module() noexcept;

inline uint32 ReadHandleTimeOut() noexcept {
    return Module().ReadHandleTimeOut.load(std::memory_order_relaxed);
}
inline uint32 WriteHandleTimeOut() noexcept {
    return Module().WriteHandleTimeOut.load(std::memory_order_relaxed);
}
inline bool IsBitrateInfoOn() noexcept {
    return Module().EnableBitrateInfo.load(std::memory_order_relaxed) != 0;
}

} // namespace vxcio
