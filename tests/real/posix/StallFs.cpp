#include "real/posix/StallFs.h"

#include "stallfs/posix/Control.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace vxcio::test {

namespace {

constexpr const char* kProgram = VXC_TEST_PROGRAM_DIR "/vxc-stallfs";

std::string ReadLine(int descriptor) {
    std::string line;
    char character = 0;
    while (::read(descriptor, &character, 1) == 1 && character != '\n') {
        line += character;
    }
    return line;
}

} // namespace

StallFs::StallFs(const std::string& backing, Access access) {
    if (::access(kProgram, X_OK) != 0) {
        m_lack = "vxc-stallfs is not built: libfuse3 is missing";
        return;
    }
    std::filesystem::create_directory(m_folder.Name("mount"));
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    if (::pipe2(in.data(), O_CLOEXEC) != 0 || ::pipe2(out.data(), O_CLOEXEC) != 0) {
        m_lack = "no pipes for vxc-stallfs";
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    std::vector<std::string> words = {kProgram, backing, m_folder.Name("mount"), m_folder.Name("orders")};
    if (access == Access::Writable) {
        words.insert(words.begin() + 1, "--writable");
    }
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const bool started = ::posix_spawn(&m_pid, kProgram, &actions, nullptr, arguments.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    m_lifeline = in[1];
    if (!started || ReadLine(out[0]) != "ready") {
        m_lack = "a file system on /dev/fuse cannot be mounted here";
    }
    ::close(out[0]);
}

StallFs::~StallFs() {
    ::close(m_lifeline);
    if (m_pid > 0) {
        ::waitpid(m_pid, nullptr, 0);
    }
    // Where it was killed before it could do so itself.
    ::umount2(m_folder.Name("mount").c_str(), MNT_DETACH);
}

std::string StallFs::Name(std::string_view file) const {
    return m_folder.Name("mount/" + std::string(file));
}

std::wstring StallFs::Wide(std::string_view file) const {
    return m_folder.Wide("mount/" + std::string(file));
}

std::string StallFs::Order(const std::string& order) const {
    return stallfs::SendOrder(m_folder.Name("orders"), order);
}

bool StallFs::WaitUntilStanding(int operations) const {
    return Order("wait " + std::to_string(operations)) == "ok";
}

} // namespace vxcio::test
