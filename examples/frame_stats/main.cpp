// frame_stats FILE WIDTH HEIGHT [FPS [420|422]] - counts the luma of raw frames of 8 bits in a plug-in of
// another process.
//
// The file holds frames one behind the other, each with its three planes, as ffmpeg writes them with
// -f rawvideo -pix_fmt yuv420p or yuv422p. Each gets a time code; FPS is 25 where it is left out. Prints a
// line for each frame and one for all of them. The exit code is 0; 1 where something failed, which is said on
// standard error; 2 for wrong usage.
#include "FrameFile.h"
#include "FrameStatistics.h"
#include "TimeCode.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>
#include <string_view>

namespace {

using namespace frame_stats;

constexpr uint32 kTimeOut = 2000; // milliseconds, of one call

struct Arguments {
    const char* file = nullptr;
    FrameShape shape;
    uint32 framesPerSecond = 25;
};

bool TakeNumber(std::string_view text, uint32 most, uint32& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number >= 1 && number <= most;
}

std::optional<Arguments> TakeArguments(int argc, char** argv) {
    Arguments arguments;
    if (argc < 4 || argc > 6 || !TakeNumber(argv[2], kMostPixels, arguments.shape.width) ||
        !TakeNumber(argv[3], kMostPixels, arguments.shape.height) ||
        (argc > 4 && !TakeNumber(argv[4], kMostFramesPerSecond, arguments.framesPerSecond))) {
        return std::nullopt;
    }
    arguments.file = argv[1];
    if (argc > 5 && std::strcmp(argv[5], "422") == 0) {
        arguments.shape.format = FORMAT_422;
    } else if (argc > 5 && std::strcmp(argv[5], "420") != 0) {
        return std::nullopt;
    }
    return arguments;
}

void Tell(const Arguments& arguments) {
    FrameFile file(arguments.file, arguments.shape.Bytes());
    PlugServer server;
    FrameStatistics statistics(server, InstalledPlug(), arguments.shape, kTimeOut);
    for (uint32 frame = 0; frame < file.Frames(); ++frame) {
        const SPlugLinearTimeCode timeCode = TimeCodeOf(frame, arguments.framesPerSecond);
        std::printf("frame %u  %s\n", frame,
                    InWords(statistics.Count(frame, timeCode, file.Next().data())).c_str());
    }
    const LumaStatistics total = statistics.Total();
    std::printf("total %u  %s\n", total.frames, InWords(total).c_str());
}

} // namespace

int main(int argc, char** argv) {
    const std::optional<Arguments> arguments = TakeArguments(argc, argv);
    if (!arguments) {
        std::fprintf(stderr,
                     "usage: frame_stats FILE WIDTH HEIGHT [FPS [420|422]]\n"
                     "pictures of 1 to %u pixels each way, 1 to %u frames a second\n",
                     kMostPixels, kMostFramesPerSecond);
        return 2;
    }
    try {
        Tell(*arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "frame_stats: %s\n", error.what());
        return 1;
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fprintf(stderr, "frame_stats: standard output takes no more\n");
        return 1;
    }
    return 0;
}
