// MpegPictures.h - MPEG-2 pictures (ISO/IEC 13818-2) whose group loses those that are shown before its first
// one.
#pragma once

#include <cstddef>
#include <cstdint>

namespace xdcam {

// `data` is one coded picture of such a group: its place in the group becomes smaller by `lost`, and a header
// of the group says that nothing is missing any more.
void CloseGroup(std::uint8_t* data, std::size_t bytes, std::uint32_t lost) noexcept;

} // namespace xdcam
