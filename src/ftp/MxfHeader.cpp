#include "ftp/MxfHeader.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace vxcio {

namespace {

constexpr uint64 kHeaderByteCountAt = 52;
constexpr uint64 kItemHead = 20; // key and length
constexpr uint64 kTagHead = 4;   // tag and length of an item in a set
constexpr std::array<uint8, 16> kTimelineTrack = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01, 0x01,
                                                  0x0D, 0x01, 0x01, 0x01, 0x01, 0x01, 0x3B, 0x00};
constexpr uint32 kOriginTag = 0x4B02;

// Bytes with zeros behind them for ever.
class Padded {
public:
    Padded(const uint8* data, uint64 size) noexcept : m_pData(data), m_qwSize(size) {}

    uint64 Size() const noexcept { return m_qwSize; }
    uint64 Number(uint64 position, uint64 bytes) const noexcept {
        uint64 number = 0;
        for (uint64 i = 0; i < bytes; ++i) {
            number = number << 8 | (position + i < m_qwSize ? m_pData[position + i] : 0u);
        }
        return number;
    }
    bool HasKey(uint64 position, const std::array<uint8, 16>& key) const noexcept {
        // One that is cut has no items, whatever it would be.
        return m_qwSize - position >= key.size() &&
               std::memcmp(m_pData + position, key.data(), key.size()) == 0;
    }

private:
    const uint8* const m_pData;
    const uint64 m_qwSize;
};

// The Origin in the set whose items begin at `first`; 0 where there is none.
int64 OriginIn(const Padded& header, uint64 first, uint64 length) noexcept {
    // So far beyond the set itself that one more item can be met there.
    const uint64 end = std::min(first + length + kItemHead, header.Size());
    for (uint64 at = first; at < end; at += kTagHead + header.Number(at + 2, 2)) {
        if (header.Number(at, 2) == kOriginTag) {
            return static_cast<int64>(header.Number(at + kTagHead, 8)); // whatever its length says
        }
    }
    return 0;
}

} // namespace

uint64 HeaderByteCount(const uint8* head) noexcept {
    return Padded(head, kPartitionHead).Number(kHeaderByteCountAt, 8);
}

int64 TrackOrigin(const uint8* header, uint64 size) noexcept {
    const Padded items(header, size);
    for (uint64 at = 0; at < size;) {
        const uint64 length = items.Number(at + 17, 3);
        if (items.HasKey(at, kTimelineTrack)) {
            if (const int64 origin = OriginIn(items, at + kItemHead, length); origin > 0) {
                return origin;
            }
        }
        at += kItemHead + length;
    }
    return 0;
}

} // namespace vxcio
