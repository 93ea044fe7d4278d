// Starting programs.
#include "frame/PlatformTypes.h"
#include "sysu/LastError.h"
#include "sysu/NamedObjects.h"
#include "sysu/posix/NativeName.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <optional>
#include <pthread.h>
#include <spawn.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace vxcio::sysu;

namespace vxcio {

namespace {

constexpr int kFirstOwnDescriptor = 3; // behind the standard streams

// What the thread that waits for a program needs: an address space of its own is no reason for a large stack.
constexpr std::size_t kWaiterStack = std::size_t{256} << 10;
constexpr std::size_t kOrdinaryStack = std::size_t{8} << 20;

struct CommandLine {
    std::string program;
    std::wstring_view rest;
};

bool IsFile(const std::string& path) noexcept {
    struct stat facts {};
    return stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode);
}

std::optional<std::string> FileOf(std::wstring_view text) {
    const NativeName name = ToJoinedName(std::wstring(text).c_str());
    if (name.error != 0 || !IsFile(name.path)) {
        return std::nullopt;
    }
    return name.path;
}

std::optional<CommandLine> Split(std::wstring_view line) {
    if (line.starts_with(L'"')) {
        const std::size_t end = line.find(L'"', 1);
        std::optional<std::string> program = FileOf(line.substr(1, end == line.npos ? end : end - 1));
        if (!program.has_value()) {
            return std::nullopt;
        }
        return CommandLine{std::move(*program), end == line.npos ? L"" : line.substr(end + 1)};
    }
    for (std::size_t end = line.size();; --end) {
        if (end == line.size() || line[end] == L' ') {
            // With the blank: one that belongs to the name is found, one that does not counts for nothing.
            if (std::optional<std::string> program = FileOf(line.substr(0, end + 1))) {
                return CommandLine{std::move(*program), line.substr(end)};
            }
        }
        if (end == 0) {
            return std::nullopt;
        }
    }
}

std::vector<std::string> Words(std::wstring_view text) {
    std::vector<std::string> words;
    for (std::size_t start = 0; (start = text.find_first_not_of(L' ', start)) != text.npos;) {
        const std::size_t end = std::min(text.find(L' ', start), text.size());
        words.push_back(ToUtf8(text.substr(start, end - start)));
        start = end;
    }
    return words;
}

// The attributes of a start: ordinary signals, whatever this thread has, and none of its descriptors.
class SpawnSetting {
public:
    SpawnSetting() noexcept {
        posix_spawnattr_init(&m_attributes);
        posix_spawn_file_actions_init(&m_actions);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&m_attributes, &signals);
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&m_attributes, &signals);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        m_error = posix_spawn_file_actions_addclosefrom_np(&m_actions, kFirstOwnDescriptor);
    }
    ~SpawnSetting() {
        posix_spawn_file_actions_destroy(&m_actions);
        posix_spawnattr_destroy(&m_attributes);
    }
    SpawnSetting(const SpawnSetting&) = delete;
    SpawnSetting& operator=(const SpawnSetting&) = delete;

    int Start(const std::string& program, char* const* words, pid_t& process) const noexcept {
        if (m_error != 0) {
            return m_error;
        }
        const int error = posix_spawn(&process, program.c_str(), &m_actions, &m_attributes, words, environ);
        // The file is there, so it is its loader that is not: a program of another kind.
        return error == ENOENT ? ENOEXEC : error;
    }

private:
    posix_spawnattr_t m_attributes;
    posix_spawn_file_actions_t m_actions;
    int m_error = 0;
};

void* WaitFor(void* process) {
    int status = 0;
    while (waitpid(static_cast<pid_t>(reinterpret_cast<std::intptr_t>(process)), &status, 0) < 0 &&
           errno == EINTR) {
    }
    return nullptr;
}

// Leaves a thread behind that takes what the program leaves when it ends. Without one the program is nobody's
// worse for it but the process table's.
void Reap(pid_t process) noexcept {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return;
    }
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, kWaiterStack);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread{};
    void* const argument = reinterpret_cast<void*>(static_cast<std::intptr_t>(process));
    if (pthread_create(&thread, &attributes, WaitFor, argument) != 0) {
        // Hosts whose libraries want much memory of each thread do not get by with so little.
        pthread_attr_setstacksize(&attributes, kOrdinaryStack);
        pthread_create(&thread, &attributes, WaitFor, argument);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
}

// 0, or an error of the system.
int Start(const wchar_t* line, uint32* processId) {
    const std::optional<CommandLine> command = Split(line == nullptr ? L"" : line);
    if (!command.has_value()) {
        return ENOENT;
    }
    std::vector<std::string> words = Words(command->rest);
    std::vector<char*> pointers{const_cast<char*>(command->program.c_str())};
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    pid_t process = 0;
    if (const int error = SpawnSetting().Start(command->program, pointers.data(), process); error != 0) {
        return error;
    }
    Reap(process);
    if (processId != nullptr) {
        *processId = static_cast<uint32>(process);
    }
    return 0;
}

} // namespace

int StartProgram(const wchar_t* commandLine, uint32* processId) noexcept {
    try {
        const int error = Start(commandLine, processId);
        SetLastSystemError(error);
        return error == 0 ? 1 : 0;
    } catch (...) {
        SetLastError(VXC_ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
}

uint32 ThreadNumber() noexcept {
    return static_cast<uint32>(syscall(SYS_gettid));
}

uint32 ProcessNumber() noexcept {
    return static_cast<uint32>(getpid());
}

} // namespace vxcio
