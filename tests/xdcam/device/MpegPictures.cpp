#include "xdcam/device/MpegPictures.h"

namespace xdcam {

namespace {

constexpr std::uint8_t kPicture = 0x00;
constexpr std::uint8_t kGroup = 0xB8;
constexpr std::uint32_t kPlaces = 1024;

} // namespace

void CloseGroup(std::uint8_t* data, std::size_t bytes, std::uint32_t lost) noexcept {
    for (std::size_t at = 0; at + 8 <= bytes; ++at) {
        if (data[at] != 0 || data[at + 1] != 0 || data[at + 2] != 1) {
            continue;
        }
        std::uint8_t* const header = data + at + 4;
        if (data[at + 3] == kPicture) {
            // Ten bits of its place, then its type.
            const std::uint32_t place = (std::uint32_t{header[0]} << 2 | header[1] >> 6) & (kPlaces - 1);
            const std::uint32_t moved = (place - lost) & (kPlaces - 1);
            header[0] = static_cast<std::uint8_t>(moved >> 2);
            header[1] = static_cast<std::uint8_t>((header[1] & 0x3F) | (moved & 3) << 6);
        } else if (data[at + 3] == kGroup) {
            // 25 bits of time, whether it is closed, whether its link is broken.
            header[3] = static_cast<std::uint8_t>((header[3] | 0x40) & ~0x20);
        }
    }
}

} // namespace xdcam
