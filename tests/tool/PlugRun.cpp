#include "tool/PlugRun.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <elf.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <random>
#include <sys/syscall.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace vxcio::test {

namespace {

constexpr int kEndLimit = 30000; // milliseconds

const fs::path kLibraries = VXC_TEST_LIBRARY_DIR;

} // namespace

int BitsOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    char head[EI_NIDENT] = {};
    stream.read(head, sizeof head);
    return head[EI_CLASS] == ELFCLASS32 ? 32 : head[EI_CLASS] == ELFCLASS64 ? 64 : 0;
}

std::string TestPlug(const std::string& name) {
    const fs::path narrow = kLibraries / "plugs" / (name + ".so");
    return (fs::exists(narrow) ? narrow : kLibraries / "plugs64" / (name + ".so")).string();
}

bool EndsSoon(pid_t process) {
    const int descriptor = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    if (descriptor < 0) {
        return errno == ESRCH;
    }
    pollfd end = {descriptor, POLLIN, 0};
    const bool ended = poll(&end, 1, kEndLimit) == 1;
    close(descriptor);
    return ended;
}

std::vector<std::string> NamesOf(pid_t host) {
    char start[64];
    std::snprintf(start, sizeof start, "vxc.%u.%08d", static_cast<unsigned>(getuid()),
                  static_cast<int>(host));
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator("/dev/shm")) {
        if (entry.path().filename().string().starts_with(start)) {
            names.push_back(entry.path().filename().string());
        }
    }
    return names;
}

OtherPlace::OtherPlace(const std::string& servers) {
    for (const auto& entry : fs::directory_iterator(kLibraries)) {
        if (entry.path().filename().string().find(".so") != std::string::npos) {
            fs::copy(entry.path(), m_folder.Path() / entry.path().filename(),
                     fs::copy_options::copy_symlinks);
        }
    }
    if (!servers.empty()) {
        fs::create_directory_symlink(servers, m_folder.Path() / "VXC32");
    }
}

void OtherPlace::Remove(const std::string& library) const {
    fs::remove(m_folder.Path() / library);
}

Outcome OtherPlace::Run(const std::vector<std::string>& command) const {
    std::vector<std::string> words = {"env", "LD_LIBRARY_PATH=" + m_folder.Path().string()};
    words.insert(words.end(), command.begin(), command.end());
    return RunProgram(words);
}

std::vector<std::string> ServerFolders() {
    std::vector<std::string> folders = {(kLibraries / "VXC32").string()};
    if (const fs::path wide = kLibraries / "server64/VXC32"; fs::exists(wide)) {
        folders.push_back(wide.string());
    }
    return folders;
}

Frames::Frames(uint32 itsWidth, uint32 itsHeight, bool is422, uint32 itsCount, uint32 seed)
    : width(itsWidth), height(itsHeight), count(itsCount), histograms(itsCount) {
    std::mt19937 random(seed);
    const uint32 chroma = 2 * ((width + 1) / 2) * (is422 ? height : (height + 1) / 2);
    for (uint32 frame = 0; frame < count; ++frame) {
        // Of each frame another stretch of values, so that least and most are not always 0 and 255.
        const auto least = static_cast<uint32>(random() % 100);
        const auto span = static_cast<uint32>(1 + random() % 150);
        for (uint32 pixel = 0; pixel < width * height; ++pixel) {
            const auto value = static_cast<uint8>(least + random() % span);
            bytes.push_back(value);
            ++histograms[frame][value];
        }
        for (uint32 i = 0; i < chroma; ++i) {
            bytes.push_back(static_cast<uint8>(random()));
        }
    }
}

std::array<uint64, 256> Frames::Total() const {
    std::array<uint64, 256> total = {};
    for (const auto& histogram : histograms) {
        for (std::size_t value = 0; value < total.size(); ++value) {
            total[value] += histogram[value];
        }
    }
    return total;
}

std::string InWords(const std::array<uint64, 256>& histogram) {
    std::size_t least = 256;
    std::size_t most = 0;
    double sum = 0;
    double pixels = 0;
    for (std::size_t value = 0; value < histogram.size(); ++value) {
        if (histogram[value] != 0) {
            least = std::min(least, value);
            most = value;
            sum += static_cast<double>(histogram[value] * value);
            pixels += static_cast<double>(histogram[value]);
        }
    }
    char text[96];
    std::snprintf(text, sizeof text, "min %zu  max %zu  average %g", least, most, sum / pixels);
    return text;
}

} // namespace vxcio::test
