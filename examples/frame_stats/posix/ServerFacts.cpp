#include "../ServerFacts.h"

#include "bridge/ServerProcess.h"

#include <charconv>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <elf.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <unistd.h>

namespace frame_stats {

namespace {

constexpr std::string_view kServerFile = "/VXC32ServU.exe";

std::string FolderOf(uint32 process) {
    return "/proc/" + std::to_string(process);
}

// Empty where the process is gone, or a zombie.
std::string ProgramOf(uint32 process) {
    std::error_code error;
    return std::filesystem::read_symlink(FolderOf(process) + "/exe", error).string();
}

// A server carries the number of its host as its last word.
bool Serves(uint32 process, std::string_view host) {
    std::ifstream file(FolderOf(process) + "/cmdline", std::ios::binary);
    const std::string words((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const std::size_t end = words.find('\0');
    return end != words.npos && std::string_view(words).substr(0, end).ends_with(kServerFile) &&
           std::string_view(words).substr(end + 1) == host;
}

} // namespace

int BitsOf(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    char head[EI_NIDENT] = {};
    if (!file.read(head, sizeof head) || !std::string_view(head, SELFMAG).starts_with(ELFMAG)) {
        return 0;
    }
    switch (head[EI_CLASS]) {
    case ELFCLASS32:
        return 32;
    case ELFCLASS64:
        return 64;
    default:
        return 0;
    }
}

std::optional<ServerFacts> FindServer() {
    char host[16] = {};
    // With its terminating zero, as words stand in a command line.
    const int length = std::snprintf(host, sizeof host, "%08d", static_cast<int>(getpid())) + 1;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string name = entry.path().filename().string();
        uint32 process = 0;
        const auto [end, result] = std::from_chars(name.data(), name.data() + name.size(), process);
        if (result == std::errc() && end == name.data() + name.size() &&
            Serves(process, std::string_view(host, static_cast<std::size_t>(length)))) {
            return ServerFacts{process, BitsOf(FolderOf(process) + "/exe"), ProgramOf(process)};
        }
    }
    return std::nullopt;
}

bool IsRunning(uint32 process) {
    return !ProgramOf(process).empty();
}

std::wstring InstalledPlug() {
    Dl_info library{};
    char whole[PATH_MAX];
    if (dladdr(reinterpret_cast<const void*>(&CreateVXC32ServProcess), &library) == 0 ||
        library.dli_fname == nullptr || realpath(library.dli_fname, whole) == nullptr) {
        return L"FrameStats.so";
    }
    return (std::filesystem::path(whole).parent_path() / "VXC32/plugs/FrameStats.so").wstring();
}

} // namespace frame_stats
