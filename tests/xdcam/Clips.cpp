#include "xdcam/Clips.h"

#include "tool/ToolProcess.h"

#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace vxcio::test {

namespace fs = std::filesystem;

namespace {

using Words = std::vector<std::string>;

Outcome Ffmpeg(const Words& words) {
    Words command = {"ffmpeg", "-hide_banner", "-loglevel", "error", "-nostdin", "-y"};
    command.insert(command.end(), words.begin(), words.end());
    return RunProgram(command);
}

// Test programs run beside each other: one makes the clip, and the others wait for it.
TestClip Made(const std::string& name, const Words& words) {
    TestClip clip{VXC_TEST_CLIPS_DIR "/" + name, VXC_TEST_CLIPS_DIR "/" + name + "/clip.mxf", {}};
    std::error_code failure;
    fs::create_directories(clip.folder, failure);
    const int lock = ::open((clip.folder + ".lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    ::flock(lock, LOCK_EX);
    if (!fs::exists(clip.file, failure)) {
        const std::string part = clip.folder + ".part.mxf";
        Words all = words;
        all.insert(all.end(), {"-f", "mxf", part});
        const Outcome outcome = Ffmpeg(all);
        if (outcome.exitCode == 0) {
            fs::rename(part, clip.file, failure);
        } else {
            clip.lack = "ffmpeg makes no clip here: " + outcome.error;
        }
    }
    ::close(lock);
    return clip;
}

} // namespace

TestClip HdClip() {
    return Made("hd", {"-f",         "lavfi",
                       "-i",         "testsrc2=s=1920x1080:r=50:d=2.4",
                       "-f",         "lavfi",
                       "-i",         "sine=f=1000:r=48000:d=2.4",
                       "-vf",        "tinterlace=interleave_top,format=yuv422p,setfield=tff",
                       "-c:v",       "mpeg2video",
                       "-profile:v", "0",
                       "-level:v",   "2",
                       "-flags",     "+ildct+ilme",
                       "-b:v",       "50M",
                       "-minrate",   "50M",
                       "-maxrate",   "50M",
                       "-bufsize",   "36408333",
                       "-g",         "12",
                       "-bf",        "2",
                       "-c:a",       "pcm_s24le",
                       "-ar",        "48000"});
}

TestClip LongClip() {
    return Made("long", {"-f",      "lavfi",      "-i",   "testsrc2=s=160x120:r=25:d=24",
                         "-f",      "lavfi",      "-i",   "sine=f=500:r=48000:d=24",
                         "-map",    "0:v",        "-map", "1:a",
                         "-map",    "1:a",        "-map", "1:a",
                         "-map",    "1:a",        "-map", "1:a",
                         "-c:v",    "mpeg2video", "-b:v", "400k",
                         "-g",      "12",         "-bf",  "2",
                         "-c:a",    "pcm_s16le",  "-ar",  "48000",
                         "-fflags", "+bitexact"});
}

std::vector<std::string> FrameDigests(const std::string& file, std::string* error) {
    const Outcome outcome = Ffmpeg({"-i", file, "-map", "0:v", "-f", "framemd5", "-"});
    if (error != nullptr) {
        *error = outcome.error;
    }
    std::vector<std::string> digests;
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with('#')) {
            digests.push_back(line.substr(line.rfind(' ') + 1));
        }
    }
    return digests;
}

std::string SoundOf(const std::string& file) {
    return Ffmpeg({"-i", file, "-map", "0:a:0", "-c:a", "pcm_s24le", "-f", "s24le", "-"}).out;
}

std::string Probed(const std::string& file, const std::string& field, std::string* error) {
    const Outcome outcome =
        RunProgram({"ffprobe", "-v", "error", "-count_packets", "-select_streams", "v:0", "-show_entries",
                    "stream=" + field, "-of", "default=noprint_wrappers=1:nokey=1", file});
    if (error != nullptr) {
        *error = outcome.error;
    }
    return outcome.out.substr(0, outcome.out.find('\n'));
}

std::vector<std::uint8_t> BytesOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace vxcio::test
