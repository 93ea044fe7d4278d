// ToolProcess.h - runs vxcio and other programs as a shell does, and keeps what they say.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace vxcio::test {

struct Outcome {
    int exitCode = -1; // 128 + signal where one ended the process
    std::string out;
    std::string error;
};

// A process of its own with pipes at its three streams. Ended by force, if it still runs, by the destructor.
class ToolProcess {
public:
    struct Setting {
        std::string folder = {};      // where it runs; empty: here
        std::string input = {};       // what stands on its standard input
        std::string typed = {};       // not empty: that is a terminal, on which this is typed
        std::string outputFile = {};  // its standard output goes there instead of to us
        bool obeyPermissions = false; // also where the test runs as root, whom they do not bind
    };

    // Throw std::system_error where the process cannot be started.
    ToolProcess(const std::vector<std::string>& command, const Setting& setting);
    ~ToolProcess();
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    // Waits for the first `bytes` bytes of its output; fewer where the output ends before.
    std::string ReadOutput(std::size_t bytes);
    // We read its output no more.
    void CloseOutput();
    void Signal(int number) const;
    // To be asked ahead of Finish.
    pid_t Id() const { return m_pid; }
    // All that it still says, until it ends.
    Outcome Finish();

private:
    pid_t m_pid;
    int m_keyboard = -1;
    int m_out;
    int m_error;
};

// The whole run of the built tool with these arguments.
Outcome RunTool(const std::vector<std::string>& arguments, const ToolProcess::Setting& setting = {});
Outcome RunProgram(const std::vector<std::string>& command, const ToolProcess::Setting& setting = {});
std::string ToolName();

} // namespace vxcio::test
