#include "MxfExtent.h"

#include "Sizes.h"

#include <algorithm>
#include <utility>

namespace vxcio::tool {

namespace {

constexpr std::array<uint8, 4> kKey = {0x06, 0x0E, 0x2B, 0x34};
constexpr std::size_t kLengthAt = 16;
constexpr uint8 kLongForm = 0x80;
constexpr std::size_t kFooterAt = 24; // in the pack, behind versions, grid, and its own and the last place
constexpr std::size_t kPackLeast = 88;

uint64 NumberIn(const MxfStart& first, std::size_t at, uint64 bytes) {
    uint64 number = 0;
    for (std::size_t i = at; i < at + bytes; ++i) {
        number = number << 8 | first[i];
    }
    return number;
}

} // namespace

std::string MxfTrouble(const MxfStart& first, uint64 size) {
    const std::string noPack = "its " + WithCommas(size) + (size == 1 ? " byte does" : " bytes do") +
                               " not begin with a whole partition pack";
    if (size <= kLengthAt || !std::equal(kKey.begin(), kKey.end(), first.begin())) {
        return noPack;
    }
    // One byte, or the number of bytes that follow.
    uint64 length = first[kLengthAt];
    std::size_t at = kLengthAt + 1;
    if (length >= kLongForm) {
        const uint64 bytes = std::exchange(length, 0) - kLongForm;
        if (bytes == 0 || bytes > sizeof length) {
            return noPack;
        }
        length = NumberIn(first, at, bytes);
        at += bytes;
    }
    if (size < at || length > size - at || length < kPackLeast) {
        return noPack;
    }
    const uint64 footer = NumberIn(first, at + kFooterAt, sizeof footer); // 0: it has none, or does not know
    if (footer >= size) {
        return "it ends at byte " + WithCommas(size) + ", and its footer would begin at " +
               WithCommas(footer);
    }
    return {};
}

} // namespace vxcio::tool
