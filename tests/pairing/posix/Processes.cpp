#include "pairing/Processes.h"

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace vxcio::test {

namespace {

namespace fs = std::filesystem;

std::string Content(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf(); // a process that ends meanwhile is an error of the stream here, and no exception
    return content.str();
}

std::vector<std::string> Split(const std::string& zeroed) {
    std::vector<std::string> words;
    std::string word;
    for (const char c : zeroed) {
        if (c == 0) {
            words.push_back(word);
            word.clear();
        } else {
            word += c;
        }
    }
    return words;
}

fs::path Facts(uint32 process) {
    return fs::path("/proc") / std::to_string(process);
}

struct Stat {
    char state = 'X';
    uint32 parent = 0;
};

Stat StatOf(uint32 process) {
    const std::string text = Content(Facts(process) / "stat");
    Stat stat;
    const std::size_t end = text.rfind(')');
    if (end != std::string::npos) {
        std::sscanf(text.c_str() + end + 1, " %c %u", &stat.state, &stat.parent);
    }
    return stat;
}

template <class Act>
void ForEachProcess(Act act) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator("/proc", ignored)) {
        const std::string name = entry.path().filename().string();
        if (std::isdigit(static_cast<unsigned char>(name[0])) != 0) {
            act(static_cast<uint32>(std::strtoul(name.c_str(), nullptr, 10)));
        }
    }
}

std::string IdOf(uint32 host) {
    char text[16];
    std::snprintf(text, sizeof text, "%08u", host);
    return text;
}

std::string NamePrefix() {
    return "vxc." + std::to_string(geteuid()) + ".";
}

// A folder of this process and those it starts.
std::string& ReportFolder() {
    static std::string s_folder;
    return s_folder;
}

} // namespace

uint32 OwnProcess() {
    return static_cast<uint32>(getpid());
}

std::vector<uint32> ServersOf(uint32 host) {
    std::vector<uint32> servers;
    const std::string id = IdOf(host);
    ForEachProcess([&](uint32 process) {
        const std::vector<std::string> words = CommandLineOf(process);
        if (words.size() > 1 && words.back() == id && words.front().ends_with("VXC32ServU.exe") &&
            IsAlive(process)) {
            servers.push_back(process);
        }
    });
    return servers;
}

int BitsOf(uint32 process) {
    std::ifstream in(Facts(process) / "exe", std::ios::binary);
    char head[5] = {};
    in.read(head, sizeof head);
    return head[4] == 1 ? 32 : head[4] == 2 ? 64 : 0;
}

std::vector<std::string> CommandLineOf(uint32 process) {
    return Split(Content(Facts(process) / "cmdline"));
}

bool IsAlive(uint32 process) {
    const char state = StatOf(process).state;
    return state != 'X' && state != 'Z';
}

std::vector<uint32> Zombies() {
    std::vector<uint32> zombies;
    ForEachProcess([&](uint32 process) {
        const Stat stat = StatOf(process);
        if (stat.state == 'Z' && stat.parent == OwnProcess()) {
            zombies.push_back(process);
        }
    });
    return zombies;
}

std::vector<std::string> NamesOf(uint32 host) {
    std::vector<std::string> names;
    const std::string prefix = NamePrefix();
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator("/dev/shm", ignored)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(prefix + IdOf(host)) || name.starts_with(prefix + std::to_string(host) + "_")) {
            names.push_back(name);
        }
    }
    return names;
}

bool HasName(const std::wstring& name, char kind) {
    const std::string file = "/dev/shm/" + NamePrefix() + std::string(name.begin(), name.end()) + "." + kind;
    return fs::exists(file);
}

void Kill(uint32 process) {
    kill(static_cast<pid_t>(process), SIGKILL);
}

void CollectSanitizerReports() {
    std::string folder = (fs::temp_directory_path() / "vxc-reports-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) {
        return;
    }
    ReportFolder() = folder;
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"}) {
        const char* const old = std::getenv(name);
        const std::string options =
            (old == nullptr ? std::string() : std::string(old) + ":") + "log_path=" + folder + "/report";
        setenv(name, options.c_str(), 1);
    }
}

std::string FindingsOf(const std::string& report) {
    std::istringstream lines(report);
    std::string findings;
    for (std::string line; std::getline(lines, line);) {
        if (line.find("==Unable to get registers from thread ") == line.npos) {
            findings += line + "\n";
        }
    }
    return findings;
}

std::string SanitizerReports() {
    std::string reports;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(ReportFolder(), ignored)) {
        reports += FindingsOf(Content(entry.path()));
    }
    return reports;
}

void DropSanitizerReports() {
    std::error_code ignored;
    if (!ReportFolder().empty()) {
        fs::remove_all(ReportFolder(), ignored);
    }
}

} // namespace vxcio::test
