// Runs a server for a test and leaves nothing of it behind, however the test ends.
//
//   server_keeper LOG PROGRAM [WORD...]
//
// What the server says goes to the file LOG. Every process that comes from it stays in the keeper's reach,
// also one that leaves its session or outlives its parent. Orders are single characters on standard input:
//
//   s   stops all of them        c   lets them go on        k   kills them, and waits until they are gone
//   n   only counts
//
// Each is answered by a line with the count of processes that are left. The end of the input, which is also
// the death of the test, kills them all.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace {

struct Process {
    pid_t id;
    pid_t parent;
    char state; // as in the third field of /proc/ID/stat
};

// What stands in /proc/ID/stat; empty for a process that has ended, also in this moment.
std::string StatOf(const char* id) {
    const int file = ::open(("/proc/" + std::string(id) + "/stat").c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return {};
    }
    char text[1024];
    const ssize_t bytes = ::read(file, text, sizeof text);
    ::close(file);
    return {text, bytes > 0 ? static_cast<std::size_t>(bytes) : 0};
}

// All processes of the machine; those that end meanwhile are left out.
std::vector<Process> AllProcesses() {
    std::vector<Process> all;
    DIR* const folder = ::opendir("/proc");
    if (folder == nullptr) {
        return all;
    }
    while (const dirent* const entry = ::readdir(folder)) {
        if (entry->d_name[0] < '0' || entry->d_name[0] > '9') {
            continue;
        }
        const std::string line = StatOf(entry->d_name);
        // The name of the program, in brackets, may itself hold blanks and brackets.
        const std::size_t behind = line.rfind(')');
        Process process{std::atoi(entry->d_name), 0, 0};
        if (behind != std::string::npos &&
            std::sscanf(line.c_str() + behind + 1, " %c %d", &process.state, &process.parent) == 2) {
            all.push_back(process);
        }
    }
    ::closedir(folder);
    return all;
}

// Those that come from this one and live.
std::vector<Process> Descendants() {
    const std::vector<Process> all = AllProcesses();
    std::vector<pid_t> family = {::getpid()};
    std::vector<Process> found;
    for (std::size_t i = 0; i < family.size(); ++i) {
        for (const Process& process : all) {
            if (process.parent == family[i]) {
                family.push_back(process.id);
                if (process.state != 'Z' && process.state != 'X') {
                    found.push_back(process);
                }
            }
        }
    }
    return found;
}

void Nap() {
    const timespec millisecond{0, 1'000'000};
    ::nanosleep(&millisecond, nullptr);
}

void ReapTheDead() {
    while (::waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

// Signals those that are not yet as wanted until all are. A process that is born meanwhile is met in the
// next round.
template <class IsDone>
void SignalUntil(int signal, IsDone isDone) {
    for (bool all = false; !all;) {
        ReapTheDead();
        all = true;
        for (const Process& process : Descendants()) {
            if (!isDone(process)) {
                ::kill(process.id, signal);
                all = false;
            }
        }
        if (!all) {
            Nap();
        }
    }
}

bool IsStopped(const Process& process) {
    return process.state == 'T';
}

void CarryOut(char order) {
    switch (order) {
    case 's':
        SignalUntil(SIGSTOP, IsStopped);
        break;
    case 'c':
        SignalUntil(SIGCONT, [](const Process& process) { return !IsStopped(process); });
        break;
    case 'k':
        SignalUntil(SIGKILL, [](const Process&) { return false; });
        while (::waitpid(-1, nullptr, 0) > 0) {
        }
        break;
    default:
        ReapTheDead();
    }
}

[[noreturn]] void BecomeServer(char** words) {
    // Should the keeper itself be killed. Some servers give this up with their rights.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int log = ::open(words[0], O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(log, STDOUT_FILENO);
    ::dup2(log, STDERR_FILENO);
    ::setenv("TZ", "UTC0", 1); // what a server shows in its own time is known then
    ::setsid();
    ::execvp(words[1], words + 1);
    std::fprintf(stderr, "%s cannot be run\n", words[1]);
    ::_exit(127);
}

} // namespace

int main(int count, char** words) {
    if (count < 3 || ::prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) {
        return 2;
    }
    // What ends a whole group of processes is for the test, whose end we see.
    constexpr int kNotForUs[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};
    for (const int signal : kNotForUs) {
        ::signal(signal, SIG_IGN);
    }
    const pid_t server = ::fork();
    if (server == 0) {
        for (const int signal : kNotForUs) {
            ::signal(signal, SIG_DFL);
        }
        BecomeServer(words + 1);
    }
    char order = 0;
    while (::read(STDIN_FILENO, &order, 1) == 1) {
        CarryOut(order);
        std::printf("%zu\n", Descendants().size());
        std::fflush(stdout);
    }
    CarryOut('k');
    return 0;
}
