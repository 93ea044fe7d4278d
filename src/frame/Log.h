// Log.h - how the library's own code logs: always under its module name, with arguments of exactly the
// width that their directive reads.
#pragma once

#include "frame/SystemLayer.h"
#include "frame/VXCString.h"

#include <cstdint>
#include <type_traits>

namespace vxcio {

inline constexpr const wchar_t* kModuleName = L"VXCSoftCodecIO";

// The low 32 bits of an address or handle, for "%x" and "%08x".
inline uint32 Low32(const void* pointer) {
    return static_cast<uint32>(reinterpret_cast<std::uintptr_t>(pointer));
}

// The high ones; 0 where an address has no more than 32.
inline uint32 High32(const void* pointer) {
    return static_cast<uint32>(uint64{reinterpret_cast<std::uintptr_t>(pointer)} >> 32);
}

// "%d", "%x", "%c" take 32 bits, "%lld" 64, "%s" a wide string, "%S" a narrow one, "%f" a double.
template <class... Arguments>
void Log(INFOTYPE level, const wchar_t* format, Arguments... arguments) noexcept {
    static_assert((std::is_trivially_copyable_v<Arguments> && ...), "only plain values can be logged");
    VXC_OutputW(kModuleName, level, format, arguments...);
}

template <class... Arguments>
void LogTrace(const wchar_t* format, Arguments... arguments) noexcept {
    Log(INFOTYPE_TRACE, format, arguments...);
}

template <class... Arguments>
void LogError(const wchar_t* format, Arguments... arguments) noexcept {
    Log(INFOTYPE_ERROR, format, arguments...);
}

// A formatted text through VXCMSGW.
template <class... Arguments>
void LogMessage(const wchar_t* format, Arguments... arguments) noexcept {
    static_assert((std::is_trivially_copyable_v<Arguments> && ...), "only plain values can be logged");
    CVXCString text;
    text.Format(format, arguments...);
    VXCMSGW(kModuleName, text);
}

} // namespace vxcio
