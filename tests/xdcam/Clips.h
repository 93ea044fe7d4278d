// Clips.h - clips of a test run, made by ffmpeg, and what ffmpeg makes of files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vxcio::test {

struct TestClip {
    std::string folder; // with nothing else in it
    std::string file;   // its whole name
    std::string lack;   // why a test cannot have it; empty where it can
};

// MPEG-2 4:2:2 in 1080i25, open groups of 12 with two B pictures, one channel of sound at 48 kHz with 24
// bits; 60 frames. Made once for all test programs of a build.
TestClip HdClip();
// 600 small pictures in the same groups, and five channels: so many that a header in the form of devices is
// longer than ffmpeg's.
TestClip LongClip();

// A digest of each frame of a file, in the order in which they are shown. `error` gets what ffmpeg finds
// fault with.
std::vector<std::string> FrameDigests(const std::string& file, std::string* error = nullptr);
// All sound of its first stream, 24 bits a sample.
std::string SoundOf(const std::string& file);
// What ffprobe tells of a field of the file's video stream, having counted all pictures; and with what
// complaints.
std::string Probed(const std::string& file, const std::string& field, std::string* error = nullptr);

std::vector<std::uint8_t> BytesOf(const std::string& file);

} // namespace vxcio::test

// Ends the test as skipped, with the reason, where there is no such clip.
#define VXC_NEEDS_CLIP(clip)                                                                                 \
    if (!(clip).lack.empty()) {                                                                              \
        GTEST_SKIP() << (clip).lack;                                                                         \
    }                                                                                                        \
    static_assert(true, "a semicolon follows")
