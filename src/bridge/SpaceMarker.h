// SpaceMarker.h - what stands at the start of a space from its making to the first message: text in UTF-16LE
// with a terminating zero. The end that opens a space takes it for one of these by that alone.
#pragma once

#include "frame/Types.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace vxcio {

// The bytes of a marker: written are three for each character of the text, which are those of the text and
// its zero and some zeros behind; what is compared ends with the terminating zero.
template <std::size_t Characters>
struct SpaceMarker {
    static constexpr std::size_t kWritten = Characters * 3;
    static constexpr std::size_t kCompared = (Characters + 1) * 2;
    static_assert(kCompared <= kWritten);

    constexpr explicit SpaceMarker(std::string_view text) noexcept {
        for (std::size_t i = 0; i < Characters; ++i) {
            bytes[2 * i] = static_cast<unsigned char>(text[i]);
        }
    }

    // No more than is there of the space.
    void WriteTo(unsigned char* space, uint64 spaceBytes) const noexcept {
        std::memcpy(space, bytes, static_cast<std::size_t>(std::min<uint64>(kWritten, spaceBytes)));
    }
    bool StandsIn(const unsigned char* space, uint64 spaceBytes) const noexcept {
        return spaceBytes >= kCompared && std::memcmp(space, bytes, kCompared) == 0;
    }

    unsigned char bytes[kWritten] = {};
};

inline constexpr SpaceMarker<9> kRequestMarker("CREATESMM");
inline constexpr SpaceMarker<11> kReplyMarker("CREATESMMOK");

} // namespace vxcio
