#include "tool/ToolProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace vxcio::test {

namespace {

void Check(bool good, const char* what) {
    if (!good) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

// What stands in a pipe from the start must fit into it, as nobody empties it yet.
int FilledPipe(const std::string& text) {
    std::array<int, 2> ends{};
    Check(::pipe2(ends.data(), O_CLOEXEC) == 0, "pipe2");
    Check(::write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()), "write");
    ::close(ends[1]);
    return ends[0];
}

// The other end of a terminal on which the text is typed already.
int TypedTerminal(const std::string& text, int& keyboard) {
    keyboard = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    Check(keyboard >= 0 && ::grantpt(keyboard) == 0 && ::unlockpt(keyboard) == 0, "posix_openpt");
    std::array<char, 100> name{};
    Check(::ptsname_r(keyboard, name.data(), name.size()) == 0, "ptsname_r");
    const int terminal = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    Check(terminal >= 0, name.data());
    Check(::write(keyboard, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "write");
    return terminal;
}

// In the child: only calls that are allowed between fork and exec.
[[noreturn]] void Become(const std::vector<char*>& command, const ToolProcess::Setting& setting, int in,
                         int out, int error) {
    if (!setting.folder.empty() && ::chdir(setting.folder.c_str()) != 0) {
        ::_exit(126);
    }
    if (setting.obeyPermissions) {
        ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0);
        ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH, 0, 0, 0);
    }
    ::dup2(in, STDIN_FILENO);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(error, STDERR_FILENO);
    ::execvp(command[0], command.data());
    ::_exit(127);
}

} // namespace

ToolProcess::ToolProcess(const std::vector<std::string>& command, const Setting& setting) {
    std::vector<std::string> words = command;
    std::vector<char*> raw;
    for (std::string& word : words) {
        raw.push_back(word.data());
    }
    raw.push_back(nullptr);
    const int in =
        setting.typed.empty() ? FilledPipe(setting.input) : TypedTerminal(setting.typed, m_keyboard);
    std::array<int, 2> out{};
    std::array<int, 2> error{};
    Check(::pipe2(out.data(), O_CLOEXEC) == 0 && ::pipe2(error.data(), O_CLOEXEC) == 0, "pipe2");
    int target = out[1];
    if (!setting.outputFile.empty()) {
        target = ::open(setting.outputFile.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        Check(target >= 0, "open");
    }
    m_pid = ::fork();
    Check(m_pid >= 0, "fork");
    if (m_pid == 0) {
        Become(raw, setting, in, target, error[1]);
    }
    if (target != out[1]) {
        ::close(target);
    }
    ::close(in);
    ::close(out[1]);
    ::close(error[1]);
    m_out = out[0];
    m_error = error[0];
}

ToolProcess::~ToolProcess() {
    CloseOutput();
    if (m_keyboard >= 0) {
        ::close(m_keyboard);
    }
    if (m_error >= 0) {
        ::close(m_error);
    }
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
}

std::string ToolProcess::ReadOutput(std::size_t bytes) {
    std::string text(bytes, '\0');
    std::size_t done = 0;
    while (done < bytes) {
        const ssize_t got = ::read(m_out, text.data() + done, bytes - done);
        if (got <= 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    text.resize(done);
    return text;
}

void ToolProcess::CloseOutput() {
    if (m_out >= 0) {
        ::close(m_out);
        m_out = -1;
    }
}

void ToolProcess::Signal(int number) const {
    ::kill(m_pid, number);
}

Outcome ToolProcess::Finish() {
    Outcome outcome;
    std::array<pollfd, 2> streams = {pollfd{m_out, POLLIN, 0}, pollfd{m_error, POLLIN, 0}};
    std::array<std::string*, 2> texts = {&outcome.out, &outcome.error};
    std::array<char, 65536> buffer{};
    while (streams[0].fd >= 0 || streams[1].fd >= 0) {
        Check(::poll(streams.data(), streams.size(), -1) >= 0, "poll");
        for (std::size_t i = 0; i < streams.size(); ++i) {
            if (streams[i].fd >= 0 && streams[i].revents != 0) {
                const ssize_t got = ::read(streams[i].fd, buffer.data(), buffer.size());
                if (got > 0) {
                    texts[i]->append(buffer.data(), static_cast<std::size_t>(got));
                } else {
                    streams[i].fd = -1;
                }
            }
        }
    }
    int status = 0;
    Check(::waitpid(m_pid, &status, 0) == m_pid, "waitpid");
    m_pid = -1;
    outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return outcome;
}

Outcome RunProgram(const std::vector<std::string>& command, const ToolProcess::Setting& setting) {
    return ToolProcess(command, setting).Finish();
}

Outcome RunTool(const std::vector<std::string>& arguments, const ToolProcess::Setting& setting) {
    std::vector<std::string> command = {ToolName()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return RunProgram(command, setting);
}

std::string ToolName() {
    return VXC_TEST_PROGRAM_DIR "/vxcio";
}

} // namespace vxcio::test
