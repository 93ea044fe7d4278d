#include "Mxf.h"

#include <algorithm>
#include <iterator>

namespace mxf {

namespace {

// The key of every header partition pack; the byte behind it is the status.
constexpr uint8 kKey[] = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01, 0x0D, 0x01, 0x02, 0x01, 0x01, 0x02};
constexpr std::size_t kKeySize = 16;
constexpr std::size_t kMostLength = 9; // bytes of the length field
constexpr uint8 kOpenIncomplete = 1;
constexpr uint8 kClosedIncomplete = 2;
constexpr uint8 kClosedComplete = 4;
constexpr std::size_t kFooterInValue = 24; // behind versions, grid, this and the previous partition
constexpr std::size_t kFooterSize = 8;

} // namespace

std::optional<HeaderPack> FindClosedHeader(const std::vector<uint8>& file) {
    if (file.size() < kKeySize + kMostLength || !std::equal(std::begin(kKey), std::end(kKey), file.begin())) {
        return std::nullopt;
    }
    std::size_t length = file[kKeySize];
    std::size_t value = kKeySize + 1;
    if (length >= 0x80) { // that many bytes of length follow
        const std::size_t bytes = length & 0x7Fu;
        length = 0;
        for (std::size_t i = 0; i < bytes && i < kMostLength - 1; ++i) {
            length = (length << 8) | file[value + i];
        }
        value += bytes;
    }
    if (length > file.size()) {
        return std::nullopt;
    }
    const HeaderPack pack{value + length, std::size(kKey), value + kFooterInValue};
    const uint8 status = file[pack.status];
    if (length < kFooterInValue + kFooterSize || pack.size > file.size() ||
        (status != kClosedIncomplete && status != kClosedComplete)) {
        return std::nullopt;
    }
    return pack;
}

std::vector<uint8> OpenHeader(const std::vector<uint8>& file, const HeaderPack& pack) {
    std::vector<uint8> open(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(pack.size));
    open[pack.status] = kOpenIncomplete;
    std::fill_n(open.begin() + static_cast<std::ptrdiff_t>(pack.footerAt), kFooterSize, uint8{0});
    return open;
}

} // namespace mxf
