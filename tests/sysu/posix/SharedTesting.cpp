#include "SharedTesting.h"

#include "support/posix/SystemTesting.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <sched.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vxcio::test {

namespace {

constexpr int kNoRight = 77;

int ResultOf(const std::function<void()>& body) {
    body();
    std::fflush(nullptr);
    return testing::Test::HasFailure() ? 1 : 0;
}

} // namespace

std::wstring OwnName(const std::wstring& what) {
    return L"vxctest-" + std::to_wstring(getpid()) + L"-" + what;
}

bool IsFileThere(const std::string& path) {
    struct stat facts {};
    return ::lstat(path.c_str(), &facts) == 0;
}

bool HeldSection::Close() {
    void* const handle = m_handle;
    m_handle = nullptr;
    return handle != nullptr && CloseSection(handle) != 0;
}

bool InOwnFolder(const std::string& bytes, const std::function<void()>& body) {
    std::fflush(nullptr);
    const int result = RunInChild([&] {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("vxctest", sysu::kSharedFolder, "tmpfs", 0, ("mode=1777,size=" + bytes).c_str()) != 0) {
            return kNoRight;
        }
        return ResultOf(body);
    });
    EXPECT_TRUE(result == 0 || result == kNoRight) << "the child ended with " << result;
    return result != kNoRight;
}

void InChild(const std::function<void()>& body) {
    std::fflush(nullptr);
    EXPECT_EQ(RunInChild([&] { return ResultOf(body); }), 0);
}

std::vector<std::string> Peers() {
    const std::string folder = VXC_TEST_PROGRAM_DIR;
#ifdef VXC_TEST_PEER32
    return {folder + "/shared_peer", folder + "/shared_peer32"};
#else
    return {folder + "/shared_peer"};
#endif
}

Peer::Peer(const std::string& program, std::vector<std::string> words) {
    words.insert(words.begin(), program);
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    int input[2] = {-1, -1};
    int output[2] = {-1, -1};
    EXPECT_EQ(::pipe2(input, O_CLOEXEC), 0);
    EXPECT_EQ(::pipe2(output, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    EXPECT_EQ(::posix_spawn(&m_process, program.c_str(), &actions, nullptr, arguments.data(), environ), 0);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    ::close(output[1]);
    m_input = input[1];
    m_output = output[0];
}

Peer::~Peer() {
    if (m_process > 0) {
        Kill();
        Result();
    }
    CloseInput();
    ::close(m_output);
}

bool Peer::IsReady() {
    char c = 0;
    ssize_t got = 0;
    do {
        got = ::read(m_output, &c, 1);
    } while (got == 1 ? c != '\n' : got < 0 && errno == EINTR);
    return got == 1;
}

void Peer::CloseInput() {
    if (m_input >= 0) {
        ::close(m_input);
        m_input = -1;
    }
}

void Peer::Kill() {
    ::kill(m_process, SIGKILL);
}

int Peer::Result() {
    int status = 0;
    while (::waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
    }
    m_process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

bool Sleeps(pid_t process) {
    std::ifstream in("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(in, line);
    const std::size_t end = line.rfind(')');
    return end != std::string::npos && line.compare(end, 3, ") S") == 0;
}

} // namespace vxcio::test
