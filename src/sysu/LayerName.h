// LayerName.h - the module name under which the system layer logs.
#pragma once

namespace vxcio::sysu {

inline constexpr const wchar_t* kLayerName = L"VXCSoftCodecSysU";

} // namespace vxcio::sysu
