// MxfStretch.h - stretches of an MXF clip, each an MXF file of its own, as devices send them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace xdcam {

struct Stretch {
    std::vector<std::uint8_t> bytes; // the file
    std::uint32_t origin;            // frames of it that lie before the first one asked for
    std::uint32_t pictures;          // frames of it in all
};

// A clip with one video stream. What is read of the file is read again for each stretch. Any thread may call.
class MxfClip {
public:
    // Throws std::runtime_error where there is no such clip.
    explicit MxfClip(std::string file);

    std::uint32_t Frames() const { return static_cast<std::uint32_t>(m_pictures.size()); }
    std::uint32_t Channels() const { return m_channels; } // of sound
    // What devices call its codec and its rate.
    const std::string& Codec() const { return m_codec; }
    const std::string& Rate() const { return m_rate; }

    // The frames from `first` on, so many of them, in the order in which they are shown. The stretch begins
    // with the last key frame at or before the first one, less the pictures that are shown before that and
    // lean on what is missing; it ends where all that is asked for can be decoded, which may be up to some
    // frames behind it. Sound of the same time goes with it. The same stretch is the same bytes each time.
    // Throws std::out_of_range for frames that the clip does not have, and std::runtime_error where no
    // stretch can be made of it.
    Stretch Cut(std::uint32_t first, std::uint32_t count) const;

private:
    struct Picture {
        std::uint32_t shown; // which frame it is
        bool isKey;
    };
    // Pictures in the order of decoding.
    struct Range {
        std::size_t begin;
        std::size_t end;
        std::uint32_t key;  // the frame with which it begins
        std::uint32_t lost; // those of its first group that are left out
        std::uint32_t kept;
    };
    Range RangeOf(std::uint32_t first, std::uint32_t count) const;

    std::string m_file;
    std::vector<Picture> m_pictures; // in the order of decoding
    std::uint32_t m_channels = 0;
    std::string m_codec;
    std::string m_rate;
};

} // namespace xdcam
