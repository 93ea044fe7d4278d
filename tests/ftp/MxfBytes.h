// MxfBytes.h - the parts of an MXF file (SMPTE 377M) that tell where a stretch of a clip begins, and what
// they say read step by step.
#pragma once

#include "frame/Types.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace vxcio::test::mxf {

// The first block of a stretch.
inline constexpr std::size_t kHead = 512;

inline std::string BigEndian(uint64 number, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i) {
        text += static_cast<char>(number >> (8 * i) & 0xFF);
    }
    return text;
}

inline const std::string kPartitionKey("\x06\x0E\x2B\x34\x02\x05\x01\x01\x0D\x01\x02\x01\x01\x02\x04\x00",
                                       16);
inline const std::string kTrackKey("\x06\x0E\x2B\x34\x02\x53\x01\x01\x0D\x01\x01\x01\x01\x01\x3B\x00", 16);
inline const std::string kFillerKey("\x06\x0E\x2B\x34\x01\x01\x01\x02\x03\x01\x02\x10\x01\x00\x00\x00", 16);
inline constexpr uint32 kEditRateTag = 0x4B01;
inline constexpr uint32 kOriginTag = 0x4B02;

// Key, length of four bytes, and value; `told` is another length than it has.
inline std::string Item(std::string_view key, std::string_view value, uint64 told) {
    return std::string(key) + '\x83' + BigEndian(told, 3) + std::string(value);
}
inline std::string Item(std::string_view key, std::string_view value) {
    return Item(key, value, value.size());
}
inline std::string Filler(std::size_t bytes) {
    return Item(kFillerKey, std::string(bytes, '\xEE'));
}
// An item of a set.
inline std::string Tagged(uint32 tag, std::string_view value) {
    return BigEndian(tag, 2) + BigEndian(value.size(), 2) + std::string(value);
}
inline std::string Origin(int64 origin) {
    return Tagged(kOriginTag, BigEndian(static_cast<uint64>(origin), 8));
}
inline std::string Track(int64 origin) {
    return Item(kTrackKey, Tagged(kEditRateTag, BigEndian(25, 4) + BigEndian(1, 4)) + Origin(origin));
}

// The block in front of a header of so many bytes.
inline std::string Head(uint64 headerByteCount) {
    std::string head = kPartitionKey + '\x83' + BigEndian(0x64, 3);
    head.resize(52);
    head += BigEndian(headerByteCount, 8);
    head.resize(kHead);
    return head;
}
// Made up to this size with a last item of filler, or cut.
inline std::string Padded(std::string header, std::size_t bytes) {
    if (header.size() + kFillerKey.size() + 4 <= bytes) {
        header += Filler(bytes - header.size() - kFillerKey.size() - 4);
    }
    header.resize(bytes);
    return header;
}
// Head and header, which tells a track of this origin.
inline std::string Stretch(int64 origin, std::size_t headerBytes = 1024) {
    return Head(headerBytes) + Padded(Filler(30) + Track(origin) + Filler(20), headerBytes);
}

// What stands behind the last byte is zero for ever.
inline uint64 NumberAt(std::string_view bytes, uint64 at, uint64 count) {
    uint64 number = 0;
    for (uint64 i = at; i < at + count; ++i) {
        number = number * 256 + (i < bytes.size() ? static_cast<uint8>(bytes[i]) : 0U);
    }
    return number;
}

// The Origin of the first track that has one above 0.
inline int64 ModelOrigin(std::string_view header) {
    int64 position = 0;
    uint64 item = 0;
    while (position == 0 && item < header.size()) {
        const uint64 length = NumberAt(header, item + 17, 3);
        bool isTrack = true;
        for (std::size_t i = 0; i < kTrackKey.size(); ++i) {
            isTrack = isTrack && NumberAt(header, item + i, 1) == static_cast<uint8>(kTrackKey[i]);
        }
        // A tag is no zero, so that none is met behind the last byte.
        for (uint64 at = 0; isTrack && at < length + 20 && item + 20 + at < header.size();) {
            if (NumberAt(header, item + 20 + at, 2) == kOriginTag) {
                const auto origin = static_cast<int64>(NumberAt(header, item + 24 + at, 8));
                position = origin > position ? origin : position;
                break;
            }
            at += 4 + NumberAt(header, item + 22 + at, 2);
        }
        item += 20 + length;
    }
    return position;
}

} // namespace vxcio::test::mxf
