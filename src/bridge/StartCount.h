// StartCount.h - how many starts of the server its stops have not met yet.
#pragma once

#include "frame/Types.h"

namespace vxcio {

// Goes below 0 and is never reset, and at the end of its range it wraps. Not guarded.
class StartCount {
public:
    constexpr explicit StartCount(int32 count = 0) noexcept : m_nCount(static_cast<uint32>(count)) {}

    int32 Add() noexcept { return static_cast<int32>(++m_nCount); }
    int32 Take() noexcept { return static_cast<int32>(--m_nCount); }

private:
    uint32 m_nCount; // without a sign, so that it may wrap
};

} // namespace vxcio
